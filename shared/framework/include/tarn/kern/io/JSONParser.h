#pragma once

#include <string>

#include <tarn/export.h>
#include <tarn/kern/io/Parser.h>

namespace tarn::kern::io {

/// Reads the JSON form of a model (docs/formats/json.md): what JSONSerializer writes, and what a binary stream is
/// dumped to.
///
/// Keys may come in any order; unknown and repeated ones are refused. The text is read strictly: valid UTF-8, no
/// byte-order mark, nothing behind the document. Nesting may have any depth.
class TARN_EXPORT JSONParser : public Parser {
 public:
  JSONParser();
  ~JSONParser() override;

  void parseString(const std::string& text) override;
};

}  // namespace tarn::kern::io
