#pragma once

#include <string>
#include <vector>

#include <tarn/kern/Model.h>

#include "quillon/nimbo/StreamIArchive.h"

/// The JSON text inside the containers "J", "C" and "c", and behind the reading of older content: the one place where
/// the binary family meets the framework's text formats. Writer and reader both come here and nowhere else.
///
/// This version of the library has no JSON text. All functions throw a BinSerializationException that says so and names
/// what can be used instead; whatever the caller did before stays done, the letter on the stream included.
namespace quillon::nimbo {

/// The elements and what they contain, values equal to their default left out, as JSON text in UTF-8.
[[nodiscard]] std::string serializeJson(const std::vector<tarn::kern::ModelElement>& elements);

/// Reads such a text into the model; `evolveIfNeeded` lets content of an older package version be adapted.
void parseJson(const std::string& text, const tarn::kern::Model& model, bool evolveIfNeeded);

/// Reads the roots of a binary stream of which `packageUris`, its known ones, are not all current: by way of JSON text,
/// whose reader knows how content evolves.
void parseOlderStream(StreamIArchive& archive, const std::vector<std::u16string>& packageUris,
                      const tarn::kern::Model& model, bool evolveIfNeeded);

}  // namespace quillon::nimbo
