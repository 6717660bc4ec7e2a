#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/NamedElement.h>

#include "KernelTypes.h"

namespace tarn::kern::meta {

// Elements of the meta-model are told apart by their records alone, so they share the nil uuid.
NamedElement::Impl::Impl(Kind kind, ustring name)
    : ModelElement::Impl(kind, boost::uuids::uuid{}), fName(std::move(name)) {
  makeImmortal();
}

NamedElement::Impl::~Impl() = default;

const Class& NamedElement::Impl::getMetaClass() const {
  const internal::KernelTypes& kernel = internal::kernelTypes();
  switch (kind()) {
    case Kind::Element:
      break;  // never a named element
    case Kind::Package:
      return kernel.package;
    case Kind::EnumLiteral:
      return kernel.enumLiteral;
    case Kind::Property:
      return kernel.property;
    case Kind::Class:
      return kernel.classes;
    case Kind::DataType:
      return kernel.dataType;
    case Kind::PrimitiveType:
      return kernel.primitiveType;
    case Kind::Enum:
      return kernel.enums;
  }
  return kernel.namedElement;
}

}  // namespace tarn::kern::meta

namespace tarn::kern {

const meta::Class& ModelElement::metaClass() { return meta::internal::kernelTypes().modelElement; }

}  // namespace tarn::kern
