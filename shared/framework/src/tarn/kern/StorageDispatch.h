#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>

#include <tarn/kern/Value.h>

/// From a StorageType known at run time to the C++ type: the switches over StorageType, written once.
namespace tarn::kern::internal {

template <class T>
struct TypeTag {
  using Type = T;
};

/// Calls f(TypeTag<T>()) with the C++ type of an entry of contiguous storage.
template <class F>
decltype(auto) dispatchContiguous(StorageType storage, F&& f) {
  // clang-format off
  switch (storage) {
    case StorageType::String: return f(TypeTag<ustring>());
    case StorageType::Integer: return f(TypeTag<std::int32_t>());
    case StorageType::Integer8: return f(TypeTag<std::int8_t>());
    case StorageType::Integer16: return f(TypeTag<std::int16_t>());
    case StorageType::Integer64: return f(TypeTag<std::int64_t>());
    case StorageType::Real: return f(TypeTag<double>());
    case StorageType::Boolean: return f(TypeTag<bool>());
    case StorageType::UnlimitedNatural: return f(TypeTag<std::uint32_t>());
    case StorageType::UInteger8: return f(TypeTag<std::uint8_t>());
    case StorageType::UInteger16: return f(TypeTag<std::uint16_t>());
    case StorageType::UInteger64: return f(TypeTag<std::uint64_t>());
    case StorageType::Uuid: return f(TypeTag<boost::uuids::uuid>());
    case StorageType::StdString: return f(TypeTag<std::string>());
    case StorageType::DateTime:
    case StorageType::Map:
    case StorageType::Enum:
    case StorageType::Data:
    case StorageType::Custom:
    case StorageType::Element: break;
  }
  // clang-format on
  std::abort();  // a layout that contradicts itself
}

/// The same with the C++ type that a slot of shape Single holds; data and custom values lie there as a Value. Not for
/// maps, whose slots the owner makes.
template <class F>
decltype(auto) dispatchSingle(StorageType storage, F&& f) {
  switch (storage) {
    case StorageType::DateTime:
      return f(TypeTag<boost::posix_time::ptime>());
    case StorageType::Enum:
      return f(TypeTag<std::int64_t>());
    case StorageType::Data:
    case StorageType::Custom:
      return f(TypeTag<Value>());
    default:
      return dispatchContiguous(storage, std::forward<F>(f));
  }
}

[[nodiscard]] constexpr std::size_t combineHashes(std::size_t seed, std::size_t next) noexcept {
  return static_cast<std::size_t>(services::hashers::detail::mix(std::uint64_t{seed} + 0x9E3779B97F4A7C15U) ^
                                  std::uint64_t{next});
}

}  // namespace tarn::kern::internal
