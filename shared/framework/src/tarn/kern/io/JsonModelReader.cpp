#include "JsonModelReader.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <exception>
#include <utility>
#include <vector>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>

#include "../ModelCore.h"
#include "../Slots.h"
#include "../StorageDispatch.h"
#include "JsonValues.h"
#include "KnownNames.h"

namespace tarn::kern::io {

using bedrock::i18n::to_string;
using internal::SlotShape;
using internal::TypeTag;

namespace {

/// Runs a change of the model; what the kernel refuses is an error of that node.
template <class Change>
void at(const JsonNode& node, Change change) {
  try {
    change();
  } catch (const ParseError&) {
    throw;
  } catch (const KernelError& error) {
    node.failWith(error.what());
  }
}

/// Which properties of one object have come. Most types have few, and then this costs no allocation.
class SeenProperties {
 public:
  explicit SeenProperties(std::size_t count) {
    if (count > kFew) fMany.resize(count);
  }
  /// False when the property had come before.
  [[nodiscard]] bool insert(std::size_t position) {
    if (!fMany.empty()) {
      const bool isNew = !fMany[position];
      fMany[position] = true;
      return isNew;
    }
    const std::uint64_t bit = std::uint64_t{1} << position;
    const bool isNew = (fFew & bit) == 0;
    fFew |= bit;
    return isNew;
  }

 private:
  static constexpr std::size_t kFew = 64;
  std::uint64_t fFew = 0;
  std::vector<bool> fMany;
};

[[noreturn, gnu::cold]] void failRepeated(const JsonNode& key) {
  key.failWith("the key \"" + to_string(key.text()) + "\" comes twice in one object");
}

[[noreturn, gnu::cold]] void failUnknownProperty(const JsonReadPlan& plan, const JsonNode& key) {
  const ustring name = key.text();
  throw ParseError(key.place(), "a property of " + to_string(plan.type->getQualifiedName()),
                   "\"" + to_string(name) + "\"", nearestProperty(plan.type, name));
}

[[noreturn, gnu::cold]] void failUnknownClass(const JsonNode& node) {
  const ustring name = node.text();
  const std::string suggestion = nearestClass(name);
  node.fail("the qualified name of a registered class",
            suggestion.empty() ? "; register its package before reading" : suggestion);
}

std::vector<ModelElement> handlesTo(const std::vector<internal::ElementRecord*>& records) {
  std::vector<ModelElement> handles;
  handles.reserve(records.size());
  for (internal::ElementRecord* const record : records) handles.emplace_back(record);
  return handles;
}

// What follows writes to the slots of elements where nobody could ask what they held before, which is the case for all
// that this reading has made. The way through a Value is the same for every target.

[[nodiscard]] internal::ElementRecord& recordOf(const ElementTarget& target) noexcept {
  return static_cast<internal::ElementRecord&>(target.element);
}

template <class T>
void put(const ElementTarget& target, const JsonReadProperty& plan, T object) {
  internal::ElementRecord& record = recordOf(target);
  if (!record.core->mayOverwrite(record)) return target.setObject(plan.property, std::move(object));
  internal::setPresent(record.area(), *plan.slot, true);
  record.slot<T>(*plan.slot) = std::move(object);
}
template <class T>
void put(const DataTarget& target, const JsonReadProperty& plan, T object) {
  target.setObject(plan.property, std::move(object));
}

template <class Target, class T>
void putVectorAsValue(const Target& target, const JsonReadProperty& plan, std::vector<T> objects) {
  const Value live = target.get(plan.property);
  static_cast<TypedCollection<T>&>(live.toPrimitiveCollection()).assign(std::move(objects));
}
template <class T>
void putVector(const ElementTarget& target, const JsonReadProperty& plan, std::vector<T> objects) {
  internal::ElementRecord& record = recordOf(target);
  const bool isSimple =
      record.core->mayOverwrite(record) && record.core->observers().empty() && !plan.property->isUnique;
  if (!isSimple) return putVectorAsValue(target, plan, std::move(objects));
  auto& place = record.slot<std::vector<T>>(*plan.slot);
  record.core->forgetValues(&place);
  place = std::move(objects);
}
template <class T>
void putVector(const DataTarget& target, const JsonReadProperty& plan, std::vector<T> objects) {
  putVectorAsValue(target, plan, std::move(objects));
}

void link(const ElementTarget& target, const JsonReadProperty& plan, ModelElement::Impl* element) {
  internal::ElementRecord& record = recordOf(target);
  auto* const other = static_cast<internal::ElementRecord*>(element);
  if (plan.slot->shape == SlotShape::Container) return record.core->setContainer(record, *plan.slot, other);
  record.core->setReference(record, *plan.slot, other);
}
void link(const DataTarget& target, const JsonReadProperty& plan, ModelElement::Impl* element) {
  if (element != nullptr) return target.setObject(plan.property, ModelElement(element));
  target.set(plan.property, Value::createEmptyValue(plan.type(), plan.property->lower != 0));
}

constexpr const char* kElement = "an element or null";

}  // namespace

struct JsonModelReader::Parts {
  /// @param expected what the node should have been, for messages
  Parts(const JsonNode& node, const char* expected, bool hasUuid) {
    if (!node.isObject()) node.fail(expected);
    for (const JsonMember& member : node.members()) {
      JsonNode& place = placeOf(member.key, hasUuid);
      if (place) failRepeated(member.key);
      place = member.value;
    }
  }

