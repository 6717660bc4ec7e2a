#include <gtest/gtest.h>

#include "LimitModel.h"

namespace bench::limit {
namespace {

TEST(LimitModel, HoldsWhatTheDescriptionSays) {
  const Description description = describe(3'000);
  const std::unique_ptr<Model> model = build(description);
  ASSERT_EQ(model->size(), description.size());
  EXPECT_EQ(model->root(), model->find(description[0].uuid));
  for (const Record& record : description) {
    const Item* item = model->find(record.uuid);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->isFolder, record.isFolder);
    EXPECT_EQ(item->name, record.name);
    EXPECT_EQ(item->documentation.has_value(), record.hasDocumentation);
    EXPECT_EQ(item->documentation.value_or(u""), record.documentation);
    EXPECT_EQ(item->tags, record.tags);
    EXPECT_EQ(item->marks, record.marks);
    EXPECT_EQ(item->modified, record.modified);
    EXPECT_EQ(item->related.size(), record.related.size());
    EXPECT_EQ(item->base == nullptr, record.base == kNoRecord);
    if (record.parent != kNoRecord) {
      EXPECT_EQ(item->parent, model->find(description[record.parent].uuid));
    }
  }
}

TEST(LimitModel, RefusesASecondItemOfOneUuid) {
  Model model;
  const Uuid uuid{1};
  EXPECT_NE(model.make(uuid, false), nullptr);
  EXPECT_EQ(model.make(uuid, true), nullptr);
  EXPECT_EQ(model.size(), 1u);
}

TEST(LimitModel, NamesTheFirstPropertyThatDiffers) {
  const Description description = describe(500);
  const auto differenceAfter = [&description](auto change) {
    const std::unique_ptr<Model> left = build(description);
    const std::unique_ptr<Model> right = build(description);
    change(*right->items()[250]);
    return firstDifference(*left, *right).value_or("no difference");
  };
  const auto endsWith = [](const std::string& text, std::string_view end) { return text.ends_with(end); };
  EXPECT_EQ(differenceAfter([](Item&) {}), "no difference");
  EXPECT_PRED2(endsWith, differenceAfter([](Item& item) { item.name += u"x"; }), ": name");
  EXPECT_PRED2(endsWith, differenceAfter([](Item& item) { item.documentation = u"another"; }), ": documentation");
  EXPECT_PRED2(endsWith, differenceAfter([](Item& item) { item.abstract = !item.abstract; }), ": abstract");
  EXPECT_PRED2(endsWith, differenceAfter([](Item& item) { item.multiplicity += 1; }), ": multiplicity");
  EXPECT_PRED2(endsWith, differenceAfter([](Item& item) { item.revision += 1; }), ": revision");
  EXPECT_PRED2(endsWith, differenceAfter([](Item& item) { item.weight = -item.weight; }), ": weight");
  EXPECT_PRED2(endsWith, differenceAfter([](Item& item) { item.modified += 1; }), ": modified");
  EXPECT_PRED2(endsWith, differenceAfter([](Item& item) { item.tags.emplace_back(); }), ": tags");
  EXPECT_PRED2(endsWith, differenceAfter([](Item& item) { item.marks.push_back(0); }), ": marks");
  EXPECT_PRED2(endsWith, differenceAfter([](Item& item) { item.base = &item; }), ": base");
  EXPECT_PRED2(endsWith, differenceAfter([](Item& item) { item.related.push_back(&item); }), ": related");
  EXPECT_PRED2(endsWith, differenceAfter([](Item& item) {
                 std::swap(item.parent->children.front(), item.parent->children.back());
               }),
               ": uuid");
}

TEST(LimitModel, DestroysMarkedItemsAndWhatRefersToThem) {
  const std::unique_ptr<Model> model = build(describe(2'000));
  std::vector<bool> marked(model->items().size(), false);
  std::size_t count = 0;
  for (std::size_t i = 0; i < marked.size(); i += 3) {
    marked[i] = !model->items()[i]->isFolder;
    count += marked[i] ? 1 : 0;
  }
  const Uuid gone = model->items()[3]->uuid;
  ASSERT_TRUE(marked[3]);

  model->destroy(marked);

  EXPECT_EQ(model->size(), marked.size() - count);
  EXPECT_EQ(model->find(gone), nullptr);
  for (const Item* item : model->items()) {
    if (item == nullptr) continue;
    EXPECT_TRUE(item->base == nullptr || model->items()[item->base->number] == item->base);
    for (const Item* target : item->related) EXPECT_EQ(model->items()[target->number], target);
    if (!item->isFolder) continue;
    for (const Item* child : static_cast<const Folder*>(item)->children) {
      EXPECT_EQ(model->items()[child->number], child);
    }
  }
}

TEST(LimitModel, DestroysTheChildrenOfAFolder) {
  Model model;
  auto* root = static_cast<Folder*>(model.make(Uuid{1}, true));
  for (std::uint8_t i = 2; i < 100; ++i) root->children.push_back(model.make(Uuid{i}, false));
  model.destroyChildren(*root);
  EXPECT_EQ(model.size(), 1u);
  EXPECT_TRUE(root->children.empty());
  EXPECT_EQ(model.find(Uuid{50}), nullptr);
}

}  // namespace
}  // namespace bench::limit
