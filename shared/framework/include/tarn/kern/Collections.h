#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include <tarn/export.h>
#include <tarn/kern/Value.h>

/// The live collections of many-valued properties, as a Value gives them.
///
/// A collection object is a view: it names the property of an element (or of a data value) and holds nothing itself
/// but, when detached, the snapshot. It is reached through the Value that it came with and lives as long as that Value.
/// Every operation throws DestroyedElementError once the element is destroyed; every change through a detached snapshot
/// throws SnapshotError. Changes take part in the model's transactions.
namespace tarn::kern {

namespace internal {
class CollectionAccess;
}

/// Describes a change of a collection to those who observe it.
struct TARN_EXPORT OCDChangeDescriptor {
  enum class Kind : std::uint8_t {
    GiveUp,   ///< the content as a whole changes; nothing is said about parts
    Insert,   ///< `count` entries come in at `index`
    Remove,   ///< `count` entries go from `index`
    Move,     ///< the entry at `index` goes to `target`
    Replace,  ///< the entry at `index` gets another value
  };
  Kind kind = Kind::GiveUp;
  std::size_t index = 0;
  std::size_t count = 0;
  std::size_t target = 0;

  friend bool operator==(const OCDChangeDescriptor&, const OCDChangeDescriptor&) = default;
};

/// What all collections share: whose they are, and how a change is announced.
class TARN_EXPORT AbstractOwnedCollection {
 public:
  /// One change of the collection: construct, call modifying, change, commit. An operation that ends without commit
  /// tells nobody.
  class TARN_EXPORT Operation {
   public:
    explicit Operation(AbstractOwnedCollection& collection);
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;
    ~Operation();
    /// Ends the change; the owner's model tells its observers.
    void commit();

   private:
    AbstractOwnedCollection& fCollection;
  };

  /// Copying is the concrete collection's: a copy is a snapshot of the content.
  AbstractOwnedCollection(const AbstractOwnedCollection&) = delete;
  AbstractOwnedCollection& operator=(const AbstractOwnedCollection&) = delete;
  virtual ~AbstractOwnedCollection();

  /// The descriptor of a wholesale change.
  static const OCDChangeDescriptor& getGiveUpDescriptor();
  /// Announces a change; to be called before the content changes.
  void modifying(const OCDChangeDescriptor& change);

  [[nodiscard]] virtual std::size_t size() const = 0;
  [[nodiscard]] virtual bool empty() const = 0;

  [[nodiscard]] const meta::Property& getProperty() const noexcept;
  /// The element whose collection this is; null for a data value's collection and for a snapshot.
  [[nodiscard]] ModelElement getOwner() const;
  /// A stable address that stands for this property of this owner as long as the owner lives: the same on every read.
  [[nodiscard]] const void* identity() const noexcept;
  /// True for the copy of a live collection.
  [[nodiscard]] bool isSnapshot() const noexcept;

 protected:
  AbstractOwnedCollection(internal::CountedImpl* owner, const meta::Property& property) noexcept;
  AbstractOwnedCollection(AbstractOwnedCollection&& other) noexcept;

  /// The record that holds the content. @throws DestroyedElementError
  [[nodiscard]] internal::CountedImpl* liveOwner() const;
  /// @throws SnapshotError, DestroyedElementError
  void checkWritable() const;

 private:
  friend class internal::CollectionAccess;
  internal::CountedImpl* fOwner;  // counted: an element, a data value, or a snapshot
  meta::Property fProperty;
};

/// A collection of plain values. Entries are never absent.
class TARN_EXPORT PrimitiveCollection : public AbstractOwnedCollection {
 public:
  /// 1: the entries lie in one contiguous typed vector that TypedCollection::storage gives. Any other number: only the
  /// generic operations may be used.
  [[nodiscard]] virtual std::uint32_t getStorageKind() const = 0;
  static constexpr std::uint32_t kContiguous = 1;
  static constexpr std::uint32_t kGeneric = 0;

