#pragma once

#include <concepts>
#include <cstdint>
#include <string>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/uuid/uuid.hpp>

#include <tarn/kern/ElementHandle.h>

/// Which C++ type holds a value of which standard type: the one table behind Value, the typed reads and writes, and the
/// typed collections.
namespace tarn::kern {

class ReflectiveDataType;
class StringToStringMap;

/// How the value of a property is held. The first thirteen may lie in one contiguous typed vector.
enum class StorageType : std::uint8_t {
  String,
  Integer,
  Integer8,
  Integer16,
  Integer64,
  Real,
  Boolean,
  UnlimitedNatural,
  UInteger8,
  UInteger16,
  UInteger64,
  Uuid,
  StdString,
  DateTime,
  Map,
  Enum,     ///< a 64-bit number
  Data,     ///< ReflectiveDataType
  Custom,   ///< the registered C++ type of a custom primitive type
  Element,  ///< a reference
};
inline constexpr std::uint8_t kContiguousStorageTypes = 13;

namespace internal {

template <class T>
struct StorageOf {
  static constexpr bool kStandard = false;
  static constexpr StorageType kType = StorageType::Custom;
};
template <StorageType storage>
struct StandardStorage {
  static constexpr bool kStandard = true;
  static constexpr StorageType kType = storage;
};
// clang-format off
template <> struct StorageOf<ustring> : StandardStorage<StorageType::String> {};
template <> struct StorageOf<std::int32_t> : StandardStorage<StorageType::Integer> {};
template <> struct StorageOf<std::int8_t> : StandardStorage<StorageType::Integer8> {};
template <> struct StorageOf<std::int16_t> : StandardStorage<StorageType::Integer16> {};
template <> struct StorageOf<std::int64_t> : StandardStorage<StorageType::Integer64> {};
template <> struct StorageOf<double> : StandardStorage<StorageType::Real> {};
template <> struct StorageOf<bool> : StandardStorage<StorageType::Boolean> {};
template <> struct StorageOf<std::uint32_t> : StandardStorage<StorageType::UnlimitedNatural> {};
template <> struct StorageOf<std::uint8_t> : StandardStorage<StorageType::UInteger8> {};
template <> struct StorageOf<std::uint16_t> : StandardStorage<StorageType::UInteger16> {};
template <> struct StorageOf<std::uint64_t> : StandardStorage<StorageType::UInteger64> {};
template <> struct StorageOf<boost::uuids::uuid> : StandardStorage<StorageType::Uuid> {};
template <> struct StorageOf<std::string> : StandardStorage<StorageType::StdString> {};
template <> struct StorageOf<boost::posix_time::ptime> : StandardStorage<StorageType::DateTime> {};
template <> struct StorageOf<StringToStringMap> : StandardStorage<StorageType::Map> {};
template <> struct StorageOf<ReflectiveDataType> { static constexpr bool kStandard = false; static constexpr StorageType kType = StorageType::Data; };
template <> struct StorageOf<ModelElement> { static constexpr bool kStandard = false; static constexpr StorageType kType = StorageType::Element; };
// clang-format on

}  // namespace internal

/// A C++ type that one of the fifteen standard types holds.
template <class T>
concept StandardValueType = internal::StorageOf<T>::kStandard;
/// A C++ type that a collection can hold contiguously.
template <class T>
concept ContiguousValueType = StandardValueType<T> &&
                              static_cast<std::uint8_t>(internal::StorageOf<T>::kType) < kContiguousStorageTypes;
/// A C++ integer that an enum value may also be read as. Enum values are held as 64-bit numbers; a narrower read
/// truncates.
template <class T>
concept IntegerValueType = StandardValueType<T> && std::integral<T> && !std::same_as<T, bool>;

}  // namespace tarn::kern
