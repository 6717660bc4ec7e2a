#include "quillon/nimbo/PrettyPrinter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ostream>
#include <span>
#include <sstream>
#include <stdexcept>

#include "PlainText.h"
#include "PlainTree.h"
#include "PrintingParts.h"
#include "StoredTypes.h"
#include "TypeTags.h"
#include "quillon/nimbo/html/Manipulators.h"
#include "quillon/nimbo/html/OFStream.h"

/// The printer as a whole: flags, numbers, what is hidden, and the two outputs. The walks are in TreePrinting.cpp and
/// DescriptionPrinting.cpp, the looks of values in ValuePrinting.cpp.
namespace quillon::nimbo {

namespace kern = tarn::kern;

namespace {

constexpr std::size_t kColumnsPerLevel = 4;
/// What an expander takes at the head of a line: a line without one starts its text in the same column.
constexpr std::size_t kColumnsOfExpander = 2;

void checkModel(const kern::Model& model) {
  if (!model) throw std::invalid_argument("the model to print is a null handle: make one with Model::create");
}

}  // namespace

/// Text, most of what models hold, is what costs to read: its value is a copy. Reading in place asks for no access, so
/// it says nothing of a guarded property.
bool detail::isReadInPlace(const kern::ModelElement& element, const kern::meta::Property& property) {
  if (!element || !property || property->isGuarded) return false;
  if (property->isReference()) {
    if (detail::isMany(property)) {
      static_cast<void>(element->peekElements(property));
    } else {
      static_cast<void>(element->peekElement(property));
    }
    return true;
  }
  if (detail::isMany(property)) return false;
  return visitStoredType(tagOfType(property->getType()),
                         [&]<class T>(std::type_identity<T>) { static_cast<void>(element->peek<T>(property)); });
}

PrettyPrinter::PrettyPrinter() = default;
PrettyPrinter::PrettyPrinter(const PrettyPrinter& other) = default;
PrettyPrinter& PrettyPrinter::operator=(const PrettyPrinter& other) = default;
PrettyPrinter::~PrettyPrinter() = default;

PrettyPrinter& PrettyPrinter::emitDefaultValues(bool on) {
  fEmitDefaultValues = on;
  return *this;
}

PrettyPrinter& PrettyPrinter::emitEmptyCollections(bool on) {
  fEmitEmptyCollections = on;
  return *this;
}

PrettyPrinter& PrettyPrinter::emitNullElements(bool on) {
  fEmitNullElements = on;
  return *this;
}

// --- The two outputs.

void PrettyPrinter::print(std::ostream& os, const Model& model) {
  checkModel(model);
  if (detail::PlainTree::suits(*this, os)) return detail::PlainTree(*this, os).print(model);
  if (html::isHTMLStream(os)) fNumbers.reserve(model->getElementCount());
  for (const ModelElement& element : model->getTopLevelElements()) emitElement(os, element, "", true);
}

void PrettyPrinter::generateHTMLFile(const std::string& path, const Model& model) {
  checkModel(model);  // before the file is touched
  html::OFStream os(path);
  os << html::tree{};
  print(os, model);
  os << html::etree{} << html::defs{};
  for (const ModelElement& element : model->getAllElements(kern::FindElementBehavior::Anywhere)) {
    emitElementDef(os, element);
  }
  os << html::edefs{};
}

void print(std::ostream& os, const kern::Model& model) { PrettyPrinter().print(os, model); }

void generateHTMLFile(const std::string& path, const kern::Model& model) {
  PrettyPrinter().generateHTMLFile(path, model);
}

// --- Names and numbers.

std::string PrettyPrinter::elemId(const ModelElement& element) {
  return element ? std::to_string(fNumbers.numberOf(element->getUuid())) : "0";
}

std::string PrettyPrinter::elemStr(const ModelElement& element) {
  if (!element) return detail::kNullText;
  std::stringstream entry;
  emitElementEntry(entry, element, false);
  std::string text = std::move(entry).str();
  return text.empty() ? "_" : text;
}

std::string PrettyPrinter::ptrId(const void* pointer) {
  if (pointer == nullptr) return "nullptr";
  // As a stream writes an address; but a stream of its own for each collection would be most of the work.
  std::array<char, 2 + 2 * sizeof(pointer)> text{'0', 'x'};
  const auto end =
      std::to_chars(text.data() + 2, text.data() + text.size(), reinterpret_cast<std::uintptr_t>(pointer), 16).ptr;
  return {text.data(), end};
}

// --- Indentation.

std::size_t PrettyPrinter::indentWidth(bool expander) const {
  return static_cast<std::size_t>(fIndentLevel) * kColumnsPerLevel + (expander ? 0 : kColumnsOfExpander);
}

std::string PrettyPrinter::indent(bool expander) { return std::string(indentWidth(expander), ' '); }

/// Writes what indent() gives, in blocks that are always there: the lines of a deep tree are nearly all blanks, and a
/// stream that has failed costs a deep walk no time for them.
void PrettyPrinter::emitIndent(std::ostream& os, bool expander) const {
  static constexpr std::array<char, 1024> kBlanks = [] {
    std::array<char, 1024> blanks{};
    blanks.fill(' ');
    return blanks;
  }();
  for (std::size_t left = indentWidth(expander); left > 0 && os;) {
    const std::size_t block = std::min(left, kBlanks.size());
    detail::putText(os, {kBlanks.data(), block});
    left -= block;
  }
}

// --- Reading, and what is hidden.

PrettyPrinter::Value PrettyPrinter::readProperty(const ModelElement& element, const Property& property) {
  if (!element) throw std::invalid_argument("a property of a null element was to be printed: pass an element");
  if (!property) throw std::invalid_argument("a null property was to be printed: pass one of the element's class");
  return element->getPropertyValue(property, kern::ReflectionPrivateTag::PUBLIC_ACCESS);
}

bool PrettyPrinter::isElementToHideInTree(const ModelElement& element) const { return !fEmitNullElements && !element; }

bool PrettyPrinter::isPropertyToFullyHide(const ModelElement& element, const Property& property) const {
  try {
    if (detail::isReadInPlace(element, property)) return false;
    const Value value = readProperty(element, property);
    if (property->isReference() && detail::isMany(property)) static_cast<void>(value.toElementCollection());
    return false;
  } catch (...) {  // whatever it is: one property that cannot be read must not cost the whole print
    return true;
  }
}

bool PrettyPrinter::isPropertyToHideInTree(const ModelElement& element, const Property& property) const {
  if (isPropertyToFullyHide(element, property)) return true;
  if (property->isReference()) return isReferenceToHideInTree(element, property);
  if (detail::isMany(property)) {
    return !fEmitEmptyCollections && readProperty(element, property).toPrimitiveCollection().empty();
  }
  return mayEqualHiddenDefault(property) && equalsHiddenDefault(property, readProperty(element, property));
}

/// Read in place: that it can be read at all has been found out before.
bool PrettyPrinter::isReferenceToHideInTree(const ModelElement& element, const Property& property) const {
  if (!detail::isMany(property)) return isElementToHideInTree(ModelElement(element->peekElement(property)));
  if (fEmitEmptyCollections) return false;
  const std::span<ModelElement::Impl* const> members = element->peekElements(property);
  return std::all_of(members.begin(), members.end(),
                     [this](ModelElement::Impl* member) { return isElementToHideInTree(ModelElement(member)); });
}

/// Most properties have no default, and then there is no need to read the value.
bool PrettyPrinter::mayEqualHiddenDefault(const Property& property) const {
  return !fEmitDefaultValues && property->defaultValue();
}

bool PrettyPrinter::equalsHiddenDefault(const Property& property, const Value& value) const {
  return mayEqualHiddenDefault(property) && *property->defaultValue() == value;
}

bool PrettyPrinter::isPropertyToFlattenInTree(const Property&) const { return false; }

}  // namespace quillon::nimbo
