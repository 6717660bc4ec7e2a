#pragma once

#include <string>
#include <vector>

#include <tarn/export.h>
#include <tarn/kern/io/Serializer.h>

namespace tarn::kern::io {

/// Writes the JSON form of a model (docs/formats/json.md): one object, without blanks and line breaks.
///
/// Nothing is lost: integers are exact, a Real is the shortest decimal number that reads back as the same one, what
/// JSON has no number for is written as text, maps keep their order, and text that is no well-formed Unicode is
/// escaped.
class TARN_EXPORT JSONSerializer : public Serializer {
 public:
  JSONSerializer();
  ~JSONSerializer() override;

 private:
  void write(const std::vector<ModelElement>& elements, std::string& text) override;
};

}  // namespace tarn::kern::io
