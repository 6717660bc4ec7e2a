#pragma once

#include <array>
#include <cstddef>

#include <tarn/kern/StorageType.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Package.h>

namespace tarn::kern::meta::internal {

/// The types that are there before any package: the fifteen standard types, and the classes that describe the
/// meta-model.
///
///     ModelElement <- NamedElement <- Package, EnumLiteral, TypedElement <- Property
///                     NamedElement <- Type <- StructuredType <- Class, DataType
///                                     Type <- PrimitiveType, Enum
///
/// ModelElement is the root of all classes, those of applications included. None of them has attributes or instances.
struct KernelTypes {
  static constexpr std::size_t kStandardTypes = static_cast<std::size_t>(StorageType::Map) + 1;
  static constexpr const char16_t* kPackageName = u"tarn.kern.meta";

  Package home;
  Class modelElement;
  Class namedElement;
  Class package;
  Class enumLiteral;
  Class typedElement;
  Class property;
  Class type;
  Class structuredType;
  Class classes;  // the class of classes
  Class dataType;
  Class primitiveType;
  Class enums;
  std::array<PrimitiveType, kStandardTypes> standard;  // by StorageType
};

/// Made on first use, never destroyed. Loading the library uses it, so that no static object of an application comes
/// first.
[[nodiscard]] const KernelTypes& kernelTypes() noexcept;

/// True for the classes of the table, the root included.
[[nodiscard]] inline bool isKernelClass(const Type& type) noexcept {
  return type->getOwningPackage() == kernelTypes().home;
}

}  // namespace tarn::kern::meta::internal
