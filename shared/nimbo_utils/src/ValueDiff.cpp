#include "ValueDiff.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>

#include <boost/optional.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "TypeTags.h"

namespace quillon::nimbo::detail {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using Element = kern::ModelElement::Impl;
using bedrock::i18n::to_string;
using kern::ModelElement;
using kern::ReflectiveDataType;
using kern::Value;
using meta::Property;

namespace {

constexpr const char* kNothing = "nothing";
constexpr std::size_t kLongText = 60;    // units of a text that are shown
constexpr std::size_t kLead = 20;        // of these before the first difference
constexpr std::size_t kMostEntries = 8;  // of a collection that are shown
constexpr std::size_t kMostPlaces = 16;  // of one data value
constexpr std::size_t kMostSteps = 32;   // of the way into a data value

std::string nameOf(const Property& property) { return to_string(property->getName()); }

bool isHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }

/// The text in quotes; of a long one the part around a place.
std::string quoted(std::u16string_view text, std::size_t around) {
  std::size_t first = text.size() <= kLongText || around <= kLead ? 0 : around - kLead;
  if (first > 0 && isHighSurrogate(text[first - 1])) --first;
  std::size_t last = std::min(text.size(), first + kLongText);
  if (last < text.size() && isHighSurrogate(text[last - 1])) ++last;
  std::string result = first > 0 ? "...\"" : "\"";
  for (const char unit : to_string(kern::ustring(text.substr(first, last - first)))) {
    if (unit == '"' || unit == '\\') result += '\\';
    if (unit == '\n') {
      result += "\\n";
    } else {
      result += unit;
    }
  }
  return result + (last < text.size() ? "\"..." : "\"");
}

/// What the value's text is, where it has one of its own.
boost::optional<kern::ustring> plainTextOf(const Value& value) {
  if (!value.hasObject()) return boost::none;
  switch (tagOfType(value.getType())) {
    case SerializationTag::USTRING:
      return value.get<kern::ustring>();
    case SerializationTag::STRING:
      return bedrock::i18n::utf8_to_ustring(value.get<std::string>());
    default:
      return boost::none;
  }
}

/// A value without its type, which the property has told.
std::string describeContent(const Value& value) {
  const std::string text = value.describe();
  const std::string type = to_string(value.getType()->getQualifiedName()) + " ";
  return text.compare(0, type.size(), type) == 0 ? text.substr(type.size()) : text;
}

struct Texts {
  std::string before;
  std::string after;
};

Texts textsOf(const Value& before, const Value& after) {
  const boost::optional<kern::ustring> a = plainTextOf(before);
  const boost::optional<kern::ustring> b = plainTextOf(after);
  std::size_t place = 0;
  if (a && b) {
    place = static_cast<std::size_t>(std::mismatch(a->begin(), a->end(), b->begin(), b->end()).first - a->begin());
  }
  return {a ? quoted(*a, place) : describeContent(before), b ? quoted(*b, place) : describeContent(after)};
}

/// The way to a value within a data value, put into words only when something differs there.
struct Step {
  const Step* previous;
  std::string text;
};

std::string wayTo(const Step& last) {
  std::vector<const Step*> steps;
  for (const Step* step = &last; step != nullptr; step = step->previous) steps.push_back(step);
  std::string way;
  for (std::size_t i = steps.size(); i-- > 0;) {
    if (steps.size() > kMostSteps && i + 1 == steps.size() - kMostSteps / 2) {  // the middle tells the least
      way += "....";
      i = kMostSteps / 2 - 1;
    }
    way += steps[i]->text;
  }
  return way;
}

/// The part of two sequences that is left without their common beginning and end.
struct DifferingRange {
  std::size_t first;
  std::size_t beforeEnd;
  std::size_t afterEnd;

