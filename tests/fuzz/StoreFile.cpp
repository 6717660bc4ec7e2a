// The bytes of a store's file, bound to a model. What SQLite or the store refuses is an error; nothing else happens.

#include <tarn/kern/Errors.h>

#include "FuzzTarget.h"
#include "StoreTrial.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;  // a file of no bytes becomes a new store
  fuzz::store::tryStore(std::string(fuzz::viewOf(data, size)), size % 16 == 0);
  return 0;
}

std::vector<std::string> fuzz::seeds() {
  std::vector<std::string> all;
  for (unsigned variant = 0; variant < store::kVariants; ++variant) {
    all.push_back(store::goodStore(variant));
    store::tryStore(all.back(), false);
    require(store::wasReadToTheEnd(), "a good store is read");
  }
  return all;
}
