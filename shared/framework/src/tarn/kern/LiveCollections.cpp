#include <algorithm>
#include <array>
#include <span>
#include <unordered_set>

#include <tarn/kern/Collections.h>
#include <tarn/kern/ModelElement.h>

#include "DataRecord.h"
#include "ErrorTexts.h"
#include "HashSeed.h"
#include "LiveValues.h"
#include "ModelCore.h"
#include "StorageDispatch.h"
#include "ValueAccess.h"
#include "VectorOps.h"

namespace tarn::kern {

using internal::CountedImpl;
using internal::DataRecord;
using internal::ElementRecord;
using internal::SlotInfo;
namespace texts = internal::texts;

// --- What all collections share.

AbstractOwnedCollection::AbstractOwnedCollection(CountedImpl* owner, const meta::Property& property) noexcept
    : fOwner(owner), fProperty(property) {
  fOwner->addRef();
}

AbstractOwnedCollection::AbstractOwnedCollection(AbstractOwnedCollection&& other) noexcept
    : fOwner(std::exchange(other.fOwner, nullptr)), fProperty(std::move(other.fProperty)) {}

AbstractOwnedCollection::~AbstractOwnedCollection() {
  if (fOwner != nullptr) fOwner->release();
}

const OCDChangeDescriptor& AbstractOwnedCollection::getGiveUpDescriptor() {
  static const OCDChangeDescriptor kGiveUp;
  return kGiveUp;
}

const meta::Property& AbstractOwnedCollection::getProperty() const noexcept { return fProperty; }

ModelElement AbstractOwnedCollection::getOwner() const {
  if (fOwner->recordKind() != CountedImpl::RecordKind::Element) return {};
  return ModelElement(static_cast<ElementRecord*>(fOwner));
}

bool AbstractOwnedCollection::isSnapshot() const noexcept {
  return fOwner->recordKind() == CountedImpl::RecordKind::Snapshot;
}

CountedImpl* AbstractOwnedCollection::liveOwner() const {
  internal::checkOwnerAlive(*fOwner);
  return fOwner;
}

void AbstractOwnedCollection::checkWritable() const {
  if (isSnapshot()) throw SnapshotError(texts::snapshot(fProperty));
  internal::checkOwnerAlive(*fOwner);
}

namespace internal {

/// What the collections of this file need of their base, in one place.
class CollectionAccess {
 public:
  static CountedImpl* owner(const AbstractOwnedCollection& collection) noexcept { return collection.fOwner; }
};

namespace {

/// The slot that a collection stands for. @pre it is no snapshot.
const SlotInfo& slotOf(const CountedImpl& owner, const meta::Property& property) noexcept {
  const Layout& layout = owner.recordKind() == CountedImpl::RecordKind::Element
                             ? static_cast<const ElementRecord&>(owner).layout()
                             : static_cast<const DataRecord&>(owner).layout();
  return *layout.find(property.get());
}

/// The content of a detached collection.
template <class Content>
class Snapshot final : public CountedImpl {
 public:
  explicit Snapshot(Content&& taken) noexcept : content(std::move(taken)) {
    fRecordKind = RecordKind::Snapshot;
    fFreedWithLastHandle = true;
  }
  Content content;