  [[nodiscard]] virtual std::vector<Value> getAllValues() const = 0;
  [[nodiscard]] virtual Value getValue(std::size_t index) const = 0;

  /// Appends. A duplicate in a unique collection is ignored. @throws the cast failure when the value does not fit.
  virtual void addValue(const Value& value) = 0;
  /// The same for a value that is given away: large data values then move in.
  virtual void addValue(Value&& value) = 0;
  virtual void insertValue(std::size_t index, const Value& value) = 0;
  virtual void setValue(std::size_t index, const Value& value) = 0;
  virtual void removeAt(std::size_t index) = 0;
  /// Takes the entry at `from` out and puts it in so that it stands at `to`.
  virtual void move(std::size_t from, std::size_t to) = 0;
  virtual void clear() = 0;
  /// Replaces the content as one change; a unique collection keeps the first of equal values.
  virtual void assignValues(std::vector<Value> values) = 0;
  /// The position of the first equal value, or size().
  [[nodiscard]] virtual std::size_t find(const Value& value) const = 0;
  bool remove(const Value& value);

 protected:
  using AbstractOwnedCollection::AbstractOwnedCollection;
  PrimitiveCollection(PrimitiveCollection&&) noexcept = default;
};

/// A collection of storage kind 1: a contiguous vector of T (for bool a packed bit vector).
template <ContiguousValueType T>
class TypedCollection : public PrimitiveCollection {
 public:
  /// The entries in place. Valid until the collection changes.
  [[nodiscard]] virtual const std::vector<T>& storage() const = 0;

  /// Replaces the content by the range, in its order, as one change: one Operation, announced by the give-up
  /// descriptor. A collection that is declared unique keeps the first of equal values.
  template <class Iterator>
  void assign(Iterator first, Iterator last) {
    assign(std::vector<T>(first, last));
  }
  void assign(std::vector<T> values) {
    Operation operation(*this);
    modifying(getGiveUpDescriptor());
    replaceContent(std::move(values));
    operation.commit();
  }
  void append(T value);

 protected:
  using PrimitiveCollection::PrimitiveCollection;
  virtual void replaceContent(std::vector<T> values) = 0;
};

template <ContiguousValueType T>
void TypedCollection<T>::append(T value) {
  addValue(Value(std::move(value)));
}

/// A collection of elements: contained ones when the property is composite, references otherwise. Null members are
/// allowed. Containment and opposites follow every change.
class TARN_EXPORT ElementCollection : public AbstractOwnedCollection {
 public:
  /// In collection order.
  [[nodiscard]] virtual std::vector<ModelElement> getAllElements() const = 0;
  [[nodiscard]] virtual ModelElement getElement(std::size_t index) const = 0;

  /// Appends. An element that is there already stays where it is when the collection is unique.
  /// @throws the cast failure when the element's class does not fit; ContainmentError as for setPropertyValue.
  virtual void addElement(const ModelElement& element) = 0;
  virtual void insertElement(std::size_t index, const ModelElement& element) = 0;
  /// The position of the element, or size(). Constant time in long unique collections.
  [[nodiscard]] virtual std::size_t find(const ModelElement& element) const = 0;
  [[nodiscard]] virtual bool contains(const ModelElement& element) const = 0;
  /// Takes the element out; a contained one becomes top-level. False when it was not there.
  virtual bool remove(const ModelElement& element) = 0;
  virtual void removeAt(std::size_t index) = 0;
  virtual void move(std::size_t from, std::size_t to) = 0;
  virtual void clear() = 0;
  /// Replaces the content by exactly these elements in this order, as one change. Of equal elements in a unique
  /// collection the first stays.
  virtual void assign(const std::vector<ModelElement>& elements) = 0;

  /// For a qualified property: the members whose qualifier has this value. Several may share one.
  [[nodiscard]] virtual std::vector<ModelElement> findByQualifier(const Value& key) const = 0;

 protected:
  using AbstractOwnedCollection::AbstractOwnedCollection;
  ElementCollection(ElementCollection&&) noexcept = default;
};

}  // namespace tarn::kern
