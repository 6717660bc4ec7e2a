#include "CloneIntoEmpty.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <iterator>
#include <span>

#include <tarn/kern/BulkCopy.h>
#include <tarn/kern/BulkEdit.h>
#include <tarn/kern/meta/Class.h>

#include "PropertyCopies.h"
#include "quillon/nimbo/detail/PtrMap.h"

namespace quillon::nimbo::detail {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::ModelElement;
using meta::Property;

namespace {

using Element = ModelElement::Impl;

const kern::ReflectionPrivateTag& privileged() { return kern::ReflectionPrivateTag::PRIVILEGED_ACCESS; }

/// What is followed of the elements of a class.
struct ClassPlan {
  std::vector<Property> followed;
  bool isSymmetric = true;  ///< what is followed is followed back
};

ClassPlan makePlan(const meta::Class& type) {
  ClassPlan plan;
  for (const Property& property : type->getAllClassProperties()) {
    if (!isFollowed(property, false)) continue;
    plan.followed.push_back(property);
    const Property& opposite = property->getOpposite();
    if (opposite && !property->isComposite && !isFollowed(opposite, false)) plan.isSymmetric = false;
  }
  return plan;
}

/// Elements, numbered in the order in which they came. A flat table of numbers alone, which are checked with the list:
/// for a model of a hundred thousand elements it stays in the cache, where one of addresses would not.
class ElementNumbers {
 public:
  /// True when the element is new.
  bool add(const Element* element) {
    if ((fElements.size() + 1) * 2 > fTable.size()) grow();
    std::uint32_t& place = fTable[placeOf(element)];
    if (place != kFree) return false;
    fElements.push_back(element);
    place = static_cast<std::uint32_t>(fElements.size());
    return true;
  }
  /// Has the element's place fetched while there is something else to do.
  void fetchPlace(const Element* element) const {
    __builtin_prefetch(&fTable[kern::hashOfAddress(element) & (fTable.size() - 1)]);
  }
  /// @pre it was added
  [[nodiscard]] std::size_t numberOf(const Element* element) const { return fTable[placeOf(element)] - 1; }
  [[nodiscard]] const std::vector<const Element*>& elements() const { return fElements; }

 private:
  static constexpr std::uint32_t kFree = 0;
  static constexpr std::size_t kSmallestTable = 64;

  /// Where the element's number plus one stands or is to stand. There is always a free place: at most half are taken.
  [[nodiscard]] std::size_t placeOf(const Element* element) const {
    const std::size_t last = fTable.size() - 1;
    std::size_t at = kern::hashOfAddress(element) & last;
    while (fTable[at] != kFree && fElements[fTable[at] - 1] != element) at = (at + 1) & last;
    return at;
  }

  void grow() {
    fTable.assign(std::max(fTable.size() * 2, kSmallestTable), kFree);
    for (std::size_t i = 0; i < fElements.size(); ++i) {
      fTable[placeOf(fElements[i])] = static_cast<std::uint32_t>(i + 1);
    }
  }

  std::vector<const Element*> fElements;
  std::vector<std::uint32_t> fTable;  // its size is a power of two
};

/// Has the memory that an element lies in fetched while there is something else to do.
void fetch(const Element* element) {
  constexpr std::size_t kCacheLine = 64;
  constexpr std::size_t kLines = 5;  // of an element with a dozen properties
  const char* const begin = reinterpret_cast<const char*>(element);
  for (std::size_t i = 0; i < kLines; ++i) __builtin_prefetch(begin + i * kCacheLine);
}

class Copying {
 public:
  explicit Copying(const kern::Model& target) : fTarget(target) {}

  /// Finds out what is copied, in the order in which a walk in depth meets it. False when there is something that
  /// cannot be copied here.
  [[nodiscard]] bool discover(const std::vector<ModelElement>& elements) {
    std::for_each(elements.rbegin(), elements.rend(), [this](const ModelElement& e) { fOpen.push_back(e.get()); });
    while (!fOpen.empty()) {
      const Element* const source = fOpen.back();
      fOpen.pop_back();
      if (!fNumbers.add(source)) continue;
      fetch(source);
      const ClassPlan& plan = planOf(*source);
      if (!plan.isSymmetric) return false;
      noteReferences(*source, plan);
    }
    return true;
  }