 private:
  void lastHandleGone() const noexcept override { delete this; }
};

[[nodiscard]] ModelCore* observedCore(CountedImpl& owner) noexcept {
  if (owner.recordKind() != CountedImpl::RecordKind::Element) return nullptr;
  ModelCore* core = static_cast<ElementRecord&>(owner).core;
  return core->observers().empty() ? nullptr : core;
}

void checkIndex(const AbstractOwnedCollection& collection, std::size_t index, std::size_t end) {
  if (index >= end) throw KernelError(texts::indexOutOfRange(collection.getProperty(), index, collection.size()));
}

}  // namespace

}  // namespace internal

const void* AbstractOwnedCollection::identity() const noexcept {
  if (isSnapshot()) return fOwner;
  return internal::slotAreaOf(*fOwner) + internal::slotOf(*fOwner, fProperty).offset;
}

AbstractOwnedCollection::Operation::Operation(AbstractOwnedCollection& collection) : fCollection(collection) {
  collection.checkWritable();
}

AbstractOwnedCollection::Operation::~Operation() = default;

void AbstractOwnedCollection::Operation::commit() {
  if (auto* core = internal::observedCore(*fCollection.fOwner)) {
    core->tellObservers([&](ModelObserver& observer) { observer.collectionCommitted(fCollection); });
  }
}

void AbstractOwnedCollection::modifying(const OCDChangeDescriptor& change) {
  if (auto* core = internal::observedCore(*fOwner)) {
    core->tellObservers([&](ModelObserver& observer) { observer.collectionModifying(*this, change); });
  }
}

bool PrimitiveCollection::remove(const Value& value) {
  const std::size_t index = find(value);
  if (index == size()) return false;
  removeAt(index);
  return true;
}

namespace internal {

namespace {

using Kind = OCDChangeDescriptor::Kind;

// --- Collections of plain values.

/// Keeps the first of equal entries, in constant time per entry.
template <class T>
std::vector<T> withoutDuplicates(std::vector<T> values) {
  struct Hash {
    // Seeded: who writes a file must not be able to choose values that all fall into one bucket.
    std::size_t operator()(const T& entry) const {
      return static_cast<std::size_t>(
          foldedProduct(StoredTraits<T>::hash(entry) ^ hashSeed().first, hashSeed().second));
    }
  };
  struct Equal {
    bool operator()(const T& a, const T& b) const { return StoredTraits<T>::equal(a, b); }
  };
  std::unordered_set<T, Hash, Equal> seen;
  std::vector<T> kept;
  kept.reserve(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    T entry = std::move(values[i]);
    if (seen.insert(entry).second) kept.push_back(std::move(entry));
  }
  return kept;
}

/// A collection whose slot holds a std::vector<T>; Base is TypedCollection<T>, or PrimitiveCollection for generic
/// storage.
template <class Base, class T>
class LiveVector : public Base {
 public:
  LiveVector(CountedImpl& owner, const meta::Property& property) noexcept : Base(&owner, property) {}
  LiveVector(const LiveVector& other)
      : Base(new Snapshot<std::vector<T>>(std::vector<T>(other.vector())), other.getProperty()) {}
  LiveVector(LiveVector&&) noexcept = default;

  [[nodiscard]] std::size_t size() const override { return vector().size(); }
  [[nodiscard]] bool empty() const override { return vector().empty(); }

  [[nodiscard]] std::vector<Value> getAllValues() const override {
    const std::vector<T>& entries = vector();
    std::vector<Value> values;
    values.reserve(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) values.push_back(valueAt(entries, i));
    return values;
  }
  [[nodiscard]] Value getValue(std::size_t index) const override {
    checkIndex(*this, index, size());
    return valueAt(vector(), index);
  }

  void addValue(const Value& value) override { insertAt(size(), Value(value)); }
  void addValue(Value&& value) override { insertAt(size(), std::move(value)); }
  void insertValue(std::size_t index, const Value& value) override {
    checkIndex(*this, index, size() + 1);
    insertAt(index, Value(value));
  }
  void setValue(std::size_t index, const Value& value) override {
    this->checkWritable();
    checkIndex(*this, index, size());
    Value entry = normalised(slot(), value, true);
    if (isUnique()) {
      const std::size_t there = vectorOpsOf(slot()).find(&vector(), entry);
      if (there == index) return;
      if (there != size()) return removeAt(index);  // what it would become is there already
    }
    change({Kind::Replace, index, 1, 0}, [&](const SlotInfo& info, const VectorOps& ops) {
      if (ElementRecord* record = element()) {
        record->core->vectorSet(*record, info, index, std::move(entry));
      } else {
        const Value old = ops.exchange(info, &vector(), index, std::move(entry));
      }
    });
  }
  void removeAt(std::size_t index) override {
    this->checkWritable();
    checkIndex(*this, index, size());
    change({Kind::Remove, index, 1, 0}, [&](const SlotInfo& info, const VectorOps& ops) {
      if (ElementRecord* record = element()) {
        record->core->vectorErase(*record, info, index);
      } else {
        const Value old = ops.take(info, &vector(), index);
      }
    });
  }
  void move(std::size_t from, std::size_t to) override {
    this->checkWritable();
    checkIndex(*this, from, size());
    checkIndex(*this, to, size());
    if (from == to) return;
    change({Kind::Move, from, 1, to}, [&](const SlotInfo& info, const VectorOps& ops) {
      if (ElementRecord* record = element()) {
        record->core->vectorMove(*record, info, from, to);
      } else {
        ops.move(&vector(), from, to);
      }
    });
  }
  void clear() override {
    this->checkWritable();
    if (!empty()) assignVector({});
  }
  [[nodiscard]] std::size_t find(const Value& value) const override {
    if (this->isSnapshot()) return findBy(value);
    if (!fits(value)) return size();
    return vectorOpsOf(slot()).find(&vector(), value);
  }

