#pragma once

#include <string>
#include <utility>
#include <vector>

#include <bedrock/i18n.h>
#include <tarn/export.h>

namespace resource_core {

/// Names one message of a catalogue and carries the arguments for its text, so that a program can tell failures apart
/// without parsing texts. A value. Each message has a class of its own that derives from this one and adds only a
/// constructor; slicing such an object to its base therefore loses nothing.
class TARN_EXPORT BaseMsgID {
 public:
  BaseMsgID(std::string catalogue, std::string identifier, std::vector<bedrock::i18n::ustring> arguments)
      : fCatalogue(std::move(catalogue)), fIdentifier(std::move(identifier)), fArguments(std::move(arguments)) {}

  /// UTF-8 name of the catalogue, such as "nimbo:messages".
  [[nodiscard]] const std::string& catalogue() const noexcept { return fCatalogue; }
  /// UTF-8 name of the message within its catalogue.
  [[nodiscard]] const std::string& identifier() const noexcept { return fIdentifier; }
  /// What the places {0}, {1} ... of the catalogue's text stand for.
  [[nodiscard]] const std::vector<bedrock::i18n::ustring>& arguments() const noexcept { return fArguments; }

 private:
  std::string fCatalogue;
  std::string fIdentifier;
  std::vector<bedrock::i18n::ustring> fArguments;
};

/// The readable text of a message: its identifier, ": ", and the catalogue's sentence with the arguments filled in. A
/// message that no catalogue of this library knows gives its identifier and its arguments in brackets, such as
/// `DiskFull("/data", "12")`: never an empty text, never an exception for a missing entry.
[[nodiscard]] TARN_EXPORT bedrock::i18n::ustring messageText(const BaseMsgID& message);

}  // namespace resource_core