  [[nodiscard]] bool empty() const { return first == beforeEnd && first == afterEnd; }
  [[nodiscard]] std::string text() const {
    const std::size_t last = std::max(beforeEnd, afterEnd) - 1;
    return "[" + std::to_string(first) + (last == first ? "" : ".." + std::to_string(last)) + "]";
  }
};

template <class Same>
DifferingRange differingRange(std::size_t before, std::size_t after, Same same) {
  DifferingRange range{0, before, after};
  while (range.first < std::min(before, after) && same(range.first, range.first)) ++range.first;
  while (range.beforeEnd > range.first && range.afterEnd > range.first &&
         same(range.beforeEnd - 1, range.afterEnd - 1)) {
    --range.beforeEnd;
    --range.afterEnd;
  }
  return range;
}

template <class Text>
std::string listOf(std::size_t first, std::size_t end, Text text) {
  if (first == end) return kNothing;
  if (end - first == 1) return text(first);
  std::string list = "{";
  for (std::size_t i = first; i < end; ++i) {
    if (i > first) list += ", ";
    if (i - first == kMostEntries) {
      list += "... (" + std::to_string(end - first) + " in all)";
      break;
    }
    list += text(i);
  }
  return list + "}";
}

bool isSame(const Element* before, const Element* after) {
  if (before == nullptr || after == nullptr) return before == after;
  return before->getUuid() == after->getUuid();
}

bool isBackReference(const Property& property) {
  return property->getOpposite() && property->getOpposite()->isComposite;
}

bool isContainment(const Property& property) { return property->isComposite || isBackReference(property); }

/// Collects what differs in one property.
class PropertyComparison {
 public:
  explicit PropertyComparison(std::vector<PropertyChange>& changes) : fChanges(changes), fFirst(changes.size()) {}

  void compareTargets(const Step& step, std::span<Element* const> before, std::span<Element* const> after) {
    const auto range = differingRange(before.size(), after.size(),
                                      [&](std::size_t i, std::size_t j) { return isSame(before[i], after[j]); });
    if (range.empty()) return;
    add(wayTo(step) + range.text(),
        listOf(range.first, range.beforeEnd, [&](std::size_t i) { return labelOf(before[i]); }),
        listOf(range.first, range.afterEnd, [&](std::size_t i) { return labelOf(after[i]); }));
  }

  void compareTarget(const Step& step, const Element* before, const Element* after) {
    if (isSame(before, after)) return;
    add(wayTo(step), before == nullptr ? "(absent)" : labelOf(before), after == nullptr ? "(absent)" : labelOf(after));
  }

  /// Single values and collections of no class type.
  void compareValues(const Step& step, const Property& property, const Value& before, const Value& after) {
    if (before == after) return;
    if (property->isCollection()) {
      compareEntries(step, before.toPrimitiveCollection().getAllValues(), after.toPrimitiveCollection().getAllValues());
    } else if (tagOfType(property->getType()) == SerializationTag::STRINGTOSTRINGMAP) {
      compareMaps(step, before.toStringToStringMap(), after.toStringToStringMap());
    } else {
      compareSingle(step, before, after);
    }
  }

 private:
  void add(std::string property, std::string before, std::string after) {
    fChanges.push_back({std::move(property), std::move(before), std::move(after)});
  }
  [[nodiscard]] bool isFull() const { return fChanges.size() - fFirst >= fMostPlaces; }

  void compareSingle(const Step& step, const Value& before, const Value& after) {
    const ReflectiveDataType* a = dataIn(before);
    const ReflectiveDataType* b = dataIn(after);
    if (a != nullptr && b != nullptr && a->getType() == b->getType()) return compareData(step, *a, *b);
    Texts texts = textsOf(before, after);
    add(wayTo(step), std::move(texts.before), std::move(texts.after));
  }

  static const ReflectiveDataType* dataIn(const Value& value) {
    return narrow<meta::DataType>(value.getType()) ? value.peek<ReflectiveDataType>() : nullptr;
  }

  void compareData(const Step& step, const ReflectiveDataType& before, const ReflectiveDataType& after) {
    for (const Property& property : before.getType()->getAllProperties()) {
      if (isFull()) return;
      if (property->isDerived) continue;
      const Step inner{&step, "." + nameOf(property)};
      bedrock::stack::callDeep([&] { compareAttribute(inner, property, before, after); });
    }
  }

