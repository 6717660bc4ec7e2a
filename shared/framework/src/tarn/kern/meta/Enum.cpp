#include <algorithm>

#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>

#include "KernelTypes.h"

namespace tarn::kern::meta {

EnumLiteral::Impl::Impl(ustring name, std::int64_t value)
    : NamedElement::Impl(Kind::EnumLiteral, std::move(name)), fValue(value) {}
EnumLiteral::Impl::~Impl() = default;

Enum::Impl::Impl(ustring name) : Type::Impl(Kind::Enum, std::move(name)) {}
Enum::Impl::~Impl() = default;

EnumLiteral Enum::Impl::getLiteral(std::int64_t number) const noexcept {
  const auto at =
      std::lower_bound(fByNumber.begin(), fByNumber.end(), number,
                       [](const EnumLiteral& literal, std::int64_t wanted) { return literal->getValue() < wanted; });
  return at != fByNumber.end() && (*at)->getValue() == number ? *at : EnumLiteral();
}

const Class& Enum::metaClass() { return internal::kernelTypes().enums; }

}  // namespace tarn::kern::meta

namespace tarn::kern::internal {

bool isEnumType(const meta::Type& type) noexcept { return type && type->kind() == ModelElement::Impl::Kind::Enum; }

}  // namespace tarn::kern::internal
