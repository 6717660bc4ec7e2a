#include "JsonModelWriter.h"

#include <algorithm>
#include <concepts>
#include <set>
#include <type_traits>
#include <unordered_map>

#include <bedrock/deep_call.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/Model.h>

#include "../ErrorTexts.h"
#include "../ModelCore.h"
#include "../StorageDispatch.h"

namespace tarn::kern::io {

using internal::ElementList;
using internal::ElementRecord;
using internal::SlotInfo;
using internal::SlotShape;
using internal::TypeTag;

namespace {

/// @throws KernelError for an element of the meta-model, DestroyedElementError for a destroyed one.
ElementRecord& recordOfRoot(const ModelElement& element) {
  ElementRecord* const record = internal::recordOf(element);
  if (record == nullptr) throw KernelError(internal::texts::metaElementHasNoProperties(*element));
  record->ensureReadable();
  return *record;
}

/// Finds the roots whose contents stand somewhere else in the document: inside an earlier or a later root, or at an
/// earlier mention. Contents may come only once.
class RepeatedRoots {
 public:
  explicit RepeatedRoots(const std::vector<ModelElement>& roots) {
    for (const ModelElement& root : roots) fRoots.insert(root.get());
  }

  /// To be asked once per root, in their order.
  [[nodiscard]] bool isRepeated(const ElementRecord& root) {
    return !fWritten.insert(&root).second || isInsideRoot(root);
  }

 private:
  /// The answer is kept for all that were passed on the way up, so that the roots of one deep chain cost no square.
  bool isInsideRoot(const ElementRecord& element) {
    std::vector<const ElementRecord*> passed;
    const ElementRecord* at = element.container;
    bool isInside = false;
    for (; at != nullptr; at = at->container) {
      at->ensureReadable();
      const auto known = fKnown.find(at);
      isInside = known != fKnown.end() ? known->second : fRoots.contains(at);
      if (known != fKnown.end() || isInside) break;
      passed.push_back(at);
    }
    for (const ElementRecord* record : passed) fKnown.emplace(record, isInside);
    if (at != nullptr) fKnown.emplace(at, isInside);
    return isInside;
  }

  std::unordered_set<const ModelElement::Impl*> fRoots;
  std::unordered_set<const ElementRecord*> fWritten;
  std::unordered_map<const ElementRecord*, bool> fKnown;  // whether it is a root or inside one
};

bool areDistinctTopLevel(const std::vector<ModelElement>& elements) {
  std::unordered_set<const ModelElement::Impl*> seen;
  seen.reserve(elements.size());
  return std::all_of(elements.begin(), elements.end(), [&](const ModelElement& element) {
    return !element || (!element->container() && seen.insert(element.get()).second);
  });
}

}  // namespace

/// The object whose members are being written. One without any is null.
struct JsonModelWriter::Members {
  explicit Members(JsonText& out) : text(out) {}
  void begin(const JsonWriteProperty& plan) {
    text.put(isEmpty ? '{' : ',');
    text.put(plan.key);
    isEmpty = false;
  }
  void end() { text.put(isEmpty ? std::string_view("null") : std::string_view("}")); }

