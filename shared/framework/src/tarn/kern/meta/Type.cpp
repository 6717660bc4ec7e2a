#include <stdexcept>

#include <bedrock/i18n.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Type.h>

#include "KernelTypes.h"

namespace tarn::kern::meta {

Type::Impl::Impl(Kind kind, ustring name) : NamedElement::Impl(kind, std::move(name)) {}
Type::Impl::~Impl() = default;

// By value, as callers of the framework know it; copying a handle to an immortal record costs a test.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool Type::Impl::conformsTo(Type other) const { return other.get() == this; }

PrimitiveType::Impl::Impl(ustring name, std::type_index storedType)
    : Type::Impl(Kind::PrimitiveType, std::move(name)), fStoredType(storedType) {}
PrimitiveType::Impl::~Impl() = default;

namespace {

[[noreturn]] void throwNoTextForm(const Type::Impl& type, const std::string& why) {
  throw std::logic_error("the primitive type \"" + bedrock::i18n::to_string(type.getQualifiedName()) + "\" " + why);
}

}  // namespace

ustring PrimitiveType::Impl::toText(const Value& value) const {
  if (isStandard()) throwNoTextForm(*this, "is a standard type: its text form is the format's business");
  if (value.getType().get() != this || value.getMeta().upper != 1) kern::internal::throwCannotCast(value.getType());
  if (!value.hasObject()) throwNoTextForm(*this, "has no text for an absent value: test hasObject() first");
  return fToText(value);
}

Value PrimitiveType::Impl::fromText(const ustring& text) const {
  if (isStandard()) throwNoTextForm(*this, "is a standard type: its text form is the format's business");
  // The record is handed out by handles that may be written through; being immutable, it is the same either way.
  return fFromText(PrimitiveType(const_cast<Impl*>(this)), text);
}

const Class& PrimitiveType::metaClass() { return internal::kernelTypes().primitiveType; }

}  // namespace tarn::kern::meta
