// (b) Where a value keeps its content: one is made for every property that is read.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Choices.h"
#include "support/Measure.h"

namespace bench::spike {
namespace {

/// What a value does with its content, for the three ways to keep it.
struct MallocStore {
  static void* take(std::size_t size) { return std::malloc(size); }
  static void give(void* place, std::size_t) { std::free(place); }
};

/// Freed places of up to 64 bytes wait in a list of the thread.
struct FreeListStore {
  struct Free {
    Free* next;
  };
  static inline thread_local Free* fHead = nullptr;
  static void* take(std::size_t) {
    if (fHead == nullptr) return std::malloc(64);
    return std::exchange(fHead, fHead->next);
  }
  static void give(void* place, std::size_t) { fHead = new (place) Free{fHead}; }
};

struct ValueOps {
  void (*destroy)(void*);
};

template <class T>
inline constexpr ValueOps kOps{[](void* place) { static_cast<T*>(place)->~T(); }};

/// The content lies in a place of its own.
template <class Store>
class BoxedValue {
 public:
  template <class T>
  explicit BoxedValue(T content) : fOps(&kOps<T>), fPlace(new (Store::take(sizeof(T))) T(std::move(content))) {}
  BoxedValue(BoxedValue&& other) noexcept : fOps(other.fOps), fPlace(std::exchange(other.fPlace, nullptr)) {}
  BoxedValue(const BoxedValue&) = delete;
  ~BoxedValue() {
    if (fPlace == nullptr) return;
    fOps->destroy(fPlace);
    Store::give(fPlace, 0);
  }
  template <class T>
  const T& get() const {
    return *static_cast<const T*>(fPlace);
  }

 private:
  const ValueOps* fOps;
  void* fPlace;
};

/// The content lies in the value; text is the largest that fits.
class InlineValue {
 public:
  template <class T>
  explicit InlineValue(T content) : fOps(std::is_trivially_destructible_v<T> ? nullptr : &kOps<T>) {
    static_assert(sizeof(T) <= 32);
    new (fPlace) T(std::move(content));
  }
  InlineValue(const InlineValue&) = delete;
  ~InlineValue() {
    if (fOps != nullptr) fOps->destroy(fPlace);
  }
  template <class T>
  const T& get() const {
    return *std::launder(reinterpret_cast<const T*>(fPlace));
  }

 private:
  const ValueOps* fOps;
  alignas(8) unsigned char fPlace[32];
};

template <class Value, class T>
[[gnu::noinline]] Value readProperty(const T& slot) {
  return Value(T(slot));
}

template <class Value>
Figures storeValues() {
  constexpr std::size_t kReads = 20'000'000;
  const std::int32_t number = 7;
  const std::u16string shortText = u"abcdef";
  const std::u16string longText = u"sixteen letters.";
  const auto read = [](const auto& slot) {
    using T = std::decay_t<decltype(slot)>;
    return nanosecondsPer(kReads, [&slot] {
      for (std::size_t i = 0; i < kReads; ++i) keep(readProperty<Value, T>(slot).template get<T>());
    });
  };
  return {{"number", read(number)}, {"text of 6", read(shortText)}, {"text of 16", read(longText)}};
}

}  // namespace

std::vector<Variant> valueStorage() {
  return {{"general allocator", [] { return storeValues<BoxedValue<MallocStore>>(); }},
          {"free list", [] { return storeValues<BoxedValue<FreeListStore>>(); }},
          {"32 bytes in the value", [] { return storeValues<InlineValue>(); }}};
}

}  // namespace bench::spike