  void makeCopies() {
    const std::vector<const Element*>& sources = fNumbers.elements();
    fCopies.reserve(sources.size());
    for (std::size_t i = 0; i < sources.size(); ++i) {
      constexpr std::size_t kAhead = 6;
      if (i + kAhead < sources.size()) fetch(sources[i + kAhead]);
      // The handle may go: the target keeps the copy, and nobody can destroy it before this is over.
      Element& copy = *sources[i]->getMetaClass()->instantiate(fTarget, sources[i]->getUuid());
      fCopies.push_back(&copy);
      kern::bulk::copyValues(*sources[i], copy);
    }
  }

  void writeReferences() {
    turnTargetsIntoCopies();
    const std::uint32_t* count = fCounts.data();
    Element** targets = fTargets.data();
    for (Element* const copy : fCopies) {
      for (const Property& property : planOf(*copy).followed) {
        if (*count > 0) writeReference(*copy, property, {targets, *count});
        targets += *count++;
      }
    }
  }

 private:
  /// What the element refers to comes next, the first of it first.
  void noteReferences(const Element& source, const ClassPlan& plan) {
    const std::size_t first = fTargets.size();
    for (const Property& property : plan.followed) {
      const std::size_t before = fTargets.size();
      if (property->upper > 1) {
        const std::span<Element* const> members = source.peekElements(property);
        std::copy_if(members.begin(), members.end(), std::back_inserter(fTargets),
                     [](const Element* member) { return member != nullptr; });
      } else if (Element* const target = source.peekElement(property)) {
        fTargets.push_back(target);
      }
      fCounts.push_back(static_cast<std::uint32_t>(fTargets.size() - before));
    }
    fOpen.insert(fOpen.end(), fTargets.rbegin(), fTargets.rend() - static_cast<std::ptrdiff_t>(first));
  }

  void turnTargetsIntoCopies() {
    for (std::size_t i = 0; i < fTargets.size(); ++i) {
      constexpr std::size_t kAhead = 8;
      if (i + kAhead < fTargets.size()) fNumbers.fetchPlace(fTargets[i + kAhead]);
      fTargets[i] = fCopies[fNumbers.numberOf(fTargets[i])];
    }
  }

  static void writeReference(Element& copy, const Property& property, std::span<Element* const> targets) {
    if (property->upper < 2) {
      kern::bulk::setTarget(copy, property, targets.front(), privileged());
    } else if (property->isComposite) {
      for (Element* const target : targets) kern::bulk::append(copy, property, *target, privileged());
    } else {
      kern::bulk::assignTargets(copy, property, targets, privileged());
    }
  }

  [[nodiscard]] ClassPlan& planOf(const Element& element) {
    const meta::Class& type = element.getMetaClass();
    if (ClassPlan* const* const known = fPlanOfClass.find(type.get())) return **known;
    ClassPlan& plan = fPlans.emplace_back(makePlan(type));
    fPlanOfClass.tryEmplace(type.get(), &plan);
    return plan;
  }

  const kern::Model& fTarget;
  std::vector<Element*> fOpen;         ///< what is still to be looked at, the next one last
  ElementNumbers fNumbers;             ///< what is copied
  std::vector<Element*> fCopies;       ///< by number
  std::vector<std::uint32_t> fCounts;  ///< how many targets each followed property has, element by element
  std::vector<Element*> fTargets;      ///< all these, in the same order; null members are left out
  std::deque<ClassPlan> fPlans;
  PtrMap<meta::Class, ClassPlan*> fPlanOfClass;
};

}  // namespace

bool cloneIntoEmpty(const kern::Model& target, const std::vector<ModelElement>& elements) {
  Copying copying(target);
  if (!copying.discover(elements)) return false;
  copying.makeCopies();
  copying.writeReferences();
  return true;
}

}  // namespace quillon::nimbo::detail
