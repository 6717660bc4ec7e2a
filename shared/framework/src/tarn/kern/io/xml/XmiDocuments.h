#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <bedrock/i18n.h>

namespace tarn::kern::io::xml {

using bedrock::i18n::ustring;

/// Finds the documents that a document refers to: files, and the meta-models of registered packages. Nothing is ever
/// fetched over a network.
class XmiDocuments {
 public:
  /// A document that was found, not yet read. Equal names are the same document.
  struct Place {
    std::string name;  ///< canonical: an absolute path, or a package's URI
    bool isPackage = false;
  };

  void mapUri(const ustring& uri, const ustring& path);

  /// `uri` as it stands in the document that lies at `base` (a path; may be empty). None when it cannot be told where
  /// the document lies, or nothing lies there.
  [[nodiscard]] std::optional<Place> find(const std::string& base, std::string_view uri) const;
  /// @throws std::runtime_error when the file cannot be read.
  [[nodiscard]] std::string read(const Place& place) const;

  /// An absolute path without "." and "..", for comparison.
  [[nodiscard]] static std::string canonicalPath(const std::string& path);
  /// How `path` is named from where `base` lies; for names that do not depend on where both lie.
  [[nodiscard]] static std::string relativeTo(const std::string& base, const std::string& path);

 private:
  [[nodiscard]] std::optional<std::string> mapped(std::string_view uri) const;

  std::map<std::string, std::string> fMapped;
};

/// The bytes of a file. @throws std::runtime_error naming it.
[[nodiscard]] std::string readFile(const std::string& path);

/// Turns %XX back into the bytes that they stand for.
[[nodiscard]] std::string percentDecoded(std::string_view text);

}  // namespace tarn::kern::io::xml
