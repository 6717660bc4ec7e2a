#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include <boost/optional.hpp>

#include <tarn/export.h>
#include <tarn/kern/StorageType.h>
#include <tarn/kern/meta/Handles.h>

namespace tarn::kern {

/// How many values a ValueMeta speaks of.
enum class ValueFlags : std::uint32_t {
  Single = 1,      ///< one value: upper is 1
  Collection = 2,  ///< a collection: upper is the unlimited bound
};

/// What a Value is: its type and multiplicity. Known also when no object is stored.
class TARN_EXPORT ValueMeta {
 public:
  ValueMeta(const meta::Type& type, ValueFlags flags);

  [[nodiscard]] const meta::Type& getType() const noexcept { return fType; }
  /// The meta of one entry of a collection value, or of the value itself when single.
  [[nodiscard]] ValueMeta getEntryType() const;

  friend bool operator==(const ValueMeta&, const ValueMeta&) noexcept = default;

 private:
  meta::Type fType;

 public:
  /// 1 for a single value, 2 or more for a collection.
  std::uint32_t upper;
  bool isCollection;
};

namespace internal {

/// What a stored object is to those who do not know its C++ type.
enum class StoredKind : std::uint8_t {
  Plain,
  PrimitiveCollection,  ///< asView gives a PrimitiveCollection*
  ElementCollection,    ///< asView gives an ElementCollection*
  Map,                  ///< asView gives a StringToStringMap*: the object itself, or the map of an element
};

/// What can be done with a stored object whose C++ type is erased. Small objects lie within the Value (kStoredInline).
/// Collections and maps have no equality, order and hash of their own: they are compared through the view, so that a
/// live one, its snapshot and a plain one of the same content are equal.
struct StoredOps {
  const std::type_info* type;
  bool isInline;
  StoredKind kind;
  void (*destroy)(void* object) noexcept;                       // object and, where boxed, its box
  void* (*clone)(const void* object, void* inlineSpace);        // gives the place of the copy
  void* (*relocate)(void* object, void* inlineSpace) noexcept;  // moves; the source place is dead afterwards
  bool (*equal)(const void* a, const void* b);                  // Plain only
  std::strong_ordering (*order)(const void* a, const void* b);  // Plain only
  std::size_t (*hash)(const void* object);                      // Plain only
  void* (*asView)(void* object);                                // null for Plain; throws where the owner is destroyed
};

inline constexpr std::size_t kInlineBytes = 32;
inline constexpr std::size_t kInlineAlignment = alignof(std::uint64_t);

template <class T>
[[nodiscard]] TARN_EXPORT const StoredOps& storedOpsOf();

[[noreturn]] TARN_EXPORT void throwCannotCast(const meta::Type& actual);

class ValueAccess;  // the kernel's way to the stored object

}  // namespace internal

/// A typed value: a ValueMeta, and an object of the type's C++ type, or none ("absent").
///
/// A single value is a snapshot: it holds its content itself. A value of a collection or map property is *live*:
/// changing the collection through it changes the element that it was read from, and it throws DestroyedElementError
/// once that is destroyed. Moving keeps it live; a *copy* of it is a detached snapshot that refuses to be changed
/// (SnapshotError), so that a change meant for the element cannot get lost in a copy.
///
/// A moved-from value is an absent one of the same type.
///
/// Checked reads throw the cast failure (bedrock/except.h, CannotCastIncompatibleTypes) with the qualified name of the
/// value's type. The meta is checked first; then a standard type with nothing stored reads as its zero value,
/// ModelElement as a null handle; collections and maps without storage fail.
///
/// Equality: same type, multiplicity and content. Reals compare by bit pattern (a NaN equals itself, -0.0 differs from
/// 0.0) and maps with their order, so that leaving out a value that equals a default never loses anything. Order and
/// hash agree with it.
class TARN_EXPORT Value {
 public:
  /// One value of a standard type.
  template <StandardValueType T>
  Value(T object);              // NOLINT(google-explicit-constructor): values are written as their objects
  Value(const char16_t* text);  // NOLINT(google-explicit-constructor)
  Value(const char*) = delete;  // would be a bool; say std::string for StdString
  /// Its type is the element's class, or ModelElement::metaClass() for a null handle, which is then a stored null.
  Value(const ModelElement& element);     // NOLINT(google-explicit-constructor)
  Value(const ReflectiveDataType& data);  // NOLINT(google-explicit-constructor)
  Value(ReflectiveDataType&& data);       // NOLINT(google-explicit-constructor): takes the content, however deep it is

