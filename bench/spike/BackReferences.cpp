// (c) How a destroyed element finds those who refer to it.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <utility>
#include <vector>

#include "Choices.h"
#include "support/Measure.h"

namespace bench::spike {
namespace {

/// Just the references of the model. The padding stands for the rest of an element.
struct Referrer {
  Referrer* base = nullptr;
  std::vector<Referrer*> related;
  std::uint32_t index = 0;
  std::uint32_t firstNode = 0;  ///< of those who may refer to this one; 0: none
  bool destroyed = false;
  char rest[200];
};

using Referrers = std::vector<std::unique_ptr<Referrer>>;

/// Nothing is kept. Who destroys marks the targets; one pass over the model clears what points to them.
struct NoBackReferences {
  static constexpr bool kSweeps = true;
  explicit NoBackReferences(std::size_t) {}
  void added(Referrer&, Referrer&) {}
  void destroyed(const Referrers&, Referrer&) {}
};

void forget(Referrer& referrer, const Referrer& target) {
  if (referrer.base == &target) referrer.base = nullptr;
  std::erase(referrer.related, &target);
}

/// Chains of 8 byte nodes. A node says that the referrer may refer to the target: it is verified when it is used, so
/// nothing has to be taken out of the chain when a reference goes away.
class NodePool {
 public:
  void push(std::uint32_t& head, const Referrer& referrer) {
    fNodes.push_back({referrer.index, head});
    head = static_cast<std::uint32_t>(fNodes.size());
  }
  void forgetAll(std::uint32_t& head, const Referrers& all, const Referrer& target) {
    for (std::uint32_t at = std::exchange(head, 0U); at != 0; at = fNodes[at - 1].next) {
      forget(*all[fNodes[at - 1].referrer], target);
    }
  }
  [[nodiscard]] bool empty() const { return fNodes.empty(); }

 private:
  struct Node {
    std::uint32_t referrer;
    std::uint32_t next;
  };
  std::deque<Node> fNodes;  ///< a deque grows without a copy
};

/// The heads in a table of the model: dense, but one more line to fetch.
struct NodesWithTable {
  static constexpr bool kSweeps = false;
  explicit NodesWithTable(std::size_t count) : fHeads(count, 0) {}
  void added(Referrer& referrer, Referrer& target) { fNodes.push(fHeads[target.index], referrer); }
  void destroyed(const Referrers& all, Referrer& target) { fNodes.forgetAll(fHeads[target.index], all, target); }
  std::vector<std::uint32_t> fHeads;
  NodePool fNodes;
};

struct NodesWithHeadInElement {
  static constexpr bool kSweeps = false;
  explicit NodesWithHeadInElement(std::size_t) {}
  void added(Referrer& referrer, Referrer& target) { fNodes.push(target.firstNode, referrer); }
  void destroyed(const Referrers& all, Referrer& target) { fNodes.forgetAll(target.firstNode, all, target); }
  NodePool fNodes;
};

struct VectorBackReferences {
  static constexpr bool kSweeps = false;
  explicit VectorBackReferences(std::size_t count) : fReferrers(count) {}
  void added(Referrer& referrer, Referrer& target) { fReferrers[target.index].push_back(&referrer); }
  void destroyed(const Referrers&, Referrer& target) {
    for (Referrer* referrer : fReferrers[target.index]) forget(*referrer, target);
    fReferrers[target.index] = {};
  }
  std::vector<std::vector<Referrer*>> fReferrers;
};

/// Nothing is kept until the first question (an incoming reference asked for, an element destroyed): then one scan of
/// the model fills the chains, and from there on they are kept.
struct NodesOnFirstNeed {
  static constexpr bool kSweeps = false;
  explicit NodesOnFirstNeed(std::size_t) {}
  void added(Referrer& referrer, Referrer& target) {
    if (!fNodes.empty()) fNodes.push(target.firstNode, referrer);
  }
  void destroyed(const Referrers& all, Referrer& target) {
    if (fNodes.empty()) fill(all);
    fNodes.forgetAll(target.firstNode, all, target);
  }
  void fill(const Referrers& all) {
    for (const std::unique_ptr<Referrer>& referrer : all) {
      if (referrer->base != nullptr) fNodes.push(referrer->base->firstNode, *referrer);
      for (Referrer* target : referrer->related) fNodes.push(target->firstNode, *referrer);
    }
  }
  NodePool fNodes;
};

template <class BackReferences>
Figures keepBackReferences(const Description& description) {
  const std::size_t count = description.size();
  Referrers all;
  for (std::size_t i = 0; i < count; ++i) {
    all.push_back(std::make_unique<Referrer>());
    all.back()->index = static_cast<std::uint32_t>(i);
  }
  std::size_t references = 0;
  for (const Record& record : description) references += (record.base != kNoRecord ? 1U : 0U) + record.related.size();

  const double before = allocatedBytes();
  BackReferences back(count);
  Figures figures;
  figures.emplace_back("reference set", nanosecondsPer(references, [&] {
                         for (std::size_t i = 0; i < count; ++i) {
                           const Record& record = description[i];
                           Referrer& referrer = *all[i];
                           if (record.base != kNoRecord) {
                             referrer.base = all[record.base].get();
                             back.added(referrer, *referrer.base);
                           }
                           referrer.related.reserve(record.related.size());
                           for (const RecordIndex target : record.related) {
                             referrer.related.push_back(all[target].get());
                             back.added(referrer, *all[target]);
                           }
                         }
                       }));
  figures.emplace_back("bytes", (allocatedBytes() - before) / static_cast<double>(count));

  const auto destroy = [&](Referrer& target) {
    target.destroyed = true;
    back.destroyed(all, target);
  };
  const auto sweep = [&] {
    if (!BackReferences::kSweeps) return;
    for (const std::unique_ptr<Referrer>& referrer : all) {
      if (referrer->base != nullptr && referrer->base->destroyed) referrer->base = nullptr;
      std::erase_if(referrer->related, [](const Referrer* target) { return target->destroyed; });
    }
  };
  figures.emplace_back("first, ms", 1e-6 * nanosecondsPer(1, [&] {
                                      destroy(*all[count / 2 + 1]);
                                      sweep();
                                    }));
  figures.emplace_back("every tenth", nanosecondsPer(count / 10, [&] {
                         for (std::size_t i = 0; i < count; i += 10) destroy(*all[i]);
                         sweep();
                       }));
  for (const std::unique_ptr<Referrer>& referrer : all) {
    require(referrer->base == nullptr || !referrer->base->destroyed, "a single reference to a destroyed element");
    for (const Referrer* target : referrer->related) require(!target->destroyed, "a reference to a destroyed element");
  }
  return figures;
}

}  // namespace

std::vector<Variant> backReferences(const Description& description) {
  return {
      {"none, marks and one sweep", [&] { return keepBackReferences<NoBackReferences>(description); }},
      {"8 byte nodes, heads in a table", [&] { return keepBackReferences<NodesWithTable>(description); }},
      {"8 byte nodes, head in the element", [&] { return keepBackReferences<NodesWithHeadInElement>(description); }},
      {"8 byte nodes, made on first need", [&] { return keepBackReferences<NodesOnFirstNeed>(description); }},
      {"a vector per target", [&] { return keepBackReferences<VectorBackReferences>(description); }}};
}

}  // namespace bench::spike
