#pragma once

#include <string>
#include <vector>

#include <tarn/kern/Model.h>

/// The JSON text inside the containers "J", "C" and "c", and behind the reading of older content: the one place where
/// the binary family meets the framework's text formats. Writer and reader both come here and nowhere else.
namespace quillon::nimbo {

/// The elements and what they contain, values equal to their default left out, as JSON text in UTF-8. Throws what the
/// framework's serializer throws.
[[nodiscard]] std::string serializeJson(const std::vector<tarn::kern::ModelElement>& elements);

/// Reads such a text into the model; `evolveIfNeeded` lets content of an older package version be adapted. Throws what
/// the framework's parser throws; the model is then as it was.
void parseJson(const std::string& text, const tarn::kern::Model& model, bool evolveIfNeeded);

}  // namespace quillon::nimbo
