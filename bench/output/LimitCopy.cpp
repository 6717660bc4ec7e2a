#include "LimitCopy.h"

#include <vector>

namespace bench::limit {
namespace {

void copyValues(const Item& from, Item& to) {
  to.multiplicity = from.multiplicity;
  to.revision = from.revision;
  to.weight = from.weight;
  to.modified = from.modified;
  to.visibility = from.visibility;
  to.abstract = from.abstract;
  to.name = from.name;
  to.documentation = from.documentation;
  to.tags = from.tags;
  to.marks = from.marks;
}

/// What an item refers to, by the copies' numbers: they are those of the originals.
void copyReferences(const Item& from, Item& to, const std::vector<Item*>& copies) {
  const auto copyOfItem = [&copies](const Item* item) { return item == nullptr ? nullptr : copies[item->number]; };
  to.parent = static_cast<Folder*>(copyOfItem(from.parent));
  to.base = copyOfItem(from.base);
  to.related.reserve(from.related.size());
  for (const Item* target : from.related) to.related.push_back(copyOfItem(target));
  if (!from.isFolder) return;
  const auto& children = static_cast<const Folder&>(from).children;
  auto& copied = static_cast<Folder&>(to).children;
  copied.reserve(children.size());
  for (const Item* child : children) copied.push_back(copyOfItem(child));
}

}  // namespace

std::unique_ptr<Model> copyOf(const Model& model) {
  auto copy = std::make_unique<Model>();
  for (const Item* item : model.items()) copyValues(*item, *copy->make(item->uuid, item->isFolder));
  const std::vector<Item*>& copies = copy->items();
  for (std::size_t i = 0; i < copies.size(); ++i) copyReferences(*model.items()[i], *copies[i], copies);
  copy->setRoot(static_cast<Folder*>(copies[model.root()->number]));
  return copy;
}

}  // namespace bench::limit
