#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/uuid/uuid.hpp>

#include <tarn/kern/meta/Type.h>

namespace tarn::kern::meta {

/// One lazily filled member of StandardTypes: a PrimitiveType that starts null and may be filled by any number of
/// threads at once with the same type.
template <class NameParameter>
class StandardTypeWrapper {
 public:
  constexpr StandardTypeWrapper() noexcept = default;
  StandardTypeWrapper(const StandardTypeWrapper&) = delete;
  StandardTypeWrapper& operator=(const StandardTypeWrapper&) = delete;
  StandardTypeWrapper& operator=(const PrimitiveType& type) noexcept {
    fType.store(type.get(), std::memory_order_release);
    return *this;
  }

  /// The type's name in the registry.
  [[nodiscard]] static constexpr const char16_t* name() noexcept { return NameParameter::kName; }

  [[nodiscard]] explicit operator bool() const noexcept { return get() != nullptr; }
  operator PrimitiveType() const noexcept { return PrimitiveType(get()); }  // NOLINT: usable as a PrimitiveType
  [[nodiscard]] PrimitiveType::Impl* operator->() const noexcept { return get(); }
  [[nodiscard]] PrimitiveType::Impl* get() const noexcept { return fType.load(std::memory_order_acquire); }

  friend bool operator==(const StandardTypeWrapper& a, const ModelElement& b) noexcept { return a.get() == b.get(); }

 private:
  std::atomic<PrimitiveType::Impl*> fType = nullptr;
};

// clang-format off
struct StringMetaNameParameter            { static constexpr const char16_t* kName = u"String"; };
struct StdstringMetaNameParameter         { static constexpr const char16_t* kName = u"StdString"; };
struct IntegerMetaNameParameter           { static constexpr const char16_t* kName = u"Integer"; };
struct Integer8MetaNameParameter          { static constexpr const char16_t* kName = u"Integer8"; };
struct Integer16MetaNameParameter         { static constexpr const char16_t* kName = u"Integer16"; };
struct Integer64MetaNameParameter         { static constexpr const char16_t* kName = u"Integer64"; };
struct Uinteger8MetaNameParameter         { static constexpr const char16_t* kName = u"UInteger8"; };
struct Uinteger16MetaNameParameter        { static constexpr const char16_t* kName = u"UInteger16"; };
struct Uinteger64MetaNameParameter        { static constexpr const char16_t* kName = u"UInteger64"; };
struct UnlimitedNaturalMetaNameParameter  { static constexpr const char16_t* kName = u"UnlimitedNatural"; };
struct RealMetaNameParameter              { static constexpr const char16_t* kName = u"Real"; };
struct BooleanMetaNameParameter           { static constexpr const char16_t* kName = u"Boolean"; };
struct UuidMetaNameParameter              { static constexpr const char16_t* kName = u"UUID"; };
struct DateTimeMetaNameParameter          { static constexpr const char16_t* kName = u"DateTime"; };
struct StringToStringMapMetaNameParameter { static constexpr const char16_t* kName = u"StringToStringMap"; };
// clang-format on

/// The primitive types that every meta-model can use, and the C++ type that a value of each holds. They belong to no
/// package, so their qualified names are these names. Users compare by identity, after filling a member that is still
/// null from getPrimitiveTypeFromMetaRegistry; once MetaRegistry::getInstance() has run, which loading the framework's
/// library sees to, none is null.
struct TARN_EXPORT StandardTypes {
  static StandardTypeWrapper<StringMetaNameParameter> stringMeta;                        ///< ustring
  static StandardTypeWrapper<StdstringMetaNameParameter> stdstringMeta;                  ///< std::string
  static StandardTypeWrapper<IntegerMetaNameParameter> integerMeta;                      ///< std::int32_t
  static StandardTypeWrapper<Integer8MetaNameParameter> integer8Meta;                    ///< std::int8_t
  static StandardTypeWrapper<Integer16MetaNameParameter> integer16Meta;                  ///< std::int16_t
  static StandardTypeWrapper<Integer64MetaNameParameter> integer64Meta;                  ///< std::int64_t
  static StandardTypeWrapper<Uinteger8MetaNameParameter> uinteger8Meta;                  ///< std::uint8_t
  static StandardTypeWrapper<Uinteger16MetaNameParameter> uinteger16Meta;                ///< std::uint16_t
  static StandardTypeWrapper<Uinteger64MetaNameParameter> uinteger64Meta;                ///< std::uint64_t
  static StandardTypeWrapper<UnlimitedNaturalMetaNameParameter> unlimitedNaturalMeta;    ///< std::uint32_t
  static StandardTypeWrapper<RealMetaNameParameter> realMeta;                            ///< double
  static StandardTypeWrapper<BooleanMetaNameParameter> booleanMeta;                      ///< bool
  static StandardTypeWrapper<UuidMetaNameParameter> uuidMeta;                            ///< boost::uuids::uuid
  static StandardTypeWrapper<DateTimeMetaNameParameter> dateTimeMeta;                    ///< boost::posix_time::ptime
  static StandardTypeWrapper<StringToStringMapMetaNameParameter> stringToStringMapMeta;  ///< StringToStringMap
};

namespace internal {
/// The primitive type of that NUL-terminated name; a null handle when there is none.
[[nodiscard]] TARN_EXPORT PrimitiveType getPrimitiveTypeFromMetaRegistry(const char16_t* name);
}  // namespace internal

}  // namespace tarn::kern::meta
