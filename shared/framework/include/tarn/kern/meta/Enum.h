#pragma once

#include <cstdint>
#include <vector>

#include <tarn/kern/meta/Type.h>

namespace tarn::kern::meta {

/// One literal of an enum: a name and a number. Numbers may be negative and sparse, and two literals may share one.
class TARN_EXPORT EnumLiteral::Impl final : public NamedElement::Impl {
 public:
  [[nodiscard]] std::int64_t getValue() const noexcept { return fValue; }
  [[nodiscard]] Enum getEnum() const noexcept { return fEnum; }

 private:
  friend class internal::MetaFactory;
  Impl(ustring name, std::int64_t value);
  ~Impl() override;

  std::int64_t fValue;
  Enum fEnum;
};

inline EnumLiteral::EnumLiteral(Impl* impl) noexcept : NamedElement(impl) {}
inline EnumLiteral::Impl* EnumLiteral::get() const noexcept { return static_cast<Impl*>(fRecord); }
inline EnumLiteral::Impl* EnumLiteral::operator->() const noexcept { return get(); }

/// An enumeration. Its values are stored as 64-bit numbers whatever their size; a number without literal can be held.
class TARN_EXPORT Enum::Impl final : public Type::Impl {
 public:
  [[nodiscard]] const ElementMap<ustring, EnumLiteral>& getLiterals() const noexcept { return fLiterals; }
  /// In the order of the definition.
  [[nodiscard]] const std::vector<EnumLiteral>& getLiteralsInOrder() const noexcept { return fLiteralsInOrder; }
  /// The literal that holds this number, of several the first by name; a null handle when none does.
  [[nodiscard]] EnumLiteral getLiteral(std::int64_t number) const noexcept;

 private:
  friend class internal::MetaFactory;
  explicit Impl(ustring name);
  ~Impl() override;

  ElementMap<ustring, EnumLiteral> fLiterals;
  std::vector<EnumLiteral> fLiteralsInOrder;
  std::vector<EnumLiteral> fByNumber;  // sorted by number, then name
};

inline Enum::Enum(Impl* impl) noexcept : Type(impl) {}
inline Enum::Impl* Enum::get() const noexcept { return static_cast<Impl*>(fRecord); }
inline Enum::Impl* Enum::operator->() const noexcept { return get(); }

}  // namespace tarn::kern::meta