  /// A value of the given meta holding `object`: for enums a number of any width (held as 64 bits), for custom types an
  /// object of the registered type, for classes a ModelElement.
  template <class T>
  Value(const ValueMeta& meta, T object);

  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();

  /// A single value of that type without content. The flag tells that the property is required; it changes nothing
  /// here, because what stands for "absent" is the format's or the reader's business.
  [[nodiscard]] static Value createEmptyValue(const meta::Type& type, bool required);
  [[nodiscard]] static Value createEnumValue(const meta::EnumLiteral& literal);

  [[nodiscard]] const ValueMeta& getMeta() const noexcept { return fMeta; }
  [[nodiscard]] const meta::Type& getType() const noexcept { return fMeta.getType(); }
  /// False when the value is absent.
  [[nodiscard]] bool hasObject() const noexcept { return fObject != nullptr; }

  friend TARN_EXPORT bool operator==(const Value& a, const Value& b);
  friend TARN_EXPORT std::strong_ordering operator<=>(const Value& a, const Value& b);
  [[nodiscard]] std::size_t hash() const;

  // --- Checked reads.

  /// T: a standard type's C++ type, ModelElement, ReflectiveDataType, or the C++ type of a custom type.
  template <class T>
  [[nodiscard]] T get() const;
  /// The same check; none when no object is stored.
  template <class T>
  [[nodiscard]] boost::optional<T> getOptional() const;
  /// The stored object in place, nullptr when absent. Valid while the value is. Not for ModelElement.
  template <class T>
  [[nodiscard]] const T* peek() const;

  [[nodiscard]] ElementCollection& toElementCollection() const;
  [[nodiscard]] PrimitiveCollection& toPrimitiveCollection() const;
  [[nodiscard]] StringToStringMap& toStringToStringMap() const;

  /// The structured view of a data-type value; of an absent one an instance with all defaults.
  [[nodiscard]] ReflectiveDataType toReflectiveDataType() const;

  /// The value for messages: its type and content, shortened when long.
  [[nodiscard]] std::string describe() const;

 private:
  friend class internal::ValueAccess;

  explicit Value(ValueMeta meta) noexcept : fMeta(std::move(meta)) {}
  template <class T>
  void emplace(T object);
  void moveObjectFrom(Value& other) noexcept;
  void clear() noexcept;
  /// Of the meta alone: single, and of the standard type, an enum where one is accepted, or a data type for Data.
  void checkStandard(StorageType storage, bool acceptsEnum) const;
  /// Of the meta alone: single, and of a custom primitive type with that C++ type.
  void checkCustom(const std::type_info& type) const;
  [[nodiscard]] meta::DataType dataType() const;
  [[nodiscard]] ModelElement checkedElement() const;
  /// The stored object, when it is of that C++ type. @pre hasObject()
  [[nodiscard]] const void* checkedObject(const std::type_info& type) const;
  [[nodiscard]] void* checkedView(internal::StoredKind kind) const;

  ValueMeta fMeta;
  const internal::StoredOps* fOps = nullptr;
  void* fObject = nullptr;
  // Not aligned any further, so that values may lie in the slots of elements; what needs more is boxed.
  alignas(internal::kInlineAlignment) std::byte fSpace[internal::kInlineBytes];
};

inline ValueMeta::ValueMeta(const meta::Type& type, ValueFlags flags)
    : fType(type),
      upper(flags == ValueFlags::Collection ? std::numeric_limits<std::uint32_t>::max() : 1),
      isCollection(flags == ValueFlags::Collection) {}

}  // namespace tarn::kern

template <>
struct std::hash<tarn::kern::Value> {
  [[nodiscard]] std::size_t operator()(const tarn::kern::Value& value) const { return value.hash(); }
};

#include <tarn/kern/ValueTyped.h>
