#pragma once

#include <cstddef>
#include <deque>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include <tarn/kern/io/ParseError.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "../io/JsonDocument.h"
#include "Steps.h"

namespace tarn::kern::meta::internal {

/// The faults of a file, so far. As many as a person will read: working out the place of one takes a look at the whole
/// text.
class FileFaults {
 public:
  void add(const io::JsonNode& node, const std::string& problem);
  void add(const io::ParseError& error);
  [[nodiscard]] bool empty() const noexcept { return fFaults.empty(); }
  /// @throws MetaModelFileError when there are any.
  void throwIfAny();

 private:
  static constexpr std::size_t kMost = 100;
  std::vector<io::ParseError> fFaults;
};

/// The members of an object, under the keys that it may have. Unknown and repeated keys are faults.
class FileFields {
 public:
  FileFields(FileFaults& faults, const io::JsonNode& object, const std::vector<std::string_view>& keys);

  /// A null node when the key is not there.
  [[nodiscard]] io::JsonNode find(std::string_view key) const;
  /// The text of that key; an empty one, and a fault, when there is none.
  [[nodiscard]] ustring text(std::string_view key);
  [[nodiscard]] std::optional<ustring> optionalText(std::string_view key);
  [[nodiscard]] bool flag(std::string_view key);
  [[nodiscard]] std::optional<bool> optionalFlag(std::string_view key);
  /// The entries of the array of that key; none when it is not there.
  [[nodiscard]] std::vector<io::JsonNode> entries(std::string_view key);
  [[nodiscard]] const io::JsonNode& object() const noexcept { return fObject; }

 private:
  FileFaults& fFaults;
  io::JsonNode fObject;
  std::vector<std::pair<std::string_view, io::JsonNode>> fMembers;
};

/// Turns a document into builders and definitions, and those into registered packages.
class MetaModelReader {
 public:
  explicit MetaModelReader(const io::JsonDocument& document) : fDocument(document) {}
  ~MetaModelReader();

  std::vector<Package> read();

 private:
  void readDocument();
  void readPackages(FileFields& owner, PackageBuilder* outer);
  void readPackage(const io::JsonNode& node, PackageBuilder* outer);
  void identify(FileFields& fields, PackageBuilder& package);
  void readType(const io::JsonNode& node, PackageBuilder& package);
  void readClass(const io::JsonNode& node, PackageBuilder& package);
  void readDataType(const io::JsonNode& node, PackageBuilder& package);
  void readEnum(const io::JsonNode& node, PackageBuilder& package);
  void readPrimitive(const io::JsonNode& node, PackageBuilder& package);
  template <class Owner>
  void readProperties(FileFields& fields, Owner& owner);
  void refineProperty(FileFields& fields, PropertyBuilder& property, const ustring& type);
  void readBounds(FileFields& fields, PropertyBuilder& property);
  void readDefault(const io::JsonNode& node, PropertyBuilder& property, const ustring& type);
  template <class Builder>
  void readAnnotations(FileFields& fields, Builder& builder);

  void readStage(const io::JsonNode& node);
  [[nodiscard]] std::optional<evolution::internal::Step> readStep(const io::JsonNode& node);
  [[nodiscard]] std::optional<io::RawValue> plainContent(const io::JsonNode& node);

  std::vector<Package> registerAll();
  void checkEvolutions(const std::vector<Package>& packages);

  const io::JsonDocument& fDocument;
  FileFaults fFaults;
  std::vector<std::unique_ptr<PackageBuilder>> fPackages;
  std::vector<io::JsonNode> fPlaces;  // of the parts that the registration counts
  struct StageNodes {
    io::JsonNode stage;
    std::vector<io::JsonNode> steps;
  };
  std::vector<evolution::internal::Definition> fEvolutions;
  std::vector<std::vector<StageNodes>> fEvolutionNodes;  // of each of them
};

}  // namespace tarn::kern::meta::internal
