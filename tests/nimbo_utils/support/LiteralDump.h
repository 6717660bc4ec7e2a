#pragma once

#include <string>

namespace testsupport {

/// The JSON text of a container in the plainest way there is: by recursion on the stack, one nlohmann::json for each
/// value, and that library's own writer. The yardstick for BinParser::parseToJSON. A failed check throws
/// std::runtime_error with the text of the library's exception, with "#" for its line. For content that nests some
/// thousand levels at most.
[[nodiscard]] std::string dumpLiterally(const std::string& container);

}  // namespace testsupport
