#include "PairCheck.h"

#include <bedrock/i18n.h>

namespace strata_datasource {

using tarn::kern::internal::ElementList;
using tarn::kern::internal::memberAt;
using tarn::kern::internal::SlotShape;

namespace {

template <class Visit>
void forEachTarget(PairCheck::Record& element, const tarn::kern::internal::SlotInfo& slot, Visit visit) {
  if (slot.shape == SlotShape::Reference) {
    if (PairCheck::Record* target = element.reference(slot)) visit(*target);
    return;
  }
  const ElementList& list = element.list(slot);
  for (std::uint32_t i = 0; i < list.physicalSize(); ++i) {
    if (PairCheck::Record* member = memberAt(list, i)) visit(*member);
  }
}

}  // namespace

void PairCheck::check(std::span<Record* const> filled) {
  if (filled.empty()) return;
  const std::int64_t first = fState.idOf(filled.front());
  const std::int64_t last = fState.idOf(filled.back());
  const auto isFilled = [&](const Record& target) {
    if (target.state != Record::State::Unloaded) return true;
    const std::int64_t id = fState.idOf(&target);
    return id >= first && id <= last;
  };
  Claims claims;
  for (Record* element : filled) {
    for (const std::uint16_t index : element->layout().paired) {
      const Claim claim = {element, &element->layout().slots[index]};
      forEachTarget(*element, *claim.slot, [&](Record& target) {
        if (isFilled(target)) {
          checkTarget(claim, target);
        } else {
          claims.emplace(&target, claim);
        }
      });
    }
    const auto [begin, end] = fClaims.equal_range(element);
    for (auto claim = begin; claim != end; ++claim) checkTarget(claim->second, *element);
  }
  fClaims.merge(claims);
  for (Record* element : filled) fClaims.erase(element);
}

void PairCheck::checkTarget(const Claim& claim, Record& target) const {
  const SlotInfo* opposite = target.layout().find(claim.slot->property->getOpposite().get());
  if (opposite != nullptr) {
    const bool holds = opposite->shape == SlotShape::Reference
                           ? target.reference(*opposite) == claim.by
                           : target.list(*opposite).find(claim.by) != ElementList::kNone;
    if (holds) return;
  }
  fState.damaged("the element of the id " + std::to_string(fState.idOf(claim.by)) + " has that of the id " +
                 std::to_string(fState.idOf(&target)) + " in " +
                 bedrock::i18n::to_string(claim.slot->property->getName()) + ", which does not hold the other way");
}

}  // namespace strata_datasource
