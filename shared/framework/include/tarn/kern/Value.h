#pragma once

#include <any>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <new>
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

/// What can be done with a stored object whose C++ type is erased. Objects of up to kInlineBytes lie within the Value.
struct StoredOps {
  const std::type_info* type;
  bool isInline;
  void (*destroy)(void* object) noexcept;                        // object and, where boxed, its box
  void* (*clone)(const void* object, void* inlineSpace);         // gives the place of the copy
  void* (*relocate)(void* object, void* inlineSpace) noexcept;   // moves; the source place is dead afterwards
  bool (*equal)(const void* a, const void* b);
  std::strong_ordering (*order)(const void* a, const void* b);
  std::size_t (*hash)(const void* object);
};

template <class T>
[[nodiscard]] TARN_EXPORT const StoredOps& storedOpsOf();

[[noreturn]] TARN_EXPORT void throwCannotCast(const meta::Type& actual);

}  // namespace internal

/// A typed value: a ValueMeta, and an object of the type's C++ type, or none ("absent").
///
/// A single value is a snapshot: it holds its content itself. A value of a collection or map property is *live*: changing
/// the collection through it changes the element that it was read from, and it throws DestroyedElementError once that is
/// destroyed. Moving keeps it live; a *copy* of it is a detached snapshot that refuses to be changed (SnapshotError), so
/// that a change meant for the element cannot get lost in a copy.
///
/// Checked reads throw the cast failure (bedrock/except.h, CannotCastIncompatibleTypes) with the qualified name of the
/// value's type. The meta is checked first; then a standard type with nothing stored reads as its zero value, ModelElement as
/// a null handle; collections and maps without storage fail.
///
/// Equality: same type, multiplicity and content. Reals compare by bit pattern (a NaN equals itself, -0.0 differs from 0.0)
/// and maps with their order, so that leaving out a value that equals a default never loses anything. Order and hash agree
/// with it.
class TARN_EXPORT Value {
 public:
  /// One value of a standard type.
  template <StandardValueType T>
  Value(T object);  // NOLINT(google-explicit-constructor): values are written as their objects
  Value(const char16_t* text);  // NOLINT(google-explicit-constructor)
  Value(const char*) = delete;  // would be a bool; say std::string for StdString
  /// Its type is the element's class, or ModelElement::metaClass() for a null handle, which is then a stored null.
  Value(const ModelElement& element);  // NOLINT(google-explicit-constructor)
  Value(const ReflectiveDataType& data);  // NOLINT(google-explicit-constructor)

  /// A value of the given meta holding `object`: for enums a number of any width (held as 64 bits), for custom types an
  /// object of the registered type, for classes a ModelElement.
  template <class T>
  Value(const ValueMeta& meta, T object);

  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();

  /// A single value of that type without content. The flag tells that the property is required; it changes nothing here,
  /// because what stands for "absent" is the format's or the reader's business.
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
  /// The same check; none when no object is stored or the value is not single.
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
  friend class LiveValueFactory;
  static constexpr std::size_t kInlineBytes = 32;

  explicit Value(ValueMeta meta) noexcept : fMeta(std::move(meta)) {}
  template <class T>
  void emplace(T object);
  void moveObjectFrom(Value& other) noexcept;
  void clear() noexcept;
  void checkStandard(StorageType storage, bool acceptsEnum) const;
  [[nodiscard]] ModelElement checkedElement() const;
  [[nodiscard]] const void* checkedObject(const std::type_info& type) const;

  ValueMeta fMeta;
  const internal::StoredOps* fOps = nullptr;
  void* fObject = nullptr;
  alignas(std::max_align_t) std::byte fSpace[kInlineBytes];
};

}  // namespace tarn::kern

template <>
struct std::hash<tarn::kern::Value> {
  [[nodiscard]] std::size_t operator()(const tarn::kern::Value& value) const { return value.hash(); }
};

#include <tarn/kern/ValueTyped.h>