 protected:
  [[nodiscard]] const SlotInfo& slot() const noexcept {
    return slotOf(*CollectionAccess::owner(*this), this->getProperty());
  }
  [[nodiscard]] ElementRecord* element() const noexcept {
    CountedImpl* owner = CollectionAccess::owner(*this);
    return owner->recordKind() == CountedImpl::RecordKind::Element ? static_cast<ElementRecord*>(owner) : nullptr;
  }
  [[nodiscard]] std::vector<T>& vector() const {
    CountedImpl* owner = this->liveOwner();
    if (this->isSnapshot()) return static_cast<Snapshot<std::vector<T>>*>(owner)->content;
    return slotAs<std::vector<T>>(slotAreaOf(*owner), slot());
  }
  [[nodiscard]] bool isUnique() const noexcept { return this->getProperty()->isUnique; }

  /// Replaces the content, as one change that the caller has announced.
  void swapContent(std::vector<T> values) {
    if (isUnique()) values = withoutDuplicates(std::move(values));
    ElementRecord* record = element();
    if (record != nullptr && record->core->mayOverwrite(*record)) {
      std::vector<T>& entries = vector();
      record->core->forgetValues(&entries);
      entries = std::move(values);
    } else if (record != nullptr) {
      auto payload = std::make_unique<VectorPayload<T>>();
      payload->content = std::move(values);
      record->core->vectorSwap(*record, slot(), std::move(payload));
    } else {
      vector() = std::move(values);
    }
  }
  void assignVector(std::vector<T> values) {
    typename AbstractOwnedCollection::Operation operation(*this);
    this->modifying(AbstractOwnedCollection::getGiveUpDescriptor());
    swapContent(std::move(values));
    operation.commit();
  }

 private:
  [[nodiscard]] Value valueAt(const std::vector<T>& entries, std::size_t index) const {
    if constexpr (std::same_as<T, Value>) {
      return entries[index];
    } else {
      return Value(ValueMeta(this->getProperty()->getType(), ValueFlags::Single), T(entries[index]));
    }
  }
  [[nodiscard]] bool fits(const Value& value) const noexcept {
    if (!value.hasObject() || value.getMeta() != ValueMeta(this->getProperty()->getType(), ValueFlags::Single)) {
      return false;
    }
    return std::same_as<T, Value> || ValueAccess::isStored(value, typeid(T));
  }
  /// Whether an entry of a unique collection is there. Constant time in long collections of elements.
  [[nodiscard]] bool holds(const Value& entry) const {
    if (ElementRecord* record = element()) return record->core->holdsValue(*record, slot(), entry);
    return vectorOpsOf(slot()).find(&vector(), entry) != size();
  }
  [[nodiscard]] std::size_t findBy(const Value& value) const {
    const std::vector<T>& entries = vector();
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (valueAt(entries, i) == value) return i;
    }
    return entries.size();
  }

  void insertAt(std::size_t index, Value&& value) {
    this->checkWritable();
    Value entry = normalised(slot(), std::move(value), true);
    if (isUnique() && holds(entry)) return;
    change({Kind::Insert, index, 1, 0}, [&](const SlotInfo& info, const VectorOps& ops) {
      if (ElementRecord* record = element()) {
        record->core->vectorInsert(*record, info, index, std::move(entry));
      } else {
        ops.reserve(&vector(), 1);
        ops.insert(&vector(), index, std::move(entry));
      }
    });
  }

  template <class Change>
  void change(const OCDChangeDescriptor& descriptor, Change make) {
    typename AbstractOwnedCollection::Operation operation(*this);
    this->modifying(descriptor);
    const SlotInfo& info = slot();
    make(info, vectorOpsOf(info));
    operation.commit();
  }
};

template <class T>
class LiveTyped final : public LiveVector<TypedCollection<T>, T> {
 public:
  using Base = LiveVector<TypedCollection<T>, T>;
  using Base::Base;
  [[nodiscard]] std::uint32_t getStorageKind() const override { return PrimitiveCollection::kContiguous; }
  [[nodiscard]] const std::vector<T>& storage() const override { return this->vector(); }
  void assignValues(std::vector<Value> values) override {
    this->checkWritable();
    std::vector<T> entries;
    entries.reserve(values.size());
    for (const Value& value : values) entries.push_back(*normalised(this->slot(), value, true).template peek<T>());
    this->assignVector(std::move(entries));
  }

