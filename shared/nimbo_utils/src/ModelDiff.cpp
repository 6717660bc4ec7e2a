#include "quillon/nimbo/ModelDiff.h"

#include <algorithm>
#include <ostream>
#include <span>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include <bedrock/i18n.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/hashers.h>
#include <tarn/kern/meta/Class.h>

#include "ValueDiff.h"

namespace quillon::nimbo {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using Element = kern::ModelElement::Impl;
using Kind = ElementChange::Kind;
using kern::Model;
using kern::ModelElement;
using meta::Property;

namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

/// One element of a model, with the place where it stands.
struct Node {
  Element* element;
  std::size_t container;  // its node; kNone at the top level
  Property property;      // of the container
  std::size_t position;   // in the collection or among the top-level elements
};

/// All elements of a model, containers before what they contain, members in their order.
class Outline {
 public:
  explicit Outline(const Model& model) {
    for (const ModelElement& root : model->getTopLevelElements()) {
      fOpen.push_back({root.get(), kNone, Property(), fOpen.size()});
    }
    std::reverse(fOpen.begin(), fOpen.end());
    while (!fOpen.empty()) {
      nodes.push_back(std::move(fOpen.back()));
      fOpen.pop_back();
      const std::size_t first = fOpen.size();
      openContent(nodes.size() - 1);
      std::reverse(fOpen.begin() + static_cast<std::ptrdiff_t>(first), fOpen.end());
    }
    fByUuid.reserve(nodes.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) fByUuid.emplace(nodes[i].element->getUuid(), i);
  }

  [[nodiscard]] std::size_t find(const boost::uuids::uuid& uuid) const {
    const auto found = fByUuid.find(uuid);
    return found == fByUuid.end() ? kNone : found->second;
  }

  [[nodiscard]] std::string placeOf(const Node& node) const {
    const std::string index = "[" + std::to_string(node.position) + "]";
    if (node.container == kNone) return "top level" + index;
    return detail::labelOf(nodes[node.container].element) + "." + bedrock::i18n::to_string(node.property->getName()) +
           (node.property->isCollection() ? index : "");
  }

  std::vector<Node> nodes;

 private:
  void openContent(std::size_t container) {
    const Element& element = *nodes[container].element;
    for (const Property& property : element.getMetaClass()->getAllClassProperties()) {
      if (!property->isComposite || property->isDerived) continue;
      if (!property->isCollection()) {
        if (Element* member = element.peekElement(property)) fOpen.push_back({member, container, property, 0});
        continue;
      }
      std::size_t position = 0;
      for (Element* member : element.peekElements(property)) fOpen.push_back({member, container, property, position++});
    }
  }

  std::vector<Node> fOpen;  // the next one stands last
  std::unordered_map<boost::uuids::uuid, std::size_t, kern::services::hashers::NimboHasher<boost::uuids::uuid>> fByUuid;
};

/// Marks as few entries as possible, so that the others ascend: what is left out of a longest ascending subsequence.
std::vector<bool> outOfOrder(const std::vector<std::size_t>& sequence) {
  std::vector<bool> isOut(sequence.size(), false);
  if (std::is_sorted(sequence.begin(), sequence.end())) return isOut;
  std::vector<std::size_t> ends;  // of the best subsequence of each length: the index of its last entry
  std::vector<std::size_t> previous(sequence.size(), kNone);
  for (std::size_t i = 0; i < sequence.size(); ++i) {
    const auto at = std::lower_bound(ends.begin(), ends.end(), sequence[i],
                                     [&](std::size_t end, std::size_t value) { return sequence[end] < value; });
    if (at != ends.begin()) previous[i] = *std::prev(at);
    if (at == ends.end()) {
      ends.push_back(i);
    } else {
      *at = i;
    }
  }
  isOut.assign(sequence.size(), true);
  for (std::size_t i = ends.back(); i != kNone; i = previous[i]) isOut[i] = false;
  return isOut;
}

class Comparison {
 public:
  Comparison(const Model& oldModel, const Model& newModel)
      : fOld(oldModel), fNew(newModel), fIsMoved(fNew.nodes.size(), false) {}

  [[nodiscard]] ModelDiff run() {
    addOneSided(Kind::Removed, fOld, fNew);
    findMoves();
    for (std::size_t i = 0; i < fNew.nodes.size(); ++i) {
      const std::size_t old = fOld.find(fNew.nodes[i].element->getUuid());
      if (old == kNone) {
        fTopChange[i] = addOneSidedNode(Kind::Added, fNew, i);
      } else {
        addBothSided(fOld.nodes[old], fNew.nodes[i], fIsMoved[i]);
      }
    }
    return std::move(fDiff);
  }

 private:
  void addOneSided(Kind kind, const Outline& side, const Outline& other) {
    for (std::size_t i = 0; i < side.nodes.size(); ++i) {
      if (other.find(side.nodes[i].element->getUuid()) == kNone) fTopChange[i] = addOneSidedNode(kind, side, i);
    }
    fTopChange.clear();
  }

