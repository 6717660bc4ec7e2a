#include <tarn/kern/meta/Package.h>

namespace tarn::kern::meta {

Package::Impl::Impl(ustring name) : NamedElement::Impl(Kind::Package, std::move(name)) {}
Package::Impl::~Impl() = default;

}  // namespace tarn::kern::meta