  JsonNode type;
  JsonNode uuid;
  JsonNode content;

 private:
  [[nodiscard]] JsonNode& placeOf(const JsonNode& key, bool hasUuid) {
    if (key.says("type")) return type;
    if (key.says("content")) return content;
    if (hasUuid && key.says("uuid")) return uuid;
    throw ParseError(key.place(),
                     hasUuid ? R"("type", "uuid" or "content" as a key)" : R"("type" or "content" as a key)",
                     "\"" + to_string(key.text()) + "\"");
  }
};

// --- Elements.

void JsonModelReader::entries(const JsonNode& entries) {
  for (const JsonNode& entry : entries.entries()) {
    const Head root = head(entry);
    if (root.plan == nullptr) continue;
    at(entry, [&] { static_cast<void>(fElements.mention(root.plan->metaClass, root.uuid)); });
  }
  for (const JsonNode& entry : entries.entries()) element(entry);
}

JsonModelReader::Head JsonModelReader::head(const JsonNode& node) {
  if (node.isNull()) return {.node = node, .content = {}};
  const Parts parts(node, kElement, true);
  const JsonReadPlan& plan = planOf(node, parts);
  const boost::uuids::uuid uuid = uuidOf(node, parts);
  fElements.expect(uuid);
  return {.node = node, .plan = &plan, .uuid = uuid, .content = parts.content};
}

ModelElement::Impl* JsonModelReader::element(const Head& head) {
  if (head.plan == nullptr) return nullptr;
  const meta::Class& type = head.plan->metaClass;
  ModelElement::Impl* element = nullptr;
  at(head.node,
     [&] { element = head.content ? fElements.define(type, head.uuid) : fElements.mention(type, head.uuid); });
  if (head.content && !head.content.isNull()) {
    bedrock::stack::callDeep([&] { contents(ElementTarget{*element}, *head.plan, head.content); });
  }
  return element;
}

const JsonReadPlan& JsonModelReader::planOf(const JsonNode& node, const Parts& parts) {
  if (!parts.type || !parts.type.isString())
    (parts.type ? parts.type : node).fail("the class as a text under \"type\"");
  const JsonReadPlan* const plan =
      parts.type.isVerbatim() ? fPlans.ofClass(parts.type.raw()) : fPlans.ofClass(parts.type.utf8());
  if (plan == nullptr) failUnknownClass(parts.type);
  return *plan;
}

boost::uuids::uuid JsonModelReader::uuidOf(const JsonNode& node, const Parts& parts) {
  if (!parts.uuid) node.fail("an element with \"uuid\"");
  const boost::uuids::uuid uuid = json::uuid(parts.uuid);
  if (uuid.is_nil()) parts.uuid.fail("a uuid that is not nil");
  return uuid;
}

template <class Target>
void JsonModelReader::contents(Target target, const JsonReadPlan& plan, const JsonNode& content) {
  if (!content.isObject()) content.fail("an object of properties or null");
  SeenProperties seen(plan.properties.size());
  std::size_t expected = 0;
  for (const JsonMember& member : content.members()) {
    const JsonReadProperty* const found =
        member.key.isVerbatim() ? plan.find(member.key.raw(), expected) : plan.find(member.key.utf8(), expected);
    if (found == nullptr) failUnknownProperty(plan, member.key);
    if (!seen.insert(found->position)) failRepeated(member.key);
    expected = found->position + 1;
    property(target, *found, member.value);
  }
}

template <class Target>
void JsonModelReader::property(Target target, const JsonReadProperty& plan, const JsonNode& node) {
  switch (plan.slot->shape) {
    case SlotShape::Single:
      return plan.storage() == StorageType::Map ? map(target, plan, node) : single(target, plan, node);
    case SlotShape::Reference:
    case SlotShape::Container:
      return this->target(target, plan, node);
    case SlotShape::Elements:
      return targets(target, plan, node);
    case SlotShape::Typed:
    case SlotShape::Generic:
      return values(target, plan, node);
  }
}

// --- References and contained elements.

ModelElement::Impl* JsonModelReader::fittingElement(const JsonReadProperty& plan, const Head& head) {
  if (head.plan != nullptr && !plan.takes(head.plan->metaClass)) {
    throw ParseError(head.node.place(), "an element of " + to_string(plan.targetClass->getQualifiedName()),
                     "one of " + to_string(head.plan->metaClass->getQualifiedName()));
  }
  return element(head);
}

template <class Target>
void JsonModelReader::target(Target target, const JsonReadProperty& plan, const JsonNode& node) {
  ModelElement::Impl* const read = fittingElement(plan, head(node));
  at(node, [&] { link(target, plan, read); });
}

template <class Target>
void JsonModelReader::targets(Target target, const JsonReadProperty& plan, const JsonNode& node) {
  if (!node.isArray()) node.fail("an array of elements");
  if constexpr (std::same_as<Target, ElementTarget>) {
    if (plan.slot->isComposite) return contained(target, plan, node);
  }
  references(plan, node);
  at(node, [&] { assign(target, plan); });
}

/// Each element is looked for while the one before is read, and goes into the list when it has been read, as it is at
/// hand then. Where others got in between, or somebody is to be told of the change, the list is set as a whole in the
/// end.
void JsonModelReader::contained(ElementTarget target, const JsonReadProperty& plan, const JsonNode& node) {
  internal::ElementRecord& record = recordOf(target);
  const internal::SlotInfo& slot = *plan.slot;
  bool isAsListed = record.core->observers().empty() && record.list(slot).size() == 0;
  std::size_t count = 0;
  const JsonNode end = node.behind();
  JsonNode entry = node.following();
  Head next = entry == end ? Head() : head(entry);
  while (entry != end) {
    const Head current = next;
    entry = entry.behind();
    if (entry != end) next = head(entry);
    auto* const read = static_cast<internal::ElementRecord*>(fittingElement(plan, current));
    ++count;
    if (!isAsListed) continue;
    at(current.node, [&] { record.core->insert(record, slot, count, read); });
    isAsListed = record.list(slot).size() == count;
  }
  if (isAsListed) return;
  fListed.clear();
  for (const JsonNode& each : node.entries()) {
    const Head known = head(each);
    ModelElement::Impl* const element =
        known.plan == nullptr ? nullptr : fElements.mention(known.plan->metaClass, known.uuid);
    fListed.push_back(static_cast<internal::ElementRecord*>(element));
  }
  at(node, [&] { assign(target, plan); });
}

/// References lead anywhere, so several are looked for at once. Leaves them in fListed.
void JsonModelReader::references(const JsonReadProperty& plan, const JsonNode& node) {
  constexpr std::size_t kAtOnce = 8;
  std::array<Head, kAtOnce> heads;
  std::vector<internal::ElementRecord*> listed =
      std::exchange(fListed, {});  // contents may stand inside, with more lists
  listed.clear();
  const JsonNode end = node.behind();
  for (JsonNode entry = node.following(); entry != end;) {
    std::size_t count = 0;
    for (; entry != end && count < kAtOnce; entry = entry.behind()) heads[count++] = head(entry);
    for (std::size_t i = 0; i < count; ++i) {
      listed.push_back(static_cast<internal::ElementRecord*>(fittingElement(plan, heads[i])));
    }
  }
  fListed = std::move(listed);
}

void JsonModelReader::assign(ElementTarget target, const JsonReadProperty& plan) {
  auto& record = static_cast<internal::ElementRecord&>(target.element);
  if (record.core->observers().empty()) {  // nobody to be told of the change
    if (!fListed.empty() || record.list(*plan.slot).size() != 0) record.core->assign(record, *plan.slot, fListed);
    return;
  }
  const Value live = target.get(plan.property);
  live.toElementCollection().assign(handlesTo(fListed));
}

void JsonModelReader::assign(DataTarget target, const JsonReadProperty& plan) {
  const Value live = target.get(plan.property);
  live.toElementCollection().assign(handlesTo(fListed));
}

// --- Values.

template <class Target>
[[gnu::noinline]] void JsonModelReader::absent(Target target, const JsonReadProperty& plan, const JsonNode& node) {
  at(node, [&] {
    if (plan.readsNullAsNan) return target.setObject(plan.property, json::real(node));
    target.set(plan.property, Value::createEmptyValue(plan.type(), plan.property->lower != 0));
  });
}

template <class Target>
void JsonModelReader::single(Target target, const JsonReadProperty& plan, const JsonNode& node) {
  if (node.isNull()) return absent(target, plan, node);
  switch (plan.storage()) {
    case StorageType::Data:
      return target.set(plan.property, dataValue(plan, node));
    case StorageType::Custom:
      return target.set(plan.property, value(plan, node));
    case StorageType::Enum:
      return put(target, plan, json::enumNumber(plan, node));
    default:
      internal::dispatchSingle(plan.storage(), [&]<class T>(TypeTag<T>) {
        if constexpr (!std::same_as<T, Value>) put(target, plan, json::object<T>(node));
      });
  }
}

template <class Target>
[[gnu::noinline]] void JsonModelReader::map(Target target, const JsonReadProperty& plan, const JsonNode& node) {
  if (node.isNull()) return absent(target, plan, node);
  if (!node.isObject()) node.fail("an object of texts");
  const Value live = target.get(plan.property);
  StringToStringMap& map = live.toStringToStringMap();
  map.clear();
  for (const JsonMember& member : node.members()) {
    const ustring key = member.key.text();
    if (map.contains(key)) failRepeated(member.key);
    map.insert(key, json::string(member.value), CollisionResolution::Replace);
  }
}

template <class Target>
void JsonModelReader::values(Target target, const JsonReadProperty& plan, const JsonNode& node) {
  if (!node.isArray()) node.fail("an array of values");
  if (plan.slot->shape == SlotShape::Typed) {
    return internal::dispatchContiguous(plan.storage(), [&]<class T>(TypeTag<T>) {
      std::vector<T> objects;
      objects.reserve(node.behind().index() - node.following().index());  // one node each
      for (const JsonNode& entry : node.entries()) objects.push_back(json::object<T>(entry));
      putVector(target, plan, std::move(objects));
    });
  }
  std::vector<Value> entries;
  for (const JsonNode& entry : node.entries()) entries.push_back(value(plan, entry));
  const Value live = target.get(plan.property);
  live.toPrimitiveCollection().assignValues(std::move(entries));
}

Value JsonModelReader::value(const JsonReadProperty& plan, const JsonNode& node) {
  switch (plan.storage()) {
    case StorageType::Data:
      return dataValue(plan, node);
    case StorageType::Enum:
      return Value(ValueMeta(plan.type(), ValueFlags::Single), json::enumNumber(plan, node));
    case StorageType::Custom: {
      const std::string expected = "the text of a " + to_string(plan.type()->getQualifiedName());
      if (!node.isString()) node.fail(expected);
      try {
        return narrow<meta::PrimitiveType>(plan.type())->fromText(node.text());
      } catch (const std::exception& error) {  // of the application's own kind
        node.fail(expected, std::string("; ") + error.what());
      }
    }
    default:
      return internal::dispatchSingle(plan.storage(), [&]<class T>(TypeTag<T>) -> Value {
        if constexpr (std::same_as<T, Value>) {
          std::abort();  // handled above
        } else {
          return Value(json::object<T>(node));
        }
      });
  }
}

Value JsonModelReader::dataValue(const JsonReadProperty& plan, const JsonNode& node) {
  return bedrock::stack::callDeep([&] { return *data(plan, node).toNonReflectiveDataTypeValue(); });
}

ReflectiveDataType JsonModelReader::data(const JsonReadProperty& plan, const JsonNode& node) {
  const Parts parts(node, "a value of a data type", false);
  if (parts.type && !(parts.type.isString() && parts.type.says(plan.dataTypeName))) {
    parts.type.fail("\"" + plan.dataTypeName + "\"");
  }
  if (!parts.content) node.fail("a value of a data type with \"content\"");
  ReflectiveDataType data(plan.dataType);
  if (!parts.content.isNull()) contents(DataTarget{data}, fPlans.of(plan.dataType), parts.content);
  return data;
}

}  // namespace tarn::kern::io