 protected:
  void replaceContent(std::vector<T> values) override { this->swapContent(std::move(values)); }
};

class LiveGeneric final : public LiveVector<PrimitiveCollection, Value> {
 public:
  using LiveVector::LiveVector;
  [[nodiscard]] std::uint32_t getStorageKind() const override { return PrimitiveCollection::kGeneric; }
  void assignValues(std::vector<Value> values) override {
    checkWritable();
    for (Value& value : values) value = normalised(slot(), std::move(value), true);
    assignVector(std::move(values));
  }
};

// --- Collections of elements.

using Handles = std::vector<ModelElement>;

Handles liveTargets(Handles members) {
  for (ModelElement& member : members) member = liveTarget(member);
  return members;
}

/// Members held by handle: those of a data value, and of snapshots. Destroyed ones read as null.
class HandleCollection final : public ElementCollection {
 public:
  HandleCollection(CountedImpl& owner, const meta::Property& property) noexcept : ElementCollection(&owner, property) {}
  HandleCollection(const HandleCollection& other)
      : ElementCollection(new Snapshot<Handles>(other.getAllElements()), other.getProperty()) {}
  HandleCollection(HandleCollection&&) noexcept = default;

  [[nodiscard]] std::size_t size() const override { return handles().size(); }
  [[nodiscard]] bool empty() const override { return handles().empty(); }
  [[nodiscard]] Handles getAllElements() const override { return liveTargets(handles()); }
  [[nodiscard]] ModelElement getElement(std::size_t index) const override {
    checkIndex(*this, index, size());
    return liveTarget(handles()[index]);
  }
  void addElement(const ModelElement& element) override { insertElement(size(), element); }
  void insertElement(std::size_t index, const ModelElement& element) override {
    checkWritable();
    checkIndex(*this, index, size() + 1);
    checkConforms(slotOf(*CollectionAccess::owner(*this), getProperty()), element);
    if (element && getProperty()->isUnique && contains(element)) return;
    Handles& members = handles();
    members.insert(members.begin() + static_cast<std::ptrdiff_t>(index), element);
  }
  [[nodiscard]] std::size_t find(const ModelElement& element) const override {
    const Handles& members = handles();
    return static_cast<std::size_t>(std::find(members.begin(), members.end(), element) - members.begin());
  }
  [[nodiscard]] bool contains(const ModelElement& element) const override { return find(element) != size(); }
  bool remove(const ModelElement& element) override {
    const std::size_t index = find(element);
    if (index == size()) return false;
    removeAt(index);
    return true;
  }
  void removeAt(std::size_t index) override {
    checkWritable();
    checkIndex(*this, index, size());
    handles().erase(handles().begin() + static_cast<std::ptrdiff_t>(index));
  }
  void move(std::size_t from, std::size_t to) override {
    checkWritable();
    checkIndex(*this, from, size());
    checkIndex(*this, to, size());
    const auto at = [&](std::size_t i) { return handles().begin() + static_cast<std::ptrdiff_t>(i); };
    if (from < to) {
      std::rotate(at(from), at(from) + 1, at(to) + 1);
    } else {
      std::rotate(at(to), at(from), at(from) + 1);
    }
  }
  void clear() override {
    checkWritable();
    handles().clear();
  }
  void assign(const Handles& elements) override {
    checkWritable();
    Handles members;
    std::unordered_set<ModelElement> seen;
    for (const ModelElement& element : elements) {
      checkConforms(slotOf(*CollectionAccess::owner(*this), getProperty()), element);
      if (!element || !getProperty()->isUnique || seen.insert(element).second) members.push_back(element);
    }
    handles().swap(members);
  }
  [[nodiscard]] Handles findByQualifier(const Value& key) const override;

