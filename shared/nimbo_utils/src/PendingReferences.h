#pragma once

#include <array>
#include <cstddef>

#include <tarn/kern/ModelElement.h>

#include "BinParserTables.h"

namespace quillon::nimbo {

/// References that have been read and are not set yet. Their targets lie anywhere in memory, so setting each at once
/// waits for it. Here they gather until there are enough to ask for all of them together.
///
/// Only for properties that nothing but the property itself shows: neither composite nor with an opposite. References
/// are set in the order in which they were read. Whoever changes such a property otherwise, gives an element id another
/// meaning, or lets others look at the model flushes first.
class PendingReferences {
 public:
  using Elements = IdTable<ParsedElement>;

  explicit PendingReferences(Elements& elements) noexcept : fElements(elements) {}

  /// The target of a single-valued property.
  void set(tarn::kern::ModelElement::Impl& owner, const ParsedProperty& property, Elements::Index target) {
    makeRoom();
    fOwners[fOwnerCount++] = {&owner, &property, fTargetCount, false};
    addTarget(target);
  }

  /// A further member of a collection.
  void append(tarn::kern::ModelElement::Impl& owner, const ParsedProperty& property, Elements::Index target) {
    makeRoom();
    const bool goesOn =
        fOwnerCount > 0 && fOwners[fOwnerCount - 1].element == &owner && fOwners[fOwnerCount - 1].property == &property;
    if (!goesOn) fOwners[fOwnerCount++] = {&owner, &property, fTargetCount, true};
    addTarget(target);
  }

  /// Sets them all. Throws what the model throws; then none are left either.
  void flush();

  static constexpr Elements::Index kNull = ~Elements::Index{0};

 private:
  static constexpr std::size_t kMost = 64;
  struct Owner {
    tarn::kern::ModelElement::Impl* element;
    const ParsedProperty* property;
    std::size_t firstTarget;
    bool isCollection;
  };
  using Records = std::array<tarn::kern::ModelElement::Impl*, kMost>;

  void makeRoom() {
    if (fTargetCount == kMost) flush();
  }
  void addTarget(Elements::Index target) {
    if (target != kNull) fElements.prefetch(target);
    fTargets[fTargetCount++] = target;
  }

  static void setReference(const Owner& owner, tarn::kern::ModelElement::Impl* target);
  void appendMembers(const Owner& owner, const Records& records, std::size_t end);

  Elements& fElements;
  std::size_t fOwnerCount = 0;
  std::size_t fTargetCount = 0;
  std::array<Owner, kMost> fOwners;
  std::array<Elements::Index, kMost> fTargets;
};

}  // namespace quillon::nimbo
