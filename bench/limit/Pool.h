#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <vector>

namespace bench::limit {

/// Places for objects of one type, side by side in slabs; addresses are stable and places that became free are used
/// again. The pool owns the memory only: who makes an object destroys it before the pool dies.
template <class T>
class Pool {
 public:
  T* make() {
    if (fFree.empty()) return new (nextPlace()) T;
    void* place = fFree.back();
    fFree.pop_back();
    return new (place) T;
  }

  void destroy(T* object) {
    object->~T();
    fFree.push_back(object);
  }

 private:
  static constexpr std::size_t kPerSlab = 512;
  struct Place {
    alignas(T) std::byte bytes[sizeof(T)];
  };

  void* nextPlace() {
    if (fUsed == kPerSlab) {
      fSlabs.emplace_back(new Place[kPerSlab]);  // not make_unique: that would fill the slab with zeros
      fUsed = 0;
    }
    return &fSlabs.back()[fUsed++];
  }

  std::vector<std::unique_ptr<Place[]>> fSlabs;
  std::size_t fUsed = kPerSlab;
  std::vector<void*> fFree;
};

}  // namespace bench::limit
