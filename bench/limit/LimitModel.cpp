#include "LimitModel.h"

#include <algorithm>
#include <bit>
#include <cassert>

namespace bench::limit {

Model::~Model() {
  for (Item* item : fItems) {
    if (item == nullptr) continue;
    if (item->isFolder) {
      static_cast<Folder*>(item)->~Folder();
    } else {
      item->~Item();
    }
  }
}

Item* Model::make(const Uuid& uuid, bool folder) {
  Item* item = folder ? fFolderPool.make() : fItemPool.make();
  item->uuid = uuid;
  item->number = static_cast<std::uint32_t>(fItems.size());
  fItems.push_back(item);
  if (fIndex.insert(*item)) return item;
  fItems.pop_back();
  if (folder) {
    fFolderPool.destroy(static_cast<Folder*>(item));
  } else {
    fItemPool.destroy(item);
  }
  return nullptr;
}

void Model::release(Item* item) {
  fIndex.erase(*item);
  fItems[item->number] = nullptr;
  if (item->isFolder) {
    fFolderPool.destroy(static_cast<Folder*>(item));
  } else {
    fItemPool.destroy(item);
  }
}

void Model::destroy(const std::vector<bool>& marked) {
  const auto isMarked = [&marked](const Item* item) { return marked[item->number]; };
  for (Item* item : fItems) {
    if (item == nullptr || isMarked(item)) continue;
    if (item->base != nullptr && isMarked(item->base)) item->base = nullptr;
    std::erase_if(item->related, isMarked);
    if (item->isFolder) std::erase_if(static_cast<Folder*>(item)->children, isMarked);
  }
  if (fRoot != nullptr && isMarked(fRoot)) fRoot = nullptr;
  for (std::size_t number = 0; number < marked.size(); ++number) {
    if (marked[number] && fItems[number] != nullptr) release(fItems[number]);
  }
}

void Model::destroyChildren(Folder& folder) {
  for (Item* child : folder.children) {
    assert(!child->isFolder || static_cast<Folder*>(child)->children.empty());
    release(child);
  }
  folder.children = {};
}

namespace {

void setValues(Item& item, const Record& record) {
  item.name = record.name;
  if (record.hasDocumentation) item.documentation = record.documentation;
  item.abstract = record.abstract;
  item.multiplicity = record.multiplicity;
  item.revision = record.revision;
  item.weight = record.weight;
  item.visibility = record.visibility;
  item.modified = record.modified;
  item.tags = record.tags;
  item.marks = record.marks;
}

/// Numbers are the indices of the records, so a reference is looked up by its index.
void setReferences(Item& item, const Record& record, const std::vector<Item*>& items) {
  if (record.base != kNoRecord) item.base = items[record.base];
  item.related.reserve(record.related.size());
  for (const RecordIndex target : record.related) item.related.push_back(items[target]);
}

}  // namespace

std::unique_ptr<Model> build(const Description& description) {
  auto model = std::make_unique<Model>();
  for (const Record& record : description) {
    Item* item = model->make(record.uuid, record.isFolder);
    assert(item != nullptr);
    setValues(*item, record);
    if (record.parent == kNoRecord) {
      model->setRoot(static_cast<Folder*>(item));
    } else {
      item->parent = static_cast<Folder*>(model->items()[record.parent]);
      item->parent->children.push_back(item);
    }
  }
  for (std::size_t i = 0; i < description.size(); ++i) {
    setReferences(*model->items()[i], description[i], model->items());
  }
  return model;
}

namespace {

std::string text(const Uuid& uuid) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string result;
  for (const std::uint8_t byte : uuid) {
    result += kDigits[byte >> 4];
    result += kDigits[byte & 15];
  }
  return result;
}

bool sameTarget(const Item* left, const Item* right) {
  if (left == nullptr || right == nullptr) return left == right;
  return left->uuid == right->uuid;
}

bool sameTargets(const std::vector<Item*>& left, const std::vector<Item*>& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), sameTarget);
}

/// @return the name of the first property that differs, or null. The children are left to the caller.
const char* differingProperty(const Item& left, const Item& right) {
  if (left.uuid != right.uuid) return "uuid";
  if (left.isFolder != right.isFolder) return "class";
  if (!sameTarget(left.parent, right.parent)) return "parent";
  if (left.name != right.name) return "name";
  if (left.documentation != right.documentation) return "documentation";
  if (left.abstract != right.abstract) return "abstract";
  if (left.multiplicity != right.multiplicity) return "multiplicity";
  if (left.revision != right.revision) return "revision";
  if (std::bit_cast<std::uint64_t>(left.weight) != std::bit_cast<std::uint64_t>(right.weight)) return "weight";
  if (left.visibility != right.visibility) return "visibility";
  if (left.modified != right.modified) return "modified";
  if (left.tags != right.tags) return "tags";
  if (left.marks != right.marks) return "marks";
  if (!sameTarget(left.base, right.base)) return "base";
  if (!sameTargets(left.related, right.related)) return "related";
  return nullptr;
}

/// Recursion follows the containment, which is a few levels deep in this model.
std::optional<std::string> firstDifference(const Item& left, const Item& right) {
  if (const char* property = differingProperty(left, right)) return text(left.uuid) + ": " + property;
  if (!left.isFolder) return std::nullopt;
  const std::vector<Item*>& leftChildren = static_cast<const Folder&>(left).children;
  const std::vector<Item*>& rightChildren = static_cast<const Folder&>(right).children;
  if (leftChildren.size() != rightChildren.size()) return text(left.uuid) + ": number of children";
  for (std::size_t i = 0; i < leftChildren.size(); ++i) {
    if (auto difference = firstDifference(*leftChildren[i], *rightChildren[i])) return difference;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> firstDifference(const Model& left, const Model& right) {
  if (left.size() != right.size()) return "number of elements";
  if (left.root() == nullptr || right.root() == nullptr) {
    if (left.root() == right.root()) return std::nullopt;
    return "only one has a root";
  }
  return firstDifference(*left.root(), *right.root());
}

}  // namespace bench::limit