 private:
  [[nodiscard]] Handles& handles() const {
    CountedImpl* owner = liveOwner();
    if (isSnapshot()) return static_cast<Snapshot<Handles>*>(owner)->content;
    return slotAs<Handles>(slotAreaOf(*owner), slotOf(*owner, getProperty()));
  }
};

Handles membersWithQualifier(const ElementCollection& collection, const Value& key) {
  const meta::Property& qualifier = collection.getProperty()->getQualifiedBy();
  if (!qualifier) {
    throw PropertyError("the collection " + texts::propertyName(collection.getProperty()) +
                        " has no qualifier: define it with qualifiedBy to look members up by a key");
  }
  Handles found;
  for (ModelElement& member : collection.getAllElements()) {
    if (member && member->getPropertyValue(qualifier, ReflectionPrivateTag::PRIVILEGED_ACCESS) == key) {
      found.push_back(std::move(member));
    }
  }
  return found;
}

Handles HandleCollection::findByQualifier(const Value& key) const { return membersWithQualifier(*this, key); }

/// The members of an element's property.
class LiveElements final : public ElementCollection {
 public:
  LiveElements(ElementRecord& owner, const meta::Property& property) noexcept : ElementCollection(&owner, property) {}
  LiveElements(const LiveElements& other)
      : ElementCollection(new Snapshot<Handles>(other.getAllElements()), other.getProperty()) {}
  LiveElements(LiveElements&&) noexcept = default;

  [[nodiscard]] std::size_t size() const override { return isSnapshot() ? taken().size() : list().size(); }
  [[nodiscard]] bool empty() const override { return size() == 0; }
  [[nodiscard]] Handles getAllElements() const override {
    if (isSnapshot()) return liveTargets(taken());
    const ElementList& members = list();
    Handles handles;
    handles.reserve(members.size());
    for (std::uint32_t i = 0; i < members.physicalSize(); ++i) {
      if (!ElementList::isHole(members.at(i))) handles.emplace_back(members.at(i));
    }
    return handles;
  }
  [[nodiscard]] ModelElement getElement(std::size_t index) const override {
    if (isSnapshot()) {
      checkIndex(*this, index, taken().size());
      return liveTarget(taken()[index]);
    }
    ElementRecord& owner = record();
    const SlotInfo& info = slot();
    const ElementList& members = owner.list(info);
    if (index >= members.size()) checkIndex(*this, index, members.size());
    return ModelElement(memberAt(members, owner.core->physicalIndex(owner, info, index)));
  }
  void addElement(const ModelElement& element) override {
    if (isSnapshot()) checkWritable();  // says what is wrong
    insertAt(list().size(), element);
  }
  void insertElement(std::size_t index, const ModelElement& element) override {
    checkWritable();
    checkIndex(*this, index, size() + 1);
    insertAt(index, element);
  }
  [[nodiscard]] std::size_t find(const ModelElement& element) const override {
    if (isSnapshot())
      return static_cast<std::size_t>(std::find(taken().begin(), taken().end(), element) - taken().begin());
    const ElementRecord* member = recordOf(element);
    if (element && member == nullptr) return size();
    const std::uint32_t position = list().find(member);
    if (position == ElementList::kNone) return size();
    if (list().holes() == 0) return position;
    if (record().core->pack(record(), slot())) return list().find(member);
    std::size_t index = 0;
    for (std::uint32_t i = 0; i < position; ++i) index += ElementList::isHole(list().at(i)) ? 0 : 1;
    return index;
  }
  [[nodiscard]] bool contains(const ModelElement& element) const override {
    if (isSnapshot()) return find(element) != size();
    const ElementRecord* member = recordOf(element);
    if (element && member == nullptr) return false;
    return list().find(member) != ElementList::kNone;
  }
  bool remove(const ModelElement& element) override {
    checkWritable();
    ElementRecord* member = recordOf(element);
    if ((element && member == nullptr) || !contains(element)) return false;
    change({Kind::Remove, observedIndexOf(element), 1, 0}, [&] { record().core->remove(record(), slot(), member); });
    return true;
  }
  void removeAt(std::size_t index) override {
    checkWritable();
    checkIndex(*this, index, size());
    change({Kind::Remove, index, 1, 0}, [&] { record().core->removeAt(record(), slot(), index); });
  }
  void move(std::size_t from, std::size_t to) override {
    checkWritable();
    checkIndex(*this, from, size());
    checkIndex(*this, to, size());
    if (from == to) return;
    change({Kind::Move, from, 1, to}, [&] { record().core->move(record(), slot(), from, to); });
  }
  void clear() override {
    checkWritable();
    if (!empty()) assignRecords({});
  }
  void assign(const Handles& elements) override {
    checkWritable();
    const SlotInfo& info = slot();
    if (std::array<ElementRecord*, kFew> members; elements.size() <= kFew) {  // as most are
      std::size_t count = 0;
      for (const ModelElement& element : elements) members[count++] = checkedMember(info, element);
      return assignRecords(std::span(members).first(count));
    }
    std::vector<ElementRecord*> members;
    members.reserve(elements.size());
    for (const ModelElement& element : elements) members.push_back(checkedMember(info, element));
    assignRecords(members);
  }
  [[nodiscard]] Handles findByQualifier(const Value& key) const override { return membersWithQualifier(*this, key); }