  JsonText& text;
  bool isEmpty = true;
};

void JsonModelWriter::write(const std::vector<ModelElement>& elements) {
  fText.put(R"({"version":"1.0","packageUris":[)");
  packageUris(elements);
  fText.put(R"(],"entries":[)");
  entries(elements);
  fText.put("]}");
  fText.flush();
}

void JsonModelWriter::packageUris(const std::vector<ModelElement>& elements) {
  std::set<ustring> uris;
  std::unordered_set<const internal::ModelCore*> seen;
  for (const ModelElement& element : elements) {
    if (!element) continue;
    const ElementRecord& record = recordOfRoot(element);
    if (!seen.insert(record.core).second) continue;
    for (ustring& uri : element->getModel()->getUsedPackageUris()) uris.insert(std::move(uri));
  }
  const char* separator = "";
  for (const ustring& uri : uris) {
    fText.put(separator);
    fText.string(uri);
    separator = ",";
  }
}

void JsonModelWriter::entries(const std::vector<ModelElement>& elements) {
  // A whole model's roots cannot repeat each other; only a choice of elements can.
  std::unique_ptr<RepeatedRoots> repeated;
  if (!areDistinctTopLevel(elements)) repeated = std::make_unique<RepeatedRoots>(elements);
  bool isFirst = true;
  for (const ModelElement& root : elements) {
    if (!isFirst) fText.put(',');
    isFirst = false;
    if (!root) {
      fText.put("null");
    } else if (repeated && repeated->isRepeated(recordOfRoot(root))) {
      reference(root.get());
    } else {
      element(recordOfRoot(root));
    }
  }
}

// --- Elements.

void JsonModelWriter::element(const ElementRecord& record) {
  record.ensureReadable();
  const JsonWritePlan& plan = fPlans.of(record.getMetaClass());
  fText.put(plan.head);
  fText.uuid(record.getUuid());
  fText.put(R"(,"content":)");
  Members members(fText);
  bedrock::stack::callDeep([&] {
    for (const JsonWriteProperty& each : plan.properties) property(members, record, each);
  });
  members.end();
  fText.put('}');
}

void JsonModelWriter::reference(const ModelElement::Impl* target) {
  if (target == nullptr) {
    fText.put("null");
    return;
  }
  fText.put(fPlans.of(target->getMetaClass()).head);
  fText.uuid(target->getUuid());
  fText.put('}');
}

void JsonModelWriter::property(Members& members, const ElementRecord& record, const JsonWriteProperty& plan) {
  const SlotInfo& slot = *plan.slot;
  switch (slot.shape) {
    case SlotShape::Single:
      return single(members, record, plan);
    case SlotShape::Reference:
      return target(members, record, plan);
    case SlotShape::Elements:
      return targets(members, record, plan);
    case SlotShape::Typed:
      return internal::dispatchContiguous(
          slot.storage, [&]<class T>(TypeTag<T>) { vector(members, plan, record.slot<std::vector<T>>(slot)); });
    case SlotShape::Generic:
      return values(members, plan, record.slot<std::vector<Value>>(slot));
    case SlotShape::Container:
      return;
  }
}

void JsonModelWriter::single(Members& members, const ElementRecord& record, const JsonWriteProperty& plan) {
  const SlotInfo& slot = *plan.slot;
  if (slot.storage == StorageType::Map) return map(members, plan, record.slot<internal::MapSlot>(slot));
  internal::dispatchSingle(slot.storage, [&]<class T>(TypeTag<T>) {
    const T* const object = internal::isPresent(record.area(), slot) ? &record.slot<T>(slot) : nullptr;
    if constexpr (std::same_as<T, Value>) {
      if (object == nullptr) return absent(members, plan);
      boxed(members, plan, *object);
    } else {
      plain(members, plan, object);
    }
  });
}

void JsonModelWriter::target(Members& members, const ElementRecord& record, const JsonWriteProperty& plan) {
  const auto* const target = record.slot<ElementRecord*>(*plan.slot);
  if (target == nullptr && fSkipsDefaults) return;
  members.begin(plan);
  if (target != nullptr && plan.slot->isComposite) {
    element(*target);
  } else {
    reference(target);
  }
}

void JsonModelWriter::targets(Members& members, const ElementRecord& record, const JsonWriteProperty& plan) {
  const ElementList& list = record.list(*plan.slot);
  if (list.size() == 0 && fSkipsDefaults) return;
  members.begin(plan);
  fText.put('[');
  constexpr std::uint32_t kAhead = 8;  // members lie anywhere in memory, so they are asked for in time
  const std::uint32_t end = list.physicalSize();
  bool isFirst = true;
  for (std::uint32_t i = 0; i < end; ++i) {
    if (i + kAhead < end) __builtin_prefetch(list.at(i + kAhead));
    if (ElementList::isHole(list.at(i))) continue;
    if (!isFirst) fText.put(',');
    isFirst = false;
    const ElementRecord* const member = internal::memberAt(list, i);
    if (member != nullptr && plan.slot->isComposite) {
      element(*member);
    } else {
      reference(member);
    }
  }
  fText.put(']');
}

// --- Data values.

void JsonModelWriter::data(const ReflectiveDataType& data) {
  bedrock::stack::callDeep([&] { dataContents(data); });
}

void JsonModelWriter::dataContents(const ReflectiveDataType& data) {
  const JsonWritePlan& plan = fPlans.of(data.getType());
  fText.put(plan.head);
  Members members(fText);
  for (const JsonWriteProperty& each : plan.properties) property(members, data, each);
  members.end();
  fText.put('}');
}

void JsonModelWriter::property(Members& members, const ReflectiveDataType& data, const JsonWriteProperty& plan) {
  switch (plan.slot->shape) {
    case SlotShape::Single:
      return single(members, data, plan);
    case SlotShape::Reference: {
      const auto target = data.getPropertyValue(plan.property).get<ModelElement>();
      if (!target && fSkipsDefaults) return;
      members.begin(plan);
      return reference(target.get());
    }
    case SlotShape::Elements:
    case SlotShape::Typed:
    case SlotShape::Generic:
      return collection(members, data, plan);
    case SlotShape::Container:
      return;
  }
}

void JsonModelWriter::single(Members& members, const ReflectiveDataType& data, const JsonWriteProperty& plan) {
  switch (plan.slot->storage) {
    case StorageType::Map:
      return map(members, plan, data.getPropertyValue(plan.property).toStringToStringMap());
    case StorageType::Custom:
      return boxed(members, plan, data.getPropertyValue(plan.property));
    case StorageType::Data: {
      // In place: a copy per level of nesting would take the square of the depth.
      const auto* const nested = data.peek<ReflectiveDataType>(plan.property);
      if (nested == nullptr) return absent(members, plan);
      members.begin(plan);
      return this->data(*nested);
    }
    default:
      internal::dispatchSingle(plan.slot->storage, [&]<class T>(TypeTag<T>) {
        if constexpr (!std::same_as<T, Value>) plain(members, plan, data.peek<T>(plan.property));
      });
  }
}

void JsonModelWriter::collection(Members& members, const ReflectiveDataType& data, const JsonWriteProperty& plan) {
  if (plan.slot->shape == SlotShape::Generic) return values(members, plan, data.peekValues(plan.property));
  const Value value = data.getPropertyValue(plan.property);
  if (plan.slot->shape == SlotShape::Typed) {
    return internal::dispatchContiguous(plan.slot->storage, [&]<class T>(TypeTag<T>) {
      const auto& typed = static_cast<const TypedCollection<T>&>(value.toPrimitiveCollection());
      vector(members, plan, typed.storage());
    });
  }
  const std::vector<ModelElement> targets = value.toElementCollection().getAllElements();
  if (targets.empty() && fSkipsDefaults) return;
  members.begin(plan);
  fText.put('[');
  for (std::size_t i = 0; i < targets.size(); ++i) {
    if (i > 0) fText.put(',');
    reference(targets[i].get());
  }
  fText.put(']');
}

// --- Plain values.

/// Absence is what a new instance shows, unless it has a default.
void JsonModelWriter::absent(Members& members, const JsonWriteProperty& plan) {
  if (plan.readsAbsentAsNan || (plan.defaultValue == nullptr && fSkipsDefaults)) return;
  members.begin(plan);
  fText.put("null");
}

template <class T>
void JsonModelWriter::plain(Members& members, const JsonWriteProperty& plan, const T* object) {
  if (object == nullptr) return absent(members, plan);
  if (fSkipsDefaults && plan.defaultValue != nullptr) {
    const T* const shown = plan.defaultValue->template peek<T>();
    if (shown != nullptr && internal::StoredTraits<T>::equal(*object, *shown)) return;
  }
  members.begin(plan);
  this->object(plan, *object);
}

void JsonModelWriter::boxed(Members& members, const JsonWriteProperty& plan, const Value& value) {
  if (!value.hasObject()) return absent(members, plan);
  if (fSkipsDefaults && plan.defaultValue != nullptr && *plan.defaultValue == value) return;
  members.begin(plan);
  this->value(plan, value);
}

void JsonModelWriter::map(Members& members, const JsonWriteProperty& plan, const StringToStringMap& map) {
  if (map.empty() && fSkipsDefaults) return;
  members.begin(plan);
  fText.put('{');
  bool isFirst = true;
  for (const auto& [key, text] : map) {
    if (!isFirst) fText.put(',');
    isFirst = false;
    fText.string(key);
    fText.put(':');
    fText.string(text);
  }
  fText.put('}');
}

template <class T>
void JsonModelWriter::vector(Members& members, const JsonWriteProperty& plan, const std::vector<T>& entries) {
  if (entries.empty() && fSkipsDefaults) return;
  members.begin(plan);
  fText.put('[');
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (i > 0) fText.put(',');
    object<T>(plan, entries[i]);
  }
  fText.put(']');
}

