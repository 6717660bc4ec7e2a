#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <typeindex>
#include <vector>

#include <tarn/kern/meta/MetaRegistry.h>
#include <tarn/kern/meta/StandardTypes.h>

/// Defines meta-models in C++ so that the definition reads like the meta-model:
///
///     PackageBuilder library(u"library");
///     library.family(u"library", u"1.0");
///     auto& genre = library.addEnum(u"Genre").literal(u"novel", 0).literal(u"essay", 1);
///     auto& named = library.addClass(u"Named").makeAbstract();
///     named.attribute(u"name", StandardTypes::stringMeta).required();
///     auto& book = library.addClass(u"Book").extends(named);
///     book.attribute(u"genre", genre).required().defaultsTo(u"novel");
///     auto& shelf = library.addClass(u"Shelf").extends(named);
///     shelf.composite(u"books", book).many();
///     Package package = library.registerPackage();
///
/// Nothing is checked before registration; then everything is, and every fault is named in one MetaModelError.
namespace tarn::kern::meta {

class PackageBuilder;
class ClassBuilder;
class DataTypeBuilder;
class EnumBuilder;
class PrimitiveBuilder;

namespace internal {
struct PackageSpec;
struct TypeSpec;
struct PropertySpec;
}  // namespace internal

/// A type as a definition names it: by its builder, by a registered handle, or by name: a type of the same package, or
/// a qualified name, defined in any order.
class TARN_EXPORT TypeRef {
 public:
  TypeRef(const char16_t* name) : fName(name) {}     // NOLINT(google-explicit-constructor)
  TypeRef(ustring name) : fName(std::move(name)) {}  // NOLINT(google-explicit-constructor)
  TypeRef(const Type& type) : fType(type) {}         // NOLINT(google-explicit-constructor)
  template <class NameParameter>
  TypeRef(const StandardTypeWrapper<NameParameter>&) : fName(NameParameter::kName) {}  // NOLINT
  TypeRef(const ClassBuilder& type);      // NOLINT(google-explicit-constructor)
  TypeRef(const DataTypeBuilder& type);   // NOLINT(google-explicit-constructor)
  TypeRef(const EnumBuilder& type);       // NOLINT(google-explicit-constructor)
  TypeRef(const PrimitiveBuilder& type);  // NOLINT(google-explicit-constructor)

 private:
  friend class internal::MetaFactory;
  ustring fName;
  Type fType;
  const internal::TypeSpec* fSpec = nullptr;
};

/// Defines one property; each call returns the builder, so that calls chain.
/// Without further words a property is single-valued and optional; a collection of class type is unique, one of values
/// not.
class TARN_EXPORT PropertyBuilder {
 public:
  /// lower 1.
  PropertyBuilder& required();
  /// lower 0, upper unlimited.
  PropertyBuilder& many();
  PropertyBuilder& bounds(std::uint32_t lower, std::uint32_t upper);
  PropertyBuilder& composite();
  /// What a new instance shows. For single plain values only.
  PropertyBuilder& defaultsTo(Value value);
  /// An object of a standard type's C++ type. (Without this overload a plain 0 would be taken for a null text.)
  template <StandardValueType T>
  PropertyBuilder& defaultsTo(T object) {
    return defaultsTo(Value(std::move(object)));
  }
  /// The literal of that name of the property's enum; for any other type a String value.
  PropertyBuilder& defaultsTo(const char16_t* literalOrText);
  /// The name of the property of the target class that is the other end. Both ends must say so.
  PropertyBuilder& opposite(std::u16string_view name);
  /// The name of a property of the target class that tells the members apart.
  PropertyBuilder& qualifiedBy(std::u16string_view name);
  PropertyBuilder& unique(bool on = true);
  PropertyBuilder& ordered(bool on = true);
  /// Either makes the property omitted from files and copies.
  PropertyBuilder& derived();
  PropertyBuilder& transient();
  PropertyBuilder& readOnly();
  /// Public reads throw; privileged access works.
  PropertyBuilder& guarded();
  /// Keeps a collection out of contiguous storage.
  PropertyBuilder& genericStorage();
  PropertyBuilder& annotate(Annotation annotation);

 private:
  friend class ClassBuilder;
  friend class DataTypeBuilder;
  explicit PropertyBuilder(internal::PropertySpec* spec) noexcept : fSpec(spec) {}
  internal::PropertySpec* fSpec;
};

class TARN_EXPORT ClassBuilder {
 public:
  /// The superclass. Without one a class derives from ModelElement::metaClass().
  ClassBuilder& extends(const TypeRef& superclass);
  /// A further supertype, whose attributes are copied in.
  ClassBuilder& alsoConformsTo(const TypeRef& supertype);
  ClassBuilder& makeAbstract();
  ClassBuilder& annotate(Annotation annotation);