  void compareAttribute(const Step& step, const Property& property, const ReflectiveDataType& before,
                        const ReflectiveDataType& after) {
    if (property->isReference()) return compareReferences(step, property, before, after);
    if (!narrow<meta::DataType>(property->getType())) {
      return compareValues(step, property, before.getPropertyValue(property), after.getPropertyValue(property));
    }
    if (property->isCollection()) {  // nested values are read in place: copies would cost the square of the depth
      return compareEntries(step, before.peekValues(property), after.peekValues(property));
    }
    const auto* a = before.peek<ReflectiveDataType>(property);
    const auto* b = after.peek<ReflectiveDataType>(property);
    if (a != nullptr && b != nullptr) {
      compareData(step, *a, *b);
    } else if (a != b) {
      compareSingle(step, before.getPropertyValue(property), after.getPropertyValue(property));
    }
  }

  void compareReferences(const Step& step, const Property& property, const ReflectiveDataType& before,
                         const ReflectiveDataType& after) {
    const Value a = before.getPropertyValue(property);
    const Value b = after.getPropertyValue(property);
    if (!property->isCollection()) {
      const auto x = a.get<ModelElement>();
      const auto y = b.get<ModelElement>();
      return compareTarget(step, x.get(), y.get());
    }
    const std::vector<ModelElement> x = a.toElementCollection().getAllElements();
    const std::vector<ModelElement> y = b.toElementCollection().getAllElements();
    compareTargets(step, recordsOf(x), recordsOf(y));
  }

  static std::vector<Element*> recordsOf(const std::vector<ModelElement>& elements) {
    std::vector<Element*> records;
    records.reserve(elements.size());
    for (const ModelElement& element : elements) records.push_back(element.get());
    return records;
  }

  void compareEntries(const Step& step, std::span<const Value> before, std::span<const Value> after) {
    const bool isOfData = !before.empty() && narrow<meta::DataType>(before.front().getType());
    if (isOfData && before.size() == after.size()) {
      for (std::size_t i = 0; i < before.size() && !isFull(); ++i) {
        compareSingle(Step{&step, "[" + std::to_string(i) + "]"}, before[i], after[i]);
      }
      return;
    }
    if (fMostPlaces == kProbe) return addUnlessEqual(before, after);
    const auto range = differingRange(before.size(), after.size(), [&](std::size_t i, std::size_t j) {
      return isOfData ? isSameData(before[i], after[j]) : before[i] == after[j];
    });
    if (range.empty()) return;
    if (range.beforeEnd - range.first == 1 && range.afterEnd == range.beforeEnd) {
      return compareSingle(Step{&step, range.text()}, before[range.first], after[range.first]);
    }
    const auto text = [](std::span<const Value> entries) {
      return [entries](std::size_t i) { return textsOf(entries[i], entries[i]).before; };
    };
    add(wayTo(step) + range.text(), listOf(range.first, range.beforeEnd, text(before)),
        listOf(range.first, range.afterEnd, text(after)));
  }

  void addUnlessEqual(std::span<const Value> before, std::span<const Value> after) {
    if (!std::equal(before.begin(), before.end(), after.begin(), after.end())) add("", "", "");
  }

  /// Data values may be the same though they refer to elements of two models.
  static bool isSameData(const Value& before, const Value& after) {
    std::vector<PropertyChange> changes;
    PropertyComparison probe(changes);
    probe.fMostPlaces = kProbe;
    probe.compareData(Step{nullptr, ""}, *dataIn(before), *dataIn(after));
    return changes.empty();
  }

  void compareMaps(const Step& step, const kern::StringToStringMap& before, const kern::StringToStringMap& after) {
    const std::size_t first = fChanges.size();
    for (const auto& [key, value] : before) {
      const auto found = after.find(key);
      if (found == after.end()) {
        add(wayTo(step) + "[" + quoted(key, 0) + "]", quoted(value, 0), kNothing);
      } else if (found->second != value) {
        Texts texts = textsOf(Value(value), Value(found->second));
        add(wayTo(step) + "[" + quoted(key, 0) + "]", std::move(texts.before), std::move(texts.after));
      }
    }
    for (const auto& [key, value] : after) {
      if (!before.contains(key)) add(wayTo(step) + "[" + quoted(key, 0) + "]", kNothing, quoted(value, 0));
    }
    if (fChanges.size() == first) compareKeyOrder(step, before, after);
  }

