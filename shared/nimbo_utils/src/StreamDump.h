#pragma once

#include <string>
#include <vector>

#include "StreamWalker.h"
#include "quillon/nimbo/StreamIArchive.h"

namespace quillon::nimbo {

/// What dumpStream throws for a stream that cannot be read on. BinParser turns it into the exception of the check that
/// failed, which names a line of its own source.
struct DumpFailure {
  StreamFault::Kind kind;
  SerializationTag tag;
  std::uint64_t count;
};

/// The roots of a binary stream, from behind its package URIs to its end tag, as the JSON document that
/// BinParser::parseToJSON gives. `packageUris` are those that the document is to name. Names that are in the stream are
/// never looked up, but for the types of custom values.
/// @throws DumpFailure, and what the JSON library says to a text that is no UTF-8.
[[nodiscard]] std::string dumpStream(StreamIArchive& archive, const std::vector<std::u16string>& packageUris);

}  // namespace quillon::nimbo
