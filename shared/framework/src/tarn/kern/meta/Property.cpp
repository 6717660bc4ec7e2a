#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Property.h>

namespace tarn::kern::meta {

TypedElement::Impl::Impl(Kind kind, ustring name) : NamedElement::Impl(kind, std::move(name)) {}
TypedElement::Impl::~Impl() = default;

Property::Impl::Impl(ustring name) : TypedElement::Impl(Kind::Property, std::move(name)) {}
Property::Impl::~Impl() = default;

}  // namespace tarn::kern::meta
