#pragma once

#include <string>

#include <nlohmann/json_fwd.hpp>

namespace quillon::nimbo {

/// The text that `document.dump(-1, ' ', false, strict)` gives, byte for byte, and the same exceptions. It differs in
/// two things: a document may have any depth, where the library's writer ends with the stack; and the document is
/// taken apart as it is written, so that text and document are not both in memory as a whole. Afterwards, also after an
/// exception, it holds no more than some value.
[[nodiscard]] std::string jsonText(nlohmann::json&& document);

}  // namespace quillon::nimbo
