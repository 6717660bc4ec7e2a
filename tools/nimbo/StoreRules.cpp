#include "StoreRules.h"

#include <strata/SQLiteUri.h>
#include <strata/StoreError.h>
#include <strata_datasource/StoreCheck.h>

#include "ToolError.h"

namespace nimbo_tool {

void checkStore(const std::string& path, Violations& violations) {
  try {
    for (const std::string& fault : strata_datasource::checkStore(strata::Uri::createSQLite().setLocation(path))) {
      violations.add({"store.damaged", {}, "", fault});
    }
  } catch (const strata::StoreError& error) {
    using Kind = strata::StoreError::Kind;
    if (error.kind() != Kind::Foreign && error.kind() != Kind::Damaged) throw ToolError(error.what());
    violations.add({"store.unreadable", {}, "", error.what()});
  }
}

}  // namespace nimbo_tool
