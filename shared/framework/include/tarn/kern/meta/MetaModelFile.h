#pragma once

#include <compare>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <bedrock/i18n.h>
#include <tarn/export.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/io/ParseError.h>
#include <tarn/kern/meta/Package.h>

/// Meta-models as JSON text: all that PackageBuilder and Evolution can say, read and written. The form is described in
/// docs/formats/metamodel.md; it reads like the calls of the builders:
///
///     { "metamodel": "1.0",
///       "packages": [
///         { "name": "library", "family": "library", "version": "2.0",
///           "types": [
///             { "enum": "Genre", "literals": [ { "name": "novel", "number": 0 } ] },
///             { "class": "Book",
///               "properties": [ { "attribute": "genre", "type": "Genre", "lower": 1, "default": "novel" } ] } ] } ],
///       "evolution": [
///         { "family": "library", "from": "1.0", "to": "2.0",
///           "steps": [ { "step": "renameClass", "from": "Volume", "to": "Book" } ] } ] }
namespace tarn::kern::meta {

using bedrock::i18n::ustring;

/// What a value of a custom primitive type of a file holds: its text. Two are equal when their texts are.
struct TARN_EXPORT CustomText {
  ustring text;

  friend bool operator==(const CustomText&, const CustomText&) = default;
  friend std::strong_ordering operator<=>(const CustomText& a, const CustomText& b) noexcept {
    return a.text.compare(b.text) <=> 0;
  }
  [[nodiscard]] std::size_t hash() const noexcept { return std::hash<ustring>()(text); }
};

/// A meta-model file that is refused: it is no JSON, has another shape, or defines what contradicts itself or what is
/// registered. The text lists the faults, each with file, line, column and path. Nothing of the file was registered.
class TARN_EXPORT MetaModelFileError : public KernelError {
 public:
  explicit MetaModelFileError(std::vector<io::ParseError> faults);
  MetaModelFileError(const MetaModelFileError&) = default;
  MetaModelFileError& operator=(const MetaModelFileError&) = default;
  ~MetaModelFileError() override;

  /// In the order of the file. Of more than a hundred faults only the first hundred are kept.
  [[nodiscard]] const std::vector<io::ParseError>& faults() const noexcept { return fFaults; }

 private:
  std::vector<io::ParseError> fFaults;
};

/// Registers the packages and evolutions that a text defines, all or none. A custom primitive type holds CustomText.
/// @param json UTF-8
/// @param sourceName what messages call the text
/// @return the top-level packages, in the order of the file. @throws MetaModelFileError
TARN_EXPORT std::vector<Package> readMetaModel(std::string_view json, const std::string& sourceName = "JSON text");

/// The same with the content of a file. @throws std::filesystem::filesystem_error when it cannot be read.
TARN_EXPORT std::vector<Package> readMetaModelFile(const ustring& path);

/// The text that defines these top-level packages, those inside them, and the evolutions of families whose current
/// version is among them. The same meta-model gives the same text, byte for byte, and reading it gives the same
/// meta-model: all of it but the C++ types of custom primitive types.
/// @throws KernelError for what no text can say: a default of a data type or without a literal, a step with a function
/// that has no name; and for a null handle, or a package inside another one.
[[nodiscard]] TARN_EXPORT std::string writeMetaModel(const std::vector<Package>& packages);

}  // namespace tarn::kern::meta
