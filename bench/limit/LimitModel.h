#pragma once

// The benchmark model as plain structs: what a careful engineer would write by hand for this one meta-model, with no
// reflection, no transactions and no back references. It is the measure of what the machine allows.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Description.h"
#include "Pool.h"
#include "UuidIndex.h"

namespace bench::limit {

struct Folder;

struct Item {
  Uuid uuid{};
  std::uint32_t number = 0;  ///< position in Model::items
  std::int32_t multiplicity = 1;
  std::int64_t revision = 0;
  double weight = 0;
  Microseconds modified = kNoTime;
  Visibility visibility = Visibility::kPublic;
  bool abstract = false;
  bool isFolder = false;
  Folder* parent = nullptr;
  Item* base = nullptr;
  std::u16string name;
  std::optional<std::u16string> documentation;
  std::vector<std::u16string> tags;
  std::vector<std::int32_t> marks;
  std::vector<Item*> related;
};

struct Folder : Item {
  Folder() { isFolder = true; }
  std::vector<Item*> children;
};

/// Owns the items; the containment among them is only a structure. Threads: one at a time.
class Model {
 public:
  Model() = default;
  ~Model();
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;

  /// A new item or folder, outside any folder. @return null when the uuid is taken.
  Item* make(const Uuid& uuid, bool folder);

  [[nodiscard]] Item* find(const Uuid& uuid) const { return fIndex.find(uuid); }
  [[nodiscard]] Folder* root() const { return fRoot; }
  void setRoot(Folder* root) { fRoot = root; }

  /// In the order of their making; null where an item has been destroyed.
  [[nodiscard]] const std::vector<Item*>& items() const { return fItems; }
  [[nodiscard]] std::size_t size() const { return fIndex.size(); }

  /// Destroys the marked items (one flag per number) in one pass that also takes them out of lists and references.
  /// @pre a marked folder is empty, or all its contents are marked.
  void destroy(const std::vector<bool>& marked);

  /// Destroys the children of a folder from first to last. Nothing may refer to them.
  void destroyChildren(Folder& folder);

 private:
  void release(Item* item);

  Pool<Item> fItemPool;
  Pool<Folder> fFolderPool;
  std::vector<Item*> fItems;
  UuidIndex fIndex;
  Folder* fRoot = nullptr;
};

[[nodiscard]] std::unique_ptr<Model> build(const Description& description);

/// Compares contents, order, containment and references (by uuid). @return the first difference, or nothing.
[[nodiscard]] std::optional<std::string> firstDifference(const Model& left, const Model& right);

}  // namespace bench::limit