 private:
  [[nodiscard]] const Handles& taken() const noexcept {
    return static_cast<const Snapshot<Handles>*>(CollectionAccess::owner(*this))->content;
  }
  [[nodiscard]] ElementRecord& record() const {
    auto& owner = static_cast<ElementRecord&>(*CollectionAccess::owner(*this));
    owner.ensureReadable();
    return owner;
  }
  [[nodiscard]] const SlotInfo& slot() const noexcept {
    return *static_cast<const ElementRecord&>(*CollectionAccess::owner(*this)).layout().find(getProperty().get());
  }
  [[nodiscard]] ElementList& list() const { return record().list(slot()); }
  [[nodiscard]] bool isUnique() const noexcept {
    return slot().property->isUnique || slot().isComposite || slot().isPaired;
  }
  static constexpr std::size_t kFew = 16;

  [[nodiscard]] static ElementRecord* checkedMember(const SlotInfo& info, const ModelElement& element) {
    checkConforms(info, element);
    ElementRecord* member = recordOf(element);
    if (element && member == nullptr) throw ContainmentError(texts::notInAModel(*element));
    return member;
  }
  /// Only observers want to know, and finding the index may take time.
  [[nodiscard]] std::size_t observedIndexOf(const ModelElement& element) const {
    return observedCore(record()) == nullptr ? 0 : find(element);
  }

  void insertAt(std::size_t index, const ModelElement& element) {
    ElementRecord& owner = record();
    const SlotInfo& info = slot();
    ElementRecord* member = checkedMember(info, element);
    if (observedCore(owner) == nullptr) {
      owner.core->insert(owner, info, index, member);
      return;
    }
    if (member != nullptr && isUnique() && contains(element)) return;  // then there is nothing to tell
    change({Kind::Insert, index, 1, 0}, [&] { owner.core->insert(owner, info, index, member); });
  }
  void assignRecords(std::span<ElementRecord* const> members) {
    change(getGiveUpDescriptor(), [&] { record().core->assign(record(), slot(), members); });
  }
  template <class Change>
  void change(const OCDChangeDescriptor& descriptor, Change make) {
    if (observedCore(record()) == nullptr) return make();  // an operation is for those who watch
    Operation operation(*this);
    modifying(descriptor);
    make();
    operation.commit();
  }
};

}  // namespace

std::byte* slotAreaOf(CountedImpl& owner) noexcept {
  return owner.recordKind() == CountedImpl::RecordKind::Element ? static_cast<ElementRecord&>(owner).area()
                                                                : static_cast<DataRecord&>(owner).area();
}

Value makeLiveCollection(CountedImpl& owner, const SlotInfo& slot) {
  const meta::Property property(const_cast<meta::Property::Impl*>(slot.property));  // handles are not const
  const auto make = [&]<class Live>(TypeTag<Live>, auto& record) {
    return ValueAccess::make<Live>(property->getType(), ValueFlags::Collection, record, property);
  };
  if (slot.shape == SlotShape::Generic) return make(TypeTag<LiveGeneric>(), owner);
  if (slot.shape == SlotShape::Typed) {
    return dispatchContiguous(slot.storage, [&]<class T>(TypeTag<T>) { return make(TypeTag<LiveTyped<T>>(), owner); });
  }
  if (owner.recordKind() == CountedImpl::RecordKind::Element) {
    return make(TypeTag<LiveElements>(), static_cast<ElementRecord&>(owner));
  }
  return make(TypeTag<HandleCollection>(), owner);
}

}  // namespace internal

}  // namespace tarn::kern