template <class Range>
void JsonModelWriter::values(Members& members, const JsonWriteProperty& plan, const Range& entries) {
  if (entries.empty() && fSkipsDefaults) return;
  members.begin(plan);
  fText.put('[');
  bool isFirst = true;
  for (const Value& entry : entries) {
    if (!isFirst) fText.put(',');
    isFirst = false;
    value(plan, entry);
  }
  fText.put(']');
}

template <class T>
void JsonModelWriter::object(const JsonWriteProperty& plan, const T& object) {
  if constexpr (std::same_as<T, bool>) {
    fText.put(object ? std::string_view("true") : std::string_view("false"));
  } else if constexpr (std::same_as<T, double>) {
    fText.real(object);
  } else if constexpr (std::same_as<T, std::int64_t>) {
    plan.literals != nullptr ? enumNumber(plan, object) : fText.number(object);
  } else if constexpr (std::integral<T>) {
    fText.number(object);
  } else if constexpr (std::same_as<T, ustring>) {
    fText.string(object);
  } else if constexpr (std::same_as<T, std::string>) {
    fText.bytes(object);
  } else if constexpr (std::same_as<T, boost::uuids::uuid>) {
    fText.uuid(object);
  } else {
    static_assert(std::same_as<T, boost::posix_time::ptime>);
    fText.string(DateTimeUtils::Conversion::toUstring(object));
  }
}

void JsonModelWriter::enumNumber(const JsonWriteProperty& plan, std::int64_t number) {
  if (const std::string* const literal = plan.literals->find(number)) {
    fText.put(*literal);
  } else {
    fText.number(number);
  }
}

void JsonModelWriter::value(const JsonWriteProperty& plan, const Value& value) {
  switch (plan.slot->storage) {
    case StorageType::Data:
      return data(*value.peek<ReflectiveDataType>());
    case StorageType::Custom:
      return fText.string(narrow<meta::PrimitiveType>(plan.property->getType())->toText(value));
    default:
      internal::dispatchSingle(plan.slot->storage, [&]<class T>(TypeTag<T>) {
        if constexpr (!std::same_as<T, Value>) object(plan, *value.peek<T>());
      });
  }
}

}  // namespace tarn::kern::io
