#include "XmiWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include <boost/uuid/uuid_io.hpp>

#include <bedrock/deep_call.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/io/XmlSerializer.h>
#include <tarn/kern/meta/Enum.h>

#include "../../Layout.h"
#include "../../StorageDispatch.h"
#include "../../ecore/Facets.h"
#include "../PlainText.h"
#include "XmlNames.h"

namespace tarn::kern::io::xml {

using bedrock::i18n::to_string;
using bedrock::i18n::ustring_to_utf8;
using internal::TypeTag;

namespace {

// Deeper lines are not indented any further: a chain of a million elements would be blanks by the square of that.
constexpr std::size_t kDeepestIndent = 24;

template <class Number>
void appendNumber(std::string& out, Number number) {
  std::array<char, 32> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  out.append(digits.data(), end);
}

void appendUuid(std::string& out, const boost::uuids::uuid& uuid) {
  std::array<char, kUuidLength> text;
  writeUuid(text.data(), uuid);
  out.append(text.data(), text.size());
}

void appendReal(std::string& out, double value) {
  if (std::isnan(value)) {
    out += nameOfSpecialReal(value);
  } else if (std::isinf(value)) {
    out += value < 0 ? "-Infinity" : "Infinity";
  } else {
    appendNumber(out, value);
  }
}

/// True when the entries of a collection lie in one typed vector.
bool isContiguous(const meta::Property& property, StorageType storage) {
  return static_cast<std::uint8_t>(storage) < kContiguousStorageTypes && !property->usesGenericStorage;
}

bool isWayBack(const meta::Property& property) {
  return property->getOpposite() && property->getOpposite()->isComposite;
}

}  // namespace

XmiWriter::XmiWriter(bool skipsDefaults, const SchemaLocations& schemaLocations)
    : fSkipsDefaults(skipsDefaults), fSchemaLocations(schemaLocations) {}

// --- Plans.

const XmiWriter::Plan& XmiWriter::planOf(const meta::StructuredType& type) {
  const auto [at, isNew] = fPlans.try_emplace(type.get());
  Plan& plan = at->second;
  if (!isNew) return plan;
  plan.qualifiedName = prefixOf(type->getOwningPackage()) + ":" + xmlName(type->getName());
  for (const meta::Property& property : type->getAllProperties()) {
    if (!property->isOmitted && !isWayBack(property)) plan.steps.push_back(makeStep(property));
  }
  return plan;
}

XmiWriter::Step XmiWriter::makeStep(const meta::Property& property) {
  Step step{};
  step.property = property;
  step.name = xmlName(property->getName());
  step.storage = internal::storageTypeOf(property->getType());
  step.isCollection = property->isCollection();
  step.isComposite = property->isComposite;
  step.hasDefault = property->defaultValue().has_value();
  const meta::Package home = property->getType()->getOwningPackage();
  // A later version of the package may declare the property with another class, or may have renamed it: a reader that
  // does not know this version any more depends on the name being there.
  step.saysType = home && !home->getFamily().empty();
  if (step.storage == StorageType::Enum) step.literals = &literalsOf(property->getType());
  return step;
}

const std::unordered_map<std::int64_t, std::string>& XmiWriter::literalsOf(const meta::Type& type) {
  const auto [at, isNew] = fLiterals.try_emplace(type.get());
  if (!isNew) return at->second;
  const auto definition = narrow<meta::Enum>(type);
  for (const meta::EnumLiteral& literal : definition->getLiteralsInOrder()) {
    if (definition->getLiteral(literal->getValue()) != literal) continue;
    const ustring* text = ecore::findFacet(definition, u"literal:" + literal->getName());
    at->second.emplace(literal->getValue(), ustring_to_utf8(text != nullptr ? *text : literal->getName()));
  }
  return at->second;
}

const std::string& XmiWriter::prefixOf(const meta::Package& package) {
  const auto [at, isNew] = fPrefixes.try_emplace(package.get());
  if (!isNew) return at->second;
  const ustring* given = ecore::findFacet(package, u"nsPrefix");
  const std::string wanted = xmlName(given != nullptr && !given->empty() ? *given : package->getName());
  const auto isTaken = [&](const std::string& prefix) {
    return prefix == "xmi" || prefix == "xsi" || prefix.starts_with("xml") ||
           std::any_of(fDeclared.begin(), fDeclared.end(), [&](const auto& other) { return other.first == prefix; });
  };
  std::string prefix = wanted;
  for (std::size_t i = 2; isTaken(prefix); ++i) prefix = "n" + std::to_string(i) + "_" + wanted;
  fDeclared.emplace_back(prefix, package);
  return at->second = prefix;
}

// --- What is written.

void XmiWriter::noteSubset(const std::vector<ModelElement>& elements) {
  std::vector<ModelElement> pending;
  for (const ModelElement& root : elements) {
    pending.push_back(root);
    while (!pending.empty()) {
      const ModelElement element = std::move(pending.back());
      pending.pop_back();
      if (!fSubset.insert(element.get()).second) continue;
      for (ModelElement& child : element->contents()) pending.push_back(std::move(child));
    }
  }
}

bool XmiWriter::isWritten(const ModelElement::Impl& element) const { return fWritesAll || fSubset.contains(&element); }

void XmiWriter::write(const std::vector<ModelElement>& elements, std::string& text) {
  std::vector<ModelElement> roots;
  std::unordered_set<const ModelElement::Impl*> given;
  for (const ModelElement& element : elements) {
    if (!element) throw KernelError("a null handle is among the elements that were to be written");
    if (given.insert(element.get()).second) roots.push_back(element);
  }
  fWritesAll = !roots.empty() && roots.front()->getModel() &&
               roots.front()->getModel()->getTopLevelElements().size() == roots.size() &&
               std::all_of(roots.begin(), roots.end(), [](const ModelElement& root) { return !root->container(); });
  if (!fWritesAll) {
    noteSubset(roots);
    // What stands inside another root is written there.
    std::erase_if(roots, [&](const ModelElement& root) {
      const ModelElement container = root->container();
      return container && fSubset.contains(container.get());
    });
  }

  // Most elements need more; what matters is that a long text is not moved about again and again while it grows.
  constexpr std::size_t kLikelyBytes = 256;
  if (fWritesAll) fBody.reserve(roots.front()->getModel()->getElementCount() * kLikelyBytes);
  const bool isOne = roots.size() == 1;
  std::string root = "xmi:XMI";
  if (isOne) {
    const Plan& plan = planOf(roots.front()->getMetaClass());
    root = plan.qualifiedName;
    fCurrent = roots.front().get();
    writeIdentity(*roots.front());
    const bool hasChildren = writeAttributes(*roots.front(), plan);
    fBody += hasChildren ? ">\n" : "/>\n";
    if (hasChildren) {
      fDepth = 1;
      writeChildren(*roots.front(), plan);
      fBody += "</" + root + ">\n";
    }
  } else {
    fBody += roots.empty() ? "/>\n" : ">\n";
    for (const ModelElement& element : roots) {
      const Plan& plan = planOf(element->getMetaClass());
      fDepth = 1;
      writeElement(*element, plan, plan.qualifiedName, {});
    }
    if (!roots.empty()) fBody += "</xmi:XMI>\n";
  }
  fBody.insert(0, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<" + root + namespaces());
  if (text.empty()) {
    text = std::move(fBody);
  } else {
    text += fBody;
  }
}

std::string XmiWriter::namespaces() const {
  std::string text = std::string(" xmi:version=\"2.0\" xmlns:xmi=\"") + kXmiUri + "\" xmlns:xsi=\"" + kXsiUri + "\"";
  std::string locations;
  const auto append = [](std::string& out, const ustring& uri) {
    if (appendEscaped(out, uri, TextPlace::Attribute) == kNoOffender) return;
    throw XmlWriteError("the URI \"" + to_string(uri) + "\" holds a character that XML cannot carry");
  };
  for (const auto& [prefix, package] : fDeclared) {
    text += " xmlns:" + prefix + "=\"";
    append(text, package->getUri());
    text += '"';
    const auto location = fSchemaLocations.find(package->getUri());
    if (location == fSchemaLocations.end()) continue;
    if (!locations.empty()) locations += ' ';
    append(locations, location->first);
    locations += ' ';
    append(locations, location->second);
  }
  if (!locations.empty()) text += " xsi:schemaLocation=\"" + locations + "\"";
  return text;
}

// --- Elements.

void XmiWriter::indent() { fBody.append(std::min(fDepth, kDeepestIndent) * 2, ' '); }

void XmiWriter::writeStart(std::string_view tag, std::string_view type) {
  indent();
  fBody += '<';
  fBody += tag;
  if (type.empty()) return;
  fBody += " xsi:type=\"";
  fBody += type;
  fBody += '"';
}

void XmiWriter::writeId(const boost::uuids::uuid& uuid) {
  fBody += '_';  // an XML identifier does not begin with a digit
  appendUuid(fBody, uuid);
}

void XmiWriter::writeIdentity(const ModelElement::Impl& element) {
  fBody += " xmi:uuid=\"";
  appendUuid(fBody, element.getUuid());
  fBody += "\" xmi:id=\"";
  writeId(element.getUuid());
  fBody += '"';
}

void XmiWriter::writeElement(const ModelElement::Impl& element, const Plan& plan, std::string_view tag,
                             std::string_view type) {
  fCurrent = &element;
  writeStart(tag, type);
  writeIdentity(element);
  if (!writeAttributes(element, plan)) {
    fBody += "/>\n";
    return;
  }
  fBody += ">\n";
  ++fDepth;
  writeChildren(element, plan);
  --fDepth;
  indent();
  fBody += "</";
  fBody += tag;
  fBody += ">\n";
}

bool XmiWriter::writeAttributes(const ModelElement::Impl& element, const Plan& plan) {
  bool isSomethingLeft = false;
  for (const Step& step : plan.steps) {
    if (step.storage == StorageType::Element) {
      if (step.isComposite) {
        isSomethingLeft = isSomethingLeft || (step.isCollection ? !element.peekElements(step.property).empty()
                                                                : element.peekElement(step.property) != nullptr);
      } else {
        isSomethingLeft = writeReferences(element, step) || isSomethingLeft;
      }
    } else if (step.isCollection) {
      isSomethingLeft = isSomethingLeft || internal::dispatchSingle(step.storage, [&]<class T>(TypeTag<T>) {
                          if constexpr (ContiguousValueType<T>) {
                            if (isContiguous(step.property, step.storage)) {
                              return !element.peekCollection<T>(step.property).empty();
                            }
                          }
                          return !element.getPropertyValue(step.property, ReflectionPrivateTag::PRIVILEGED_ACCESS)
                                      .toPrimitiveCollection()
                                      .empty();
                        });
    } else if (step.storage == StorageType::Map) {
      isSomethingLeft = isSomethingLeft || !element.peek<StringToStringMap>(step.property)->empty();
    } else if (step.storage == StorageType::Data) {
      isSomethingLeft = isSomethingLeft || element.peek<ReflectiveDataType>(step.property) != nullptr;
    } else {
      isSomethingLeft = writeSingle(element, step) || isSomethingLeft;
    }
  }
  return isSomethingLeft;
}

/// @return true when the value is absent where a new element would show its default: a child element must say so.
bool XmiWriter::writeSingle(const ModelElement::Impl& element, const Step& step) {
  const auto begin = [&] {
    fBody += ' ';
    fBody += step.name;
    fBody += "=\"";
  };
  if (step.storage == StorageType::Custom) {
    const Value value = element.getPropertyValue(step.property, ReflectionPrivateTag::PRIVILEGED_ACCESS);
    if (!value.hasObject()) return step.hasDefault;
    if (fSkipsDefaults && step.hasDefault && value == *step.property->defaultValue()) return false;
    begin();
    writeValue(value, step, TextPlace::Attribute);
    fBody += '"';
    return false;
  }
  return internal::dispatchSingle(step.storage, [&]<class T>(TypeTag<T>) {
    if constexpr (std::same_as<T, Value>) {
      return false;  // treated above
    } else {
      const T* object = element.peek<T>(step.property);
      if (object == nullptr) return step.hasDefault;
      if (fSkipsDefaults && step.hasDefault) {
        const Value& initial = *step.property->defaultValue();
        const T* initialObject = initial.peek<T>();
        bool isEqual = false;
        if constexpr (std::same_as<T, double>) {
          isEqual = initialObject != nullptr && Value(*object) == Value(*initialObject);
        } else {
          isEqual = initialObject != nullptr && *object == *initialObject;
        }
        if (isEqual) return false;
      }
      begin();
      writePlain(*object, step, TextPlace::Attribute);
      fBody += '"';
      return false;
    }
  });
}

/// @return true when the targets cannot all be named in an attribute: child elements do then.
bool XmiWriter::writeReferences(const ModelElement::Impl& element, const Step& step) {
  if (!step.isCollection) {
    const ModelElement::Impl* target = element.peekElement(step.property);
    if (target == nullptr) return false;
    if (!isWritten(*target)) return true;
    fBody += ' ';
    fBody += step.name;
    fBody += "=\"";
    writeId(target->getUuid());
    fBody += '"';
    return false;
  }
  const auto targets = element.peekElements(step.property);
  if (targets.empty()) return false;
  const auto needsElement = [&](const ModelElement::Impl* target) { return target == nullptr || !isWritten(*target); };
  if (std::any_of(targets.begin(), targets.end(), needsElement)) return true;
  fBody += ' ';
  fBody += step.name;
  fBody += "=\"";
  bool isFirst = true;
  for (const ModelElement::Impl* target : targets) {
    if (!isFirst) fBody += ' ';
    isFirst = false;
    writeId(target->getUuid());
  }
  fBody += '"';
  return false;
}

void XmiWriter::writeChildren(const ModelElement::Impl& element, const Plan& plan) {
  for (const Step& step : plan.steps) {
    fCurrent = &element;
    if (step.storage == StorageType::Element && !step.isComposite) {
      writeReferenceElements(element, step);
    } else if (step.storage == StorageType::Element && step.isCollection) {
      for (const ModelElement::Impl* child : element.peekElements(step.property)) writeContained(child, step);
    } else if (step.storage == StorageType::Element) {
      if (const ModelElement::Impl* child = element.peekElement(step.property)) writeContained(child, step);
    } else if (step.isCollection) {
      writeValues(element, step);
    } else if (step.storage == StorageType::Map) {
      writeMapEntries(*element.peek<StringToStringMap>(step.property), step);
    } else if (step.storage == StorageType::Data) {
      if (const auto* data = element.peek<ReflectiveDataType>(step.property)) writeData(*data, step);
    } else if (step.hasDefault) {
      if (!element.getPropertyValue(step.property, ReflectionPrivateTag::PRIVILEGED_ACCESS).hasObject()) writeNil(step);
    }
  }
}

void XmiWriter::writeContained(const ModelElement::Impl* child, const Step& step) {
  if (child == nullptr) return writeNil(step);
  const Plan& plan = planOf(child->getMetaClass());
  const bool saysType = step.saysType || child->getMetaClass() != step.property->getType();
  bedrock::stack::callDeep([&] {
    writeElement(*child, plan, step.name, saysType ? std::string_view(plan.qualifiedName) : std::string_view());
  });
}

void XmiWriter::writeReferenceElements(const ModelElement::Impl& element, const Step& step) {
  if (!step.isCollection) {
    const ModelElement::Impl* target = element.peekElement(step.property);
    if (target != nullptr && !isWritten(*target)) writeReferenceElement(target, step);
    return;
  }
  const auto targets = element.peekElements(step.property);
  const auto needsElement = [&](const ModelElement::Impl* target) { return target == nullptr || !isWritten(*target); };
  if (std::none_of(targets.begin(), targets.end(), needsElement)) return;
  for (const ModelElement::Impl* target : targets) writeReferenceElement(target, step);
}

void XmiWriter::writeReferenceElement(const ModelElement::Impl* target, const Step& step) {
  if (target == nullptr) return writeNil(step);
  const bool saysType = target->getMetaClass() != step.property->getType();
  writeStart(step.name, saysType ? std::string_view(planOf(target->getMetaClass()).qualifiedName) : std::string_view());
  fBody += " href=\"";
  if (isWritten(*target)) {
    fBody += '#';
    writeId(target->getUuid());
  } else {
    fBody += "urn:uuid:";
    appendUuid(fBody, target->getUuid());
  }
  fBody += "\"/>\n";
}

void XmiWriter::writeNil(const Step& step) {
  indent();
  fBody += '<' + step.name + " xsi:nil=\"true\"/>\n";
}

// --- Values.

void XmiWriter::writeValues(const ModelElement::Impl& element, const Step& step) {
  const bool isDone = internal::dispatchSingle(step.storage, [&]<class T>(TypeTag<T>) {
    if constexpr (ContiguousValueType<T>) {
      if (!isContiguous(step.property, step.storage)) return false;
      for (const auto& entry : element.peekCollection<T>(step.property)) {
        indent();
        fBody += '<' + step.name + '>';
        writePlain(static_cast<const T&>(entry), step, TextPlace::Content);
        fBody += "</" + step.name + ">\n";
      }
      return true;
    } else {
      return false;
    }
  });
  if (!isDone)
    writeValueEntries(element.getPropertyValue(step.property, ReflectionPrivateTag::PRIVILEGED_ACCESS), step);
}

void XmiWriter::writeValueEntries(const Value& collection, const Step& step) {
  for (const Value& entry : collection.toPrimitiveCollection().getAllValues()) {
    if (step.storage == StorageType::Data) {
      writeData(*entry.peek<ReflectiveDataType>(), step);
      continue;
    }
    indent();
    fBody += '<' + step.name + '>';
    writeValue(entry, step, TextPlace::Content);
    fBody += "</" + step.name + ">\n";
  }
}

void XmiWriter::writeMapEntries(const StringToStringMap& map, const Step& step) {
  for (const auto& [key, value] : map) {
    indent();
    fBody += '<' + step.name + " key=\"";
    writeText(key, step, TextPlace::Attribute);
    fBody += "\" value=\"";
    writeText(value, step, TextPlace::Attribute);
    fBody += "\"/>\n";
  }
}

template <class T>
void XmiWriter::writePlain(const T& object, const Step& step, TextPlace place) {
  if constexpr (std::same_as<T, ustring>) {
    writeText(object, step, place);
  } else if constexpr (std::same_as<T, std::string>) {
    const std::size_t offender = appendEscapedUtf8(fBody, object, place);
    if (offender != kNoOffender) refuse(offender, "byte", step);
  } else if constexpr (std::same_as<T, bool>) {
    fBody += object ? "true" : "false";
  } else if constexpr (std::same_as<T, double>) {
    appendReal(fBody, object);
  } else if constexpr (std::same_as<T, boost::uuids::uuid>) {
    appendUuid(fBody, object);
  } else if constexpr (std::same_as<T, boost::posix_time::ptime>) {
    writeText(DateTimeUtils::Conversion::toUstring(object), step, place);
  } else {
    if constexpr (std::same_as<T, std::int64_t>) {
      if (step.literals != nullptr) {
        const auto literal = step.literals->find(object);
        if (literal != step.literals->end()) {
          if (appendEscapedUtf8(fBody, literal->second, place) != kNoOffender) refuse(0, "literal at", step);
          return;
        }
      }
    }
    appendNumber(fBody, object);
  }
}

void XmiWriter::writeValue(const Value& value, const Step& step, TextPlace place) {
  if (step.storage == StorageType::Custom) {
    return writeText(narrow<meta::PrimitiveType>(value.getType())->toText(value), step, place);
  }
  internal::dispatchSingle(step.storage, [&]<class T>(TypeTag<T>) {
    if constexpr (!std::same_as<T, Value>) writePlain(*value.peek<T>(), step, place);
  });
}

void XmiWriter::writeText(std::u16string_view text, const Step& step, TextPlace place) {
  const std::size_t offender = appendEscaped(fBody, text, place);
  if (offender == kNoOffender) return;
  std::array<char, 8> hex;
  char* end = std::to_chars(hex.data(), hex.data() + hex.size(), static_cast<unsigned>(text[offender]), 16).ptr;
  std::string number(hex.data(), end);
  std::transform(number.begin(), number.end(), number.begin(),
                 [](char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; });
  refuse(offender, "U+" + std::string(4 - std::min<std::size_t>(4, number.size()), '0') + number + " at", step);
}

void XmiWriter::refuse(std::size_t at, std::string_view what, const Step& step) const {
  throw XmlWriteError(fCurrent->describe() + ", property \"" + to_string(step.property->getName()) +
                      "\": XML cannot carry the text: " + std::string(what) + " position " + std::to_string(at) +
                      " is no character of XML 1.0; write the model in its binary form or as JSON instead");
}

// --- Values with attributes.

void XmiWriter::writeData(const ReflectiveDataType& data, const Step& step) {
  const Plan& plan = planOf(data.getType());
  indent();
  fBody += '<' + step.name;
  if (!writeDataAttributes(data, plan)) {
    fBody += "/>\n";
    return;
  }
  fBody += ">\n";
  ++fDepth;
  bedrock::stack::callDeep([&] { writeDataChildren(data, plan); });
  --fDepth;
  indent();
  fBody += "</" + step.name + ">\n";
}

bool XmiWriter::writeDataAttributes(const ReflectiveDataType& data, const Plan& plan) {
  bool isSomethingLeft = false;
  for (const Step& step : plan.steps) {
    const bool isPlain = !step.isCollection && step.storage != StorageType::Element &&
                         step.storage != StorageType::Data && step.storage != StorageType::Map;
    if (!isPlain) {
      isSomethingLeft = true;  // looked at by writeDataChildren; an empty pair of tags reads as the same
      continue;
    }
    const Value value = data.getPropertyValue(step.property);
    if (!value.hasObject()) {
      isSomethingLeft = isSomethingLeft || step.hasDefault;
      continue;
    }
    if (fSkipsDefaults && step.hasDefault && value == *step.property->defaultValue()) continue;
    fBody += ' ';
    fBody += step.name;
    fBody += "=\"";
    writeValue(value, step, TextPlace::Attribute);
    fBody += '"';
  }
  return isSomethingLeft;
}

void XmiWriter::writeDataChildren(const ReflectiveDataType& data, const Plan& plan) {
  for (const Step& step : plan.steps) {
    if (step.storage == StorageType::Data && !step.isCollection) {
      if (const auto* inner = data.peek<ReflectiveDataType>(step.property)) writeData(*inner, step);
      continue;
    }
    if (step.storage == StorageType::Data) {
      for (const Value& entry : data.peekValues(step.property)) writeData(*entry.peek<ReflectiveDataType>(), step);
      continue;
    }
    const Value value = data.getPropertyValue(step.property);
    if (step.storage == StorageType::Element && step.isCollection) {
      for (const ModelElement& target : value.toElementCollection().getAllElements()) {
        writeReferenceElement(target.get(), step);
      }
    } else if (step.storage == StorageType::Element) {
      if (const ModelElement target = value.get<ModelElement>()) writeReferenceElement(target.get(), step);
    } else if (step.isCollection) {
      writeValueEntries(value, step);
    } else if (step.storage == StorageType::Map) {
      writeMapEntries(value.toStringToStringMap(), step);
    } else if (step.hasDefault && !value.hasObject()) {
      writeNil(step);
    }
  }
}

}  // namespace tarn::kern::io::xml