  /// A property of a plain type.
  PropertyBuilder attribute(std::u16string_view name, const TypeRef& type);
  /// A property that owns its target.
  PropertyBuilder composite(std::u16string_view name, const TypeRef& type);
  /// A property that refers to its target.
  PropertyBuilder reference(std::u16string_view name, const TypeRef& type);

 private:
  friend class PackageBuilder;
  friend class TypeRef;
  explicit ClassBuilder(internal::TypeSpec* spec) noexcept : fSpec(spec) {}
  internal::TypeSpec* fSpec;
};

class TARN_EXPORT DataTypeBuilder {
 public:
  /// An attribute; of a class type it is a plain reference.
  PropertyBuilder attribute(std::u16string_view name, const TypeRef& type);
  DataTypeBuilder& annotate(Annotation annotation);

 private:
  friend class PackageBuilder;
  friend class TypeRef;
  explicit DataTypeBuilder(internal::TypeSpec* spec) noexcept : fSpec(spec) {}
  internal::TypeSpec* fSpec;
};

class TARN_EXPORT EnumBuilder {
 public:
  EnumBuilder& literal(std::u16string_view name, std::int64_t number);
  EnumBuilder& annotate(Annotation annotation);

 private:
  friend class PackageBuilder;
  friend class TypeRef;
  explicit EnumBuilder(internal::TypeSpec* spec) noexcept : fSpec(spec) {}
  internal::TypeSpec* fSpec;
};

class TARN_EXPORT PrimitiveBuilder {
 public:
  PrimitiveBuilder& annotate(Annotation annotation);

 private:
  friend class PackageBuilder;
  friend class TypeRef;
  explicit PrimitiveBuilder(internal::TypeSpec* spec) noexcept : fSpec(spec) {}
  internal::TypeSpec* fSpec;
};

/// Defines one package. Builders that it hands out are valid as long as it lives.
class TARN_EXPORT PackageBuilder {
 public:
  explicit PackageBuilder(std::u16string_view name);
  PackageBuilder(const PackageBuilder&) = delete;
  PackageBuilder& operator=(const PackageBuilder&) = delete;
  ~PackageBuilder();

  /// Makes the package a version of a family: its URI becomes MetaRegistry::schemaBaseUri() + family + "/" + version.
  PackageBuilder& family(std::u16string_view family, std::u16string_view version);
  /// Any other URI; the package is a family of its own then. Without either call the URI is "urn:" and the qualified
  /// name.
  PackageBuilder& uri(std::u16string_view uri);
  PackageBuilder& annotate(Annotation annotation);

  ClassBuilder& addClass(std::u16string_view name);
  DataTypeBuilder& addDataType(std::u16string_view name);
  EnumBuilder& addEnum(std::u16string_view name);
  /// A custom primitive type whose values are objects of T (copyable, equality comparable), with its text form.
  template <class T>
  PrimitiveBuilder& addPrimitive(std::u16string_view name, std::function<ustring(const T&)> toText,
                                 std::function<T(const ustring&)> fromText);
  /// A package inside this one.
  PackageBuilder& addPackage(std::u16string_view name);

  /// Checks and registers this package and those inside it. @throws MetaModelError naming every fault; nothing is
  /// registered then. The builder is spent afterwards.
  Package registerPackage();
  /// The same for several packages that refer to each other: all or none.
  static std::vector<Package> registerAll(const std::vector<PackageBuilder*>& packages);

  /// What was legal but doubtful, after registration: such as an optional single value of a data type, which the binary
  /// format cannot hold.
  [[nodiscard]] const std::vector<std::string>& warnings() const noexcept;

 private:
  friend class internal::MetaFactory;
  explicit PackageBuilder(internal::PackageSpec* nested);
  PrimitiveBuilder& addPrimitiveErased(std::u16string_view name, std::type_index storedType,
                                       std::function<ustring(const Value&)> toText,
                                       std::function<Value(const PrimitiveType&, const ustring&)> fromText);

  std::unique_ptr<internal::PackageSpec> fOwned;
  internal::PackageSpec* fSpec;
};

template <class T>
PrimitiveBuilder& PackageBuilder::addPrimitive(std::u16string_view name, std::function<ustring(const T&)> toText,
                                               std::function<T(const ustring&)> fromText) {
  return addPrimitiveErased(
      name, typeid(T), [toText = std::move(toText)](const Value& value) { return toText(*value.peek<T>()); },
      [fromText = std::move(fromText)](const PrimitiveType& type, const ustring& text) {
        return Value(ValueMeta(type, ValueFlags::Single), fromText(text));
      });
}

}  // namespace tarn::kern::meta
