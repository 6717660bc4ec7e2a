#include "PlainTree.h"

#include <algorithm>
#include <concepts>
#include <locale>
#include <typeinfo>

#include <boost/uuid/uuid_io.hpp>

#include <bedrock/deep_call.h>
#include <tarn/kern/Collections.h>

#include "PlainText.h"
#include "PrintingParts.h"
#include "StoredTypes.h"

namespace quillon::nimbo::detail {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::ModelElement;
using Look = TreeLine::Look;

namespace {

constexpr std::size_t kColumnsPerLevel = 4;
constexpr std::size_t kColumnsOfExpander = 2;  // which plain lines leave free

// Values within a line, as the printer's own walk shows them. `stream` leads into the stage.

template <class Text>
void putQuoted(TextStage& stage, const Text& text) {
  stage.put('"');
  stage.put(text);
  stage.put('"');
}

template <class T>
void show(TextStage& stage, std::ostream& stream, const T& value) {
  if constexpr (std::same_as<T, bool>) {
    stage.put(value ? "true" : "false");
  } else if constexpr (std::same_as<T, std::int8_t> || std::same_as<T, std::uint8_t>) {
    stage.put(static_cast<char>(value));
  } else if constexpr (std::same_as<T, std::uint64_t>) {  // which has no form, although its smaller siblings do
    stage.put(kUnsupportedText);
  } else if constexpr (std::integral<T>) {
    stage.putNumber(value);
  } else if constexpr (std::same_as<T, double>) {
    putReal(stream, value);
  } else if constexpr (std::same_as<T, std::string>) {
    putQuoted(stage, std::string_view(value));
  } else if constexpr (std::same_as<T, std::u16string>) {
    putQuoted(stage, std::u16string_view(value));
  } else if constexpr (std::same_as<T, boost::posix_time::ptime>) {
    stage.put(TimeText(value).view());
  } else {
    stage.put(boost::uuids::to_string(value));
  }
}

/// An absent optional value is null, an absent required one the zero of its kind.
template <class T>
void showObject(TextStage& stage, std::ostream& stream, const T* object, bool isOptional) {
  if (object != nullptr) return show(stage, stream, *object);
  if (!isOptional || std::same_as<T, std::uint64_t>) return show(stage, stream, T());
  stage.put(kNullText);
}

void putLiteral(TextStage& stage, const TreeLine& line, const std::int64_t* number) {
  const std::int64_t wanted = number != nullptr ? *number : 0;
  const auto found = std::lower_bound(line.literals.begin(), line.literals.end(), wanted,
                                      [](const auto& literal, std::int64_t n) { return literal.first < n; });
  const bool hasName = found != line.literals.end() && found->first == wanted;
  const bool isAbsent = number == nullptr && line.isOptional;
  stage.put(hasName && !isAbsent ? std::string_view(found->second) : kNullText);
}

template <class T>
bool equalsHiddenDefault(const TreeLine& line, const T* object) {
  return line.hiddenDefault != nullptr && areEqualStored(object, line.hiddenDefault->peek<T>());
}

bool areAllNull(std::span<ModelElement::Impl* const> members) {
  return std::all_of(members.begin(), members.end(), [](const auto* member) { return member == nullptr; });
}

}  // namespace

// --- Whether, and the way there and out.

bool PlainTree::suits(const PrettyPrinter& printer, std::ostream& os) {
  return typeid(printer) == typeid(PrettyPrinter) && isPlainest(os);
}

PlainTree::PlainTree(PrettyPrinter& printer, std::ostream& os) : fPrinter(printer), fStage(os), fStream(&fStage) {
  fStream.imbue(os.getloc());
  fStream.flags(os.flags());
  fStream.precision(os.precision());
  fStream.exceptions(std::ios_base::badbit);  // what the target's exceptions say comes out of here
}

void PlainTree::print(const kern::Model& model) {
  try {
    putTopLevel(model);
  } catch (...) {  // what was written before stays written
    try {
      fStage.handOn();
    } catch (...) {  // it is the target that has failed
    }
    throw;
  }
  fStage.handOn();
}

void PlainTree::putTopLevel(const kern::Model& model) {
  for (const ModelElement& element : model->getTopLevelElements()) {
    putIndent();
    putInFull(*element);
  }
}

// --- Elements.

TreePlan& PlainTree::planOf(const Element& element) {
  const meta::Class& type = element.getMetaClass();
  if (TreePlan* const* const known = fPlanOfClass.find(type.get())) return **known;
  TreePlan& plan = fPlans.emplace_back(makeTreePlan(type, fPrinter.fEmitDefaultValues));
  fPlanOfClass.tryEmplace(type.get(), &plan);
  return plan;
}

void PlainTree::mention(const Element& element) { fPrinter.fNumbers.mention(element.getUuid()); }

void PlainTree::putIndent() {
  fStage.putBlanks(static_cast<std::size_t>(fPrinter.fIndentLevel) * kColumnsPerLevel + kColumnsOfExpander);
}

/// From the entry on. The brace opens with the first property that shows.
void PlainTree::putInFull(Element& element) {
  TreePlan& plan = planOf(element);
  mention(element);
  fStage.put(plan.name);
  bool isOpen = false;
  for (TreeLine& line : plan.lines) {
    const Content content = read(element, line);
    if (content.isHidden) continue;
    if (!isOpen) {
      fStage.put(" {\n");
      ++fPrinter.fIndentLevel;
      isOpen = true;
    }
    putLine(element, line, content);
  }
  if (!isOpen) return fStage.put('\n');
  --fPrinter.fIndentLevel;
  putIndent();
  fStage.put("}\n");
}

/// What stands behind the label of a member of a collection, or the name of a reference.
void PlainTree::putMember(Element* member, bool composite) {
  if (member != nullptr && composite) return bedrock::stack::callDeep([&] { putInFull(*member); });
  if (member != nullptr) {
    mention(*member);
    fStage.put(planOf(*member).name);
  } else {
    fStage.put(kNullText);
  }
  fStage.put('\n');
}

// --- Reading. What cannot be read does not show, whatever is the reason.

PlainTree::Content PlainTree::read(Element& element, TreeLine& line) const {
  if (line.look == Look::ByPrinter) return askPrinter(element, line);
  try {
    return readInPlace(element, line);
  } catch (...) {
    return {.isHidden = true};
  }
}

PlainTree::Content PlainTree::readInPlace(Element& element, TreeLine& line) const {
  switch (line.look) {
    case Look::Reference: {
      Element* const target = element.peekElement(line.property);
      return {.isHidden = target == nullptr && !fPrinter.fEmitNullElements, .target = target};
    }
    case Look::Elements:
      return readMembers(element, line);
    case Look::Object:
      return readObject(element, line);
    case Look::Literal:
      return readNumber(element, line);
    case Look::FindStorage: {
      const kern::Value value = element.getPropertyValue(line.property, kern::ReflectionPrivateTag::PUBLIC_ACCESS);
      const std::uint32_t storage = value.toPrimitiveCollection().getStorageKind();
      line.look = storage == kern::PrimitiveCollection::kContiguous ? Look::Contiguous : Look::ByPrinter;
      return readInPlace(element, line);
    }
    case Look::Contiguous:
      return readEntries(element, line);
    case Look::ByPrinter:
      break;
  }
  return askPrinter(element, line);
}

PlainTree::Content PlainTree::readObject(const Element& element, const TreeLine& line) const {
  Content content;
  visitStoredType(line.tag, [&]<class T>(std::type_identity<T>) {
    const T* const object = element.peek<T>(line.property);
    content = {.isHidden = equalsHiddenDefault(line, object), .object = object};
  });
  return content;
}

PlainTree::Content PlainTree::readNumber(const Element& element, const TreeLine& line) const {
  const auto* const number = element.peek<std::int64_t>(line.property);
  return {.isHidden = equalsHiddenDefault(line, number), .object = number};
}

PlainTree::Content PlainTree::readMembers(const Element& element, const TreeLine& line) const {
  const std::span<Element* const> members = element.peekElements(line.property);
  const bool isEmpty = fPrinter.fEmitNullElements ? members.empty() : areAllNull(members);
  return {.isHidden = isEmpty && !fPrinter.fEmitEmptyCollections, .members = members};
}

PlainTree::Content PlainTree::readEntries(const Element& element, const TreeLine& line) const {
  Content content;
  visitStoredType(line.tag, [&]<class T>(std::type_identity<T>) {
    if constexpr (kern::ContiguousValueType<T>) {
      const std::vector<T>& entries = element.peekCollection<T>(line.property);
      content = {.isHidden = entries.empty() && !fPrinter.fEmitEmptyCollections, .object = &entries};
    }
  });
  return content;
}

PlainTree::Content PlainTree::askPrinter(Element& element, const TreeLine& line) const {
  return {.isHidden = fPrinter.isPropertyToHideInTree(ModelElement(&element), line.property)};
}

// --- The lines of an element.

void PlainTree::putLine(Element& element, const TreeLine& line, const Content& content) {
  if (line.look == Look::ByPrinter) {
    return fPrinter.emitElementProperty(fStream, ModelElement(&element), line.property);
  }
  putIndent();
  fStage.put(line.start);
  switch (line.look) {
    case Look::Reference:
      return putMember(content.target, line.isComposite);
    case Look::Elements:
      return putMembers(element, line, content.members);
    case Look::Object:
      visitStoredType(line.tag, [&]<class T>(std::type_identity<T>) {
        showObject(fStage, fStream, static_cast<const T*>(content.object), line.isOptional);
      });
      break;
    case Look::Literal:
      putLiteral(fStage, line, static_cast<const std::int64_t*>(content.object));
      break;
    case Look::FindStorage:
    case Look::Contiguous:
    case Look::ByPrinter:
      putEntries(line, content.object);
      break;
  }
  fStage.put('\n');
}

/// A member that does not show uses up its index all the same.
void PlainTree::putMembers(const Element& element, const TreeLine& line, std::span<Element* const> members) {
  if (members.empty()) return fStage.put("{}\n");
  fStage.put("{\n");
  ++fPrinter.fIndentLevel;
  // Fetched anew for each: a store may fill in elements while others are printed.
  for (std::size_t i = 0; i < members.size(); members = element.peekElements(line.property), ++i) {
    if (members[i] == nullptr && !fPrinter.fEmitNullElements) continue;
    putIndent();
    fStage.put('[');
    fStage.putNumber(i);
    fStage.put("]: ");
    putMember(members[i], line.isComposite);
  }
  --fPrinter.fIndentLevel;
  putIndent();
  fStage.put("}\n");
}

/// All on one line.
void PlainTree::putEntries(const TreeLine& line, const void* entries) {
  fStage.put('{');
  visitStoredType(line.tag, [&]<class T>(std::type_identity<T>) {
    if constexpr (kern::ContiguousValueType<T>) {
      std::string_view separator;
      for (const T& entry : *static_cast<const std::vector<T>*>(entries)) {
        fStage.put(separator);
        show(fStage, fStream, entry);
        separator = ", ";
      }
    }
  });
  fStage.put('}');
}

}  // namespace quillon::nimbo::detail
