#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <typeindex>
#include <utility>
#include <vector>

#include <boost/optional.hpp>

#include <tarn/kern/Value.h>
#include <tarn/kern/meta/PackageBuilder.h>

/// What the builders write down: a definition as its author gave it, nothing of it checked yet. The containers keep
/// their entries in place, since builders and type references point at them.
namespace tarn::kern::meta::internal {

struct PropertySpec {
  PropertySpec(std::u16string_view itsName, TypeRef itsType) : name(itsName), type(std::move(itsType)) {}

  ustring name;
  TypeRef type;
  bool isDeclaredAsReference = false;  // by reference() or composite(), not attribute()
  std::uint32_t lower = 0;
  std::uint32_t upper = 1;
  bool isComposite = false;
  bool isOrdered = true;
  bool isDerived = false;
  bool isTransient = false;
  bool isReadOnly = false;
  bool isGuarded = false;
  bool usesGenericStorage = false;
  std::optional<bool> isUnique;  // otherwise the type decides
  boost::optional<Value> defaultValue;
  std::optional<ustring> defaultText;  // a literal's name or a text: the type decides
  std::optional<ustring> opposite;
  std::optional<ustring> qualifiedBy;
  std::vector<Annotation> annotations;
};

struct LiteralSpec {
  ustring name;
  std::int64_t number;
};

struct TypeSpec {
  TypeSpec(ModelElement::Impl::Kind itsKind, std::u16string_view itsName) : kind(itsKind), name(itsName) {}

  ModelElement::Impl::Kind kind;
  ustring name;
  std::vector<Annotation> annotations;

  // Classes and data types.
  std::vector<TypeRef> superclasses;  // as many as were given; a second one is a fault
  std::vector<TypeRef> furtherSupertypes;
  bool isAbstract = false;
  std::deque<PropertySpec> properties;

  // Enums.
  std::vector<LiteralSpec> literals;

  // Custom primitive types.
  std::type_index storedType = typeid(void);
  std::function<ustring(const Value&)> toText;
  std::function<Value(const PrimitiveType&, const ustring&)> fromText;

  Type registered;  // what became of it: definitions of later packages may still name the builder
};

struct PackageSpec {
  explicit PackageSpec(std::u16string_view itsName, PackageSpec* itsOwner = nullptr) : name(itsName), owner(itsOwner) {}

  ustring name;
  PackageSpec* owner;
  std::optional<std::pair<ustring, ustring>> familyAndVersion;
  std::optional<ustring> uri;
  std::vector<Annotation> annotations;
  std::deque<TypeSpec> types;
  std::list<PackageSpec> packages;

  // The builders that were handed out for the parts.
  std::deque<ClassBuilder> classBuilders;
  std::deque<DataTypeBuilder> dataTypeBuilders;
  std::deque<EnumBuilder> enumBuilders;
  std::deque<PrimitiveBuilder> primitiveBuilders;
  std::vector<std::unique_ptr<PackageBuilder>> packageBuilders;

  std::vector<std::string> warnings;  // its own and those of the packages inside
  bool isRegistered = false;
};

}  // namespace tarn::kern::meta::internal