  void compareKeyOrder(const Step& step, const kern::StringToStringMap& before, const kern::StringToStringMap& after) {
    std::vector<std::u16string_view> a;
    std::vector<std::u16string_view> b;
    for (const auto& entry : before) a.push_back(entry.first);
    for (const auto& entry : after) b.push_back(entry.first);
    const auto range = differingRange(a.size(), b.size(), [&](std::size_t i, std::size_t j) { return a[i] == b[j]; });
    add(wayTo(step) + " (order)", listOf(range.first, range.beforeEnd, [&](std::size_t i) { return quoted(a[i], 0); }),
        listOf(range.first, range.afterEnd, [&](std::size_t i) { return quoted(b[i], 0); }));
  }

  static constexpr std::size_t kProbe = 1;  // only whether there is any difference
  std::vector<PropertyChange>& fChanges;
  std::size_t fFirst;
  std::size_t fMostPlaces = kMostPlaces;
};

Value read(const Element& element, const Property& property) {
  return element.getPropertyValue(property, kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
}

void compareProperty(const Element& before, const Element& after, const Property& property,
                     std::vector<PropertyChange>& changes) {
  PropertyComparison comparison(changes);
  const Step step{nullptr, nameOf(property)};
  if (!property->isReference()) {
    comparison.compareValues(step, property, read(before, property), read(after, property));
  } else if (property->isCollection()) {
    comparison.compareTargets(step, before.peekElements(property), after.peekElements(property));
  } else {
    comparison.compareTarget(step, before.peekElement(property), after.peekElement(property));
  }
}

/// A property that only one of two classes has, or that is another in each.
std::string wholeText(const Element& element, const Property& property) {
  if (!property) return kNothing;
  if (!property->isReference()) return textsOf(read(element, property), read(element, property)).before;
  if (!property->isCollection()) {
    const Element* target = element.peekElement(property);
    return target == nullptr ? "(absent)" : labelOf(target);
  }
  const std::span<Element* const> targets = element.peekElements(property);
  return listOf(0, targets.size(), [&](std::size_t i) { return labelOf(targets[i]); });
}

bool isCompared(const Property& property) { return property && !property->isDerived && !isContainment(property); }

/// Properties that both classes have from a common ancestor are the same; others are matched by name.
std::vector<PropertyChange> changesAcrossClasses(const Element& before, const Element& after) {
  const meta::Class& oldClass = before.getMetaClass();
  const meta::Class& newClass = after.getMetaClass();
  std::vector<PropertyChange> changes{
      {"class", to_string(oldClass->getQualifiedName()), to_string(newClass->getQualifiedName())}};
  for (const Property& property : oldClass->getAllProperties()) {
    if (!isCompared(property)) continue;
    const Property other = newClass->getProperty(property->getName());
    if (other == property) {
      compareProperty(before, after, property, changes);
    } else {
      changes.push_back({nameOf(property), wholeText(before, property),
                         isCompared(other) ? wholeText(after, other) : std::string(kNothing)});
    }
  }
  for (const Property& property : newClass->getAllProperties()) {
    if (!isCompared(property) || isCompared(oldClass->getProperty(property->getName()))) continue;
    changes.push_back({nameOf(property), kNothing, wholeText(after, property)});
  }
  return changes;
}

}  // namespace

std::string labelOf(const Element* element) {
  if (element == nullptr) return "null";
  const meta::Class& type = element->getMetaClass();
  std::string label = to_string(type->getName()) + " ";
  const Property name = type->getProperty(u"name");
  if (name && name->upper < 2 && meta::StandardTypes::stringMeta == name->getType()) {
    const auto* text = element->peek<kern::ustring>(name);
    if (text != nullptr) label += quoted(*text, 0) + " ";
  }
  return label + "{" + boost::uuids::to_string(element->getUuid()) + "}";
}

std::vector<PropertyChange> propertyChanges(const Element& before, const Element& after) {
  if (before.getMetaClass() != after.getMetaClass()) return changesAcrossClasses(before, after);
  std::vector<PropertyChange> changes;
  for (const Property& property : before.getMetaClass()->getAllProperties()) {
    if (isCompared(property)) compareProperty(before, after, property, changes);
  }
  return changes;
}

}  // namespace quillon::nimbo::detail
