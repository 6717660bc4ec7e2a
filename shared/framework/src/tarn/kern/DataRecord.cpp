#include "DataRecord.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <new>
#include <utility>

#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Class.h>

#include "StorageDispatch.h"

namespace tarn::kern::internal {

namespace {

using Elements = std::vector<ModelElement>;

// --- The content of one slot, seen in the same way whatever its shape: f(const T& a, const T& b) for two records of
// one layout. T is the C++ type that lies in the slot.

template <class F>
void visitSlots(const SlotInfo& slot, F&& f) {
  switch (slot.shape) {
    case SlotShape::Single:
      if (slot.storage == StorageType::Map) return f(TypeTag<StringToStringMap>());
      return dispatchSingle(slot.storage, f);
    case SlotShape::Reference:
      return f(TypeTag<ModelElement>());
    case SlotShape::Typed:
      return dispatchContiguous(slot.storage, [&]<class T>(TypeTag<T>) { f(TypeTag<std::vector<T>>()); });
    case SlotShape::Generic:
      return f(TypeTag<std::vector<Value>>());
    case SlotShape::Elements:
      return f(TypeTag<Elements>());
    case SlotShape::Container:
      return;  // only classes have these
  }
}

/// Equality, order and hash of what lies in slots: that of values, with destroyed targets as null, and entry by entry.
template <class T>
struct SlotTraits : StoredTraits<T> {};

template <>
struct SlotTraits<ModelElement> {
  static bool equal(const ModelElement& a, const ModelElement& b) { return liveTarget(a) == liveTarget(b); }
  static std::strong_ordering order(const ModelElement& a, const ModelElement& b) {
    return liveTarget(a) <=> liveTarget(b);
  }
  static std::size_t hash(const ModelElement& element) { return std::hash<ModelElement>()(liveTarget(element)); }
};

template <class T>
struct SlotTraits<std::vector<T>> {
  static bool equal(const std::vector<T>& a, const std::vector<T>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const T& x, const T& y) { return SlotTraits<T>::equal(x, y); });
  }
  static std::strong_ordering order(const std::vector<T>& a, const std::vector<T>& b) {
    return std::lexicographical_compare_three_way(a.begin(), a.end(), b.begin(), b.end(),
                                                  [](const T& x, const T& y) { return SlotTraits<T>::order(x, y); });
  }
  static std::size_t hash(const std::vector<T>& entries) {
    std::size_t hash = entries.size();
    for (const T& entry : entries) hash = combineHashes(hash, SlotTraits<T>::hash(entry));
    return hash;
  }
};

}  // namespace

ModelElement liveTarget(const ModelElement& element) noexcept {
  return element && !element->isDestroyed() ? element : ModelElement();
}

/// Makes what only data values hold in this way.
class DataRecord::Maker final : public SlotMaker {
 public:
  void constructElements(void* slot, const SlotInfo&) override { new (slot) Elements(); }
  void destroyElements(void* slot, const SlotInfo&) noexcept override { std::destroy_at(static_cast<Elements*>(slot)); }
  void constructMap(void* slot, const SlotInfo&) override { new (slot) StringToStringMap(); }
  void destroyMap(void* slot, const SlotInfo&) noexcept override {
    std::destroy_at(static_cast<StringToStringMap*>(slot));
  }
};

DataRecord::DataRecord(const meta::DataType& type) noexcept : fType(type) {
  fRecordKind = RecordKind::Data;
  fFreedWithLastHandle = true;
  fRefs = 1;
}

DataRecord::~DataRecord() = default;

template <class Construct>
DataRecord* DataRecord::make(const meta::DataType& type, Construct construct) {
  const Layout& layout = type->layout();
  void* block = ::operator new(sizeof(DataRecord) + layout.sizeBytes);
  auto* record = new (block) DataRecord(type);
  try {
    Maker maker;
    construct(layout, record->area(), maker);
  } catch (...) {
    record->~DataRecord();
    ::operator delete(block);
    throw;
  }
  return record;
}

DataRecord* DataRecord::create(const meta::DataType& type) { return make(type, constructSlots); }

DataRecord* DataRecord::clone() const {
  DataRecord* copy = make(fType, constructEmptySlots);
  try {
    for (const SlotInfo& slot : layout().slots) {
      if (!isPresent(area(), slot)) continue;
      visitSlots(slot, [&]<class T>(TypeTag<T>) { slotAs<T>(copy->area(), slot) = slotAs<T>(area(), slot); });
      setPresent(copy->area(), slot, true);
    }
  } catch (...) {
    copy->release();
    throw;
  }
  return copy;
}

bool DataRecord::equals(const DataRecord& other) const {
  const std::vector<SlotInfo>& slots = layout().slots;
  return std::all_of(slots.begin(), slots.end(), [&](const SlotInfo& slot) {
    const bool isThere = isPresent(area(), slot);
    if (isThere != isPresent(other.area(), slot)) return false;
    bool isEqual = true;
    if (!isThere) return isEqual;
    visitSlots(slot, [&]<class T>(TypeTag<T>) {
      isEqual = SlotTraits<T>::equal(slotAs<T>(area(), slot), slotAs<T>(other.area(), slot));
    });
    return isEqual;
  });
}

std::strong_ordering DataRecord::compare(const DataRecord& other) const {
  for (const SlotInfo& slot : layout().slots) {
    const int isThere = isPresent(area(), slot) ? 1 : 0;
    const int isThereToo = isPresent(other.area(), slot) ? 1 : 0;
    std::strong_ordering order = isThere <=> isThereToo;
    if (order == 0 && isThere != 0) {
      visitSlots(slot, [&]<class T>(TypeTag<T>) {
        order = SlotTraits<T>::order(slotAs<T>(area(), slot), slotAs<T>(other.area(), slot));
      });
    }
    if (order != 0) return order;
  }
  return std::strong_ordering::equal;
}

std::size_t DataRecord::hash() const {
  std::size_t hash = hashOfAddress(fType.get());
  for (const SlotInfo& slot : layout().slots) {
    std::size_t ofSlot = 0;
    if (isPresent(area(), slot)) {
      visitSlots(slot, [&]<class T>(TypeTag<T>) { ofSlot = SlotTraits<T>::hash(slotAs<T>(area(), slot)); });
    }
    hash = combineHashes(hash, ofSlot);
  }
  return hash;
}

void DataRecord::free(const DataRecord* doomed) noexcept {
  auto* record = const_cast<DataRecord*>(doomed);  // the count is all that was ever constant
  Maker maker;
  destroySlots(record->layout(), record->area(), maker);
  record->~DataRecord();
  ::operator delete(record);
}

/// Freeing a record lets go of the records within it, which come back to here: they queue up behind the outermost call,
/// so that no depth of nesting needs stack, let alone memory that might be short.
void DataRecord::lastHandleGone() const noexcept {
  static thread_local const DataRecord* tDoomed = nullptr;
  static thread_local bool tIsFreeing = false;
  fNextDoomed = std::exchange(tDoomed, this);
  if (std::exchange(tIsFreeing, true)) return;
  while (tDoomed != nullptr) free(std::exchange(tDoomed, tDoomed->fNextDoomed));
  tIsFreeing = false;
}

}  // namespace tarn::kern::internal
