// (a) What it costs that a copied handle keeps its target alive.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "Choices.h"
#include "Shuffled.h"
#include "support/Measure.h"

namespace bench::spike {
namespace {

struct PlainCount {
  std::int32_t count = 0;
  void up() { ++count; }
  bool down() { return --count == 0; }
};

/// A negative count marks what lives as long as the process and is never written.
struct ImmortalCount {
  std::int32_t count = 0;
  void up() {
    if (count >= 0) ++count;
  }
  bool down() { return count >= 0 && --count == 0; }
};

struct AtomicCount {
  std::atomic<std::int32_t> count{0};
  void up() { count.fetch_add(1, std::memory_order_relaxed); }
  bool down() { return count.fetch_sub(1, std::memory_order_acq_rel) == 1; }
};

template <class Count>
struct Counted {
  Count count;
  char body[60];
};

template <class Count>
class Handle {
 public:
  Handle() = default;
  explicit Handle(Counted<Count>* target) : fTarget(target) { fTarget->count.up(); }
  Handle(const Handle& other) : fTarget(other.fTarget) {
    if (fTarget != nullptr) fTarget->count.up();
  }
  Handle(Handle&& other) noexcept : fTarget(std::exchange(other.fTarget, nullptr)) {}
  Handle& operator=(Handle other) noexcept {
    std::swap(fTarget, other.fTarget);
    return *this;
  }
  ~Handle() {
    if (fTarget != nullptr && fTarget->count.down()) delete fTarget;
  }

 private:
  Counted<Count>* fTarget = nullptr;
};

template <class Count>
[[gnu::noinline]] Handle<Count> passThrough(const Handle<Count>& handle) {
  return handle;
}

template <class Count>
Figures countHandles(std::size_t count) {
  constexpr std::size_t kHotCopies = 50'000'000;
  Figures figures;
  const Handle<Count> one(new Counted<Count>);
  figures.emplace_back("hot copy", nanosecondsPer(kHotCopies, [&one] {
                         for (std::size_t i = 0; i < kHotCopies; ++i) keep(passThrough(one));
                       }));
  std::vector<Handle<Count>> all;
  for (std::size_t i = 0; i < count; ++i) all.emplace_back(new Counted<Count>);
  const std::vector<std::uint32_t> order = shuffled(count);
  figures.emplace_back("copy in order", nanosecondsPer(count, [&all] { keep(std::vector<Handle<Count>>(all)); }));
  figures.emplace_back("copy at random", nanosecondsPer(count, [&all, &order] {
                         for (const std::uint32_t i : order) keep(passThrough(all[i]));
                       }));
  return figures;
}

}  // namespace

std::vector<Variant> handleCounting(std::size_t count) {
  return {{"plain", [=] { return countHandles<PlainCount>(count); }},
          {"immortal test", [=] { return countHandles<ImmortalCount>(count); }},
          {"atomic", [=] { return countHandles<AtomicCount>(count); }}};
}

}  // namespace bench::spike
