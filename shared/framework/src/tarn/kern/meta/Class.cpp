#include <algorithm>
#include <functional>

#include <tarn/kern/meta/Class.h>

#include "../Layout.h"
#include "KernelTypes.h"

namespace tarn::kern::meta {

StructuredType::Impl::Impl(Kind kind, ustring name) : Type::Impl(kind, std::move(name)) {}
StructuredType::Impl::~Impl() = default;

Property StructuredType::Impl::getProperty(const ustring& name) const {
  const auto at = fByName.find(name);
  return at == fByName.end() ? Property() : at->second;
}

Class::Impl::Impl(ustring name) : StructuredType::Impl(Kind::Class, std::move(name)) {}
Class::Impl::~Impl() = default;

bool Class::Impl::conformsTo(Type other) const {
  const Type::Impl* const wanted = other.get();
  if (wanted == this) return true;
  return std::binary_search(fConformsTo.begin(), fConformsTo.end(), wanted, std::less<>());
}

DataType::Impl::Impl(ustring name) : StructuredType::Impl(Kind::DataType, std::move(name)) {}
DataType::Impl::~Impl() = default;

const Class& Class::metaClass() { return internal::kernelTypes().classes; }
const Class& DataType::metaClass() { return internal::kernelTypes().dataType; }

}  // namespace tarn::kern::meta
