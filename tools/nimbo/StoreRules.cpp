#include "StoreRules.h"

#include <strata_datasource/StoreCheck.h>

namespace nimbo_tool {

void checkStore(const std::string& path, Violations& violations) {
  for (const std::string& fault : strata_datasource::checkStore(path)) {
    violations.add({"store.damaged", {}, "", fault});
  }
}

}  // namespace nimbo_tool
