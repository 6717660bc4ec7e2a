#pragma once

#include <cstdint>
#include <vector>

#include <tarn/kern/meta/PackageBuilder.h>

#include "RegistryState.h"
#include "Specs.h"

namespace tarn::kern::meta::internal {

/// The records that one registration makes. Unless the registry keeps them they are freed with the batch: nobody but
/// the registration has seen them then.
class RecordBatch {
 public:
  RecordBatch() noexcept = default;
  RecordBatch(const RecordBatch&) = delete;
  RecordBatch& operator=(const RecordBatch&) = delete;
  ~RecordBatch();

 private:
  friend class MetaFactory;
  std::vector<NamedElement::Impl*> fRecords;  // owned
};

/// The only writer of meta-model records: makes them, ties them together, seals them. It checks nothing; that is the
/// business of Registration, its user.
class MetaFactory {
 public:
  // --- Making. The batch owns what comes back.
  static Package::Impl* newPackage(RecordBatch& batch, const PackageSpec& spec);
  static Type::Impl* newType(RecordBatch& batch, const TypeSpec& spec);
  static Property::Impl* newProperty(RecordBatch& batch, const PropertySpec& spec);
  /// The record that a class gets for a property of a further supertype.
  static Property::Impl* newCopy(RecordBatch& batch, const Property& origin);

  // --- Tying together.
  static void setFamily(Package::Impl& package, const ustring& family, const ustring& version);
  static void setUri(Package::Impl& package, const ustring& uri);
  static void addPackage(Package::Impl& owner, Package::Impl& inner);
  /// The first type of a name is the one found by it.
  static void addType(Package::Impl& owner, Type::Impl& type);
  static void addLiteral(RecordBatch& batch, Enum::Impl& owner, const LiteralSpec& spec);
  /// Makes the numbers of the literals known.
  static void sealEnum(Enum::Impl& type);

  static void setSuperclass(Class::Impl& type, const Class& superclass);
  static void addFurtherSupertype(Class::Impl& type, const Class& supertype);
  /// Takes `supertype` out of what the class derives from; the root takes the place of a superclass.
  static void cutSupertype(Class::Impl& type, const Class& supertype);
  /// Begins with what the superclass has.
  static void inheritProperties(Class::Impl& type);
  static void addProperty(StructuredType::Impl& owner, Property::Impl& property);
  static void setType(Property::Impl& property, const Type& type);
  static void setDefault(Property::Impl& property, Value value);
  static void setOpposite(Property::Impl& property, const Property& opposite);
  static void setQualifier(Property::Impl& property, const Property& qualifier);
  /// What a copy takes over from its origin once that is complete: the type, the flags, default, opposite, qualifier.
  static void completeCopy(Property::Impl& copy);

  /// Fixes conformance and layout. Supertypes come first.
  static void seal(StructuredType::Impl& type);

  // --- What builders hold.
  static PackageSpec* specOf(const PackageBuilder& builder) noexcept { return builder.fSpec; }
  static const ustring& nameOf(const TypeRef& reference) noexcept { return reference.fName; }
  static const Type& handleOf(const TypeRef& reference) noexcept { return reference.fType; }
  static const TypeSpec* specOf(const TypeRef& reference) noexcept { return reference.fSpec; }

  // --- The registry.
  static RegistryState& registryState();
  static void makeKernelTypes(RegistryState& state);
  [[nodiscard]] static RegisteredNames kernelNames(const KernelTypes& kernel);
  /// Puts the names in place and keeps the records for good. Throws std::bad_alloc before it changes anything.
  static void publish(RegistryState& state, RegisteredNames names, RecordBatch& batch);

 private:
  friend class RecordBatch;

  template <class Impl>
  static Impl* keep(RecordBatch& batch, Impl* record);
  static void fillClass(Class::Impl& type);
  static void untie(NamedElement::Impl& record) noexcept;
  static void free(NamedElement::Impl* record) noexcept;
};

}  // namespace tarn::kern::meta::internal