  /// Gives the entry of the outermost element that it is added or removed with.
  std::size_t addOneSidedNode(Kind kind, const Outline& side, std::size_t index) {
    const Node& node = side.nodes[index];
    const auto top = fTopChange.find(node.container);
    ElementChange& change = addChange(kind, *node.element);
    (kind == Kind::Added ? change.newPlace : change.oldPlace) = side.placeOf(node);
    if (top == fTopChange.end()) return fDiff.changes.size() - 1;
    change.isInside = true;
    ++fDiff.changes[top->second].elementsInside;
    return top->second;
  }

  void addBothSided(const Node& before, const Node& after, bool isMoved) {
    if (isMoved) {
      ElementChange& change = addChange(Kind::Moved, *after.element);
      change.oldPlace = fOld.placeOf(before);
      change.newPlace = fNew.placeOf(after);
    }
    std::vector<PropertyChange> properties = detail::propertyChanges(*before.element, *after.element);
    if (!properties.empty()) addChange(Kind::Changed, *after.element).properties = std::move(properties);
  }

  ElementChange& addChange(Kind kind, const Element& element) {
    ElementChange& change = fDiff.changes.emplace_back();
    change.kind = kind;
    change.uuid = element.getUuid();
    change.element = detail::labelOf(&element);
    return change;
  }

  [[nodiscard]] bool isInSamePlace(const Node& before, const Node& after) const {
    if (before.container == kNone || after.container == kNone) return before.container == after.container;
    return before.property->getName() == after.property->getName() &&
           fOld.nodes[before.container].element->getUuid() == fNew.nodes[after.container].element->getUuid();
  }

  /// Members of one collection stand in the outline in their order, though not side by side: they are gathered first.
  void findMoves() {
    std::unordered_map<std::size_t, std::vector<std::size_t>> membersOf;  // by container; the top level under kNone
    for (std::size_t i = 0; i < fNew.nodes.size(); ++i) {
      const std::size_t old = fOld.find(fNew.nodes[i].element->getUuid());
      if (old == kNone) continue;
      if (isInSamePlace(fOld.nodes[old], fNew.nodes[i])) {
        membersOf[fNew.nodes[i].container].push_back(i);
      } else {
        fIsMoved[i] = true;
      }
    }
    for (const auto& [container, members] : membersOf) findReordered(members);
  }

  /// @param members of one container, those of one property after those of another
  void findReordered(std::span<const std::size_t> members) {
    while (!members.empty()) {
      std::size_t count = 1;
      while (count < members.size() && fNew.nodes[members[count]].property == fNew.nodes[members[0]].property) ++count;
      std::vector<std::size_t> oldPositions;
      oldPositions.reserve(count);
      for (const std::size_t member : members.first(count)) {
        oldPositions.push_back(fOld.nodes[fOld.find(fNew.nodes[member].element->getUuid())].position);
      }
      const std::vector<bool> isOut = outOfOrder(oldPositions);
      for (std::size_t i = 0; i < count; ++i) {
        if (isOut[i]) fIsMoved[members[i]] = true;
      }
      members = members.subspan(count);
    }
  }

  Outline fOld;
  Outline fNew;
  std::vector<bool> fIsMoved;                               ///< nodes of fNew
  std::unordered_map<std::size_t, std::size_t> fTopChange;  ///< from the node of a one-sided element to that entry
  ModelDiff fDiff;
};

void printInside(std::ostream& os, std::size_t count) {
  if (count > 0) os << ", with " << count << (count == 1 ? " element" : " elements") << " inside";
}

void printChange(std::ostream& os, const ElementChange& change) {
  switch (change.kind) {
    case Kind::Removed:
      os << "- " << change.element << " from " << change.oldPlace;
      break;
    case Kind::Added:
      os << "+ " << change.element << " at " << change.newPlace;
      break;
    case Kind::Moved:
      os << "> " << change.element << " from " << change.oldPlace << " to " << change.newPlace;
      break;
    case Kind::Changed:
      os << "* " << change.element;
      break;
  }
  printInside(os, change.elementsInside);
  os << '\n';
  for (const PropertyChange& property : change.properties) {
    os << "    " << property.property << ": " << property.oldValue << " -> " << property.newValue << '\n';
  }
}

}  // namespace

std::size_t ModelDiff::count(Kind kind) const noexcept {
  return static_cast<std::size_t>(std::count_if(changes.begin(), changes.end(),
                                                [kind](const ElementChange& change) { return change.kind == kind; }));
}

ModelDiff diff(const Model& oldModel, const Model& newModel) {
  if (!oldModel || !newModel) {
    throw std::invalid_argument(std::string("the ") + (oldModel ? "new" : "old") +
                                " model is null: two models are needed for a difference");
  }
  return Comparison(oldModel, newModel).run();
}

std::ostream& operator<<(std::ostream& os, const ModelDiff& difference) {
  if (difference.empty()) return os << "no differences\n";
  os << difference.count(Kind::Removed) << " removed, " << difference.count(Kind::Added) << " added, "
     << difference.count(Kind::Moved) << " moved, " << difference.count(Kind::Changed) << " changed\n";
  for (const ElementChange& change : difference.changes) {
    if (!change.isInside) printChange(os, change);
  }
  return os;
}

}  // namespace quillon::nimbo
