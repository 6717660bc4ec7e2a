#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace nimbo_tool {

/// The forms a file can have, as they are recognised by content.
enum class Form {
  Empty,      ///< no bytes at all
  Container,  ///< one of the six containers; which one, the letter tells
  Json,       ///< the JSON form of a model
  MetaJson,   ///< a meta-model in our JSON form
  Xml,        ///< a model as XMI
  Ecore,      ///< a meta-model as Ecore
  Store,      ///< SQLite
  Unknown,
};

struct RecognisedForm {
  Form form = Form::Unknown;
  char letter = 0;             ///< of a container
  std::size_t headerSize = 0;  ///< bytes of a wrapper file's header in front of it
};

/// The header in front of the container in files that this tool was told to write with one.
inline constexpr std::string_view kDefaultMagic = "nimbo model\n";

/// Looks at the first bytes of a file; a few kilobytes are enough. `magics`: headers that may stand in front of a
/// container.
[[nodiscard]] RecognisedForm recognise(std::string_view beginning, const std::vector<std::string>& magics);

/// "a zstd container (z)", for messages and listings.
[[nodiscard]] std::string formName(const RecognisedForm& form);
/// The words of `--to`: B, Z, z, J, C, c, json, xml, store, ecore.
[[nodiscard]] std::string formWord(const RecognisedForm& form);

}  // namespace nimbo_tool
