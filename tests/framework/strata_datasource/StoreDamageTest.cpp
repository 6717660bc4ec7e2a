// Stores whose file is whole and whose rows are not: each is told as damaged when what is wrong is touched, and nothing
// that the kernel relies on is broken before.

#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/strata_datasource/StoreTestSupport.h"
#include "framework/tarn/kern/KernelTestModel.h"

using namespace tarn::kern;  // NOLINT: the vocabulary of these tests
using kerneltest::newNode;
using kerneltest::types;
using storetest::sql;
using strata::StoreError;
using testing::HasSubstr;

namespace {

boost::uuids::uuid uuidOf(std::uint8_t last) {
  boost::uuids::uuid uuid{};
  uuid.data[15] = last;
  return uuid;
}

/// The ids of the elements are 1 to 6, in this order: root with the children left and right, which are each other's
/// left and right, and friends; leaf, the only one of right; far, at the top, which the others do not know;
/// an Unrelated.
void fill(const Model& model) {
  std::vector<ModelElement> nodes;
  for (std::uint8_t i = 1; i <= 5; ++i) {
    nodes.push_back(types().node->instantiate(model, uuidOf(i)));
    nodes.back()->set(u"name", ustring(u"node"));
  }
  static_cast<void>(types().unrelated->instantiate(model, uuidOf(6)));
  kerneltest::add(nodes[0], u"children", nodes[1]);
  kerneltest::add(nodes[0], u"children", nodes[2]);
  kerneltest::set(nodes[2], u"only", nodes[3]);
  kerneltest::set(nodes[1], u"left", nodes[2]);
  kerneltest::add(nodes[1], u"friends", nodes[2]);
  kerneltest::add(nodes[1], u"others", nodes[2]);
  kerneltest::set(nodes[0], u"next", nodes[3]);
  kerneltest::add(nodes[0], u"owned", nodes[3]);
}

struct Damage {
  const char* name;
  const char* change;  // of the file, in SQL
  const char* told;
};

void PrintTo(const Damage& damage, std::ostream* os) { *os << damage.name; }

class StoreDamage : public testing::TestWithParam<Damage> {
 protected:
  StoreDamage() {
    const Model model = storetest::newModel();
    fill(model);
    storetest::bindTo(model, fPath);
  }

  /// What reading all of the store ends in.
  [[nodiscard]] std::string told() const {
    const Model model = storetest::open(fPath);
    try {
      static_cast<void>(kerneltest::dump(model));
    } catch (const StoreError& error) {
      EXPECT_EQ(error.kind(), StoreError::Kind::Damaged);
      return error.what();
    }
    EXPECT_EQ(kerneltest::inconsistencies(model), "");
    return {};
  }

  storetest::Folder fFolder;
  std::string fPath = fFolder / "model.db";
};

TEST_P(StoreDamage, IsToldWhenItIsTouched) {
  ASSERT_EQ(told(), "") << "the store is good before";
  sql(fPath, "PRAGMA foreign_keys=OFF; " + std::string(GetParam().change));
  EXPECT_THAT(told(), HasSubstr(GetParam().told));
  // Again, from another end: elements that are destroyed leave nobody behind who knows them.
  for (std::uint8_t i = 1; i <= 6; ++i) {
    const Model model = storetest::open(fPath);
    try {
      if (const ModelElement element = model->findElement(uuidOf(i), FindElementBehavior::Anywhere)) element->destroy();
      static_cast<void>(kerneltest::dump(model));
    } catch (const StoreError& error) {
      EXPECT_EQ(error.kind(), StoreError::Kind::Damaged) << error.what();
    }
  }
}

const char* const kChildrenRole = "(SELECT id FROM property WHERE name = 'children')";

std::string withRole(const std::string& change) {
  std::string text = change;
  const std::string mark = "CHILDREN";
  for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark)) {
    text.replace(at, mark.size(), kChildrenRole);
  }
  return text;
}

const std::string kUnrelatedChild = withRole("UPDATE element SET container = 1, role = CHILDREN WHERE id = 6");
const std::string kCircle = withRole("UPDATE element SET container = 4, role = CHILDREN WHERE id = 1");
const std::string kCircleOfOne = withRole("UPDATE element SET container = 5, role = CHILDREN WHERE id = 5");

INSTANTIATE_TEST_SUITE_P(
    All, StoreDamage,
    testing::Values(
        Damage{"AReferenceToAnotherClass", "UPDATE Node SET next = 6 WHERE id = 1",
               "an element of the class kerneltest.Unrelated stands in the property next, which is for "
               "kerneltest.Node; restore a backup"},
        Damage{"AMemberOfAnotherClass", "UPDATE Node_others SET value = 6",
               "an element of the class kerneltest.Unrelated stands in the property others, which is for "
               "kerneltest.Node; restore a backup"},
        Damage{"AContentOfAnotherClass", kUnrelatedChild.c_str(),
               "an element of the class kerneltest.Unrelated stands in the property children, which is for "
               "kerneltest.Node; restore a backup"},
        Damage{"AMemberTwice", "INSERT INTO Node_others SELECT owner, position + 1, value FROM Node_others",
               "the table Node_others holds a member twice; restore a backup"},
        Damage{"ASingleEndThatIsNotHeldBack", "UPDATE Node SET right_ = NULL",
               "the element of the id 2 has that of the id 3 in left, which does not hold the other way; restore a "
               "backup"},
        Damage{"ASingleEndOfSomebodyElse", "UPDATE Node SET left_ = 5 WHERE id = 2",
               "the element of the id 2 has that of the id 5 in left, which does not hold the other way; restore a "
               "backup"},
        Damage{"AMemberThatDoesNotKnowIt", "DELETE FROM Node_friendOf",
               "the element of the id 2 has that of the id 3 in friends, which does not hold the other way; restore a "
               "backup"},
        Damage{"AMemberThatIsNotListed", "DELETE FROM Node_owned",
               "the element of the id 4 has that of the id 1 in owner, which does not hold the other way; restore a "
               "backup"},
        Damage{"ACircleOfContainers", kCircle.c_str(), "contains itself; restore a backup"},
        Damage{"AnElementInItself", kCircleOfOne.c_str(), "the element of the id 5 contains itself; restore a backup"},
        Damage{"AnEmptyPlaceInASingleProperty",
               "INSERT INTO empty_place SELECT container, role, 1 FROM element WHERE id = 4",
               "an empty place is in a property that holds one element; restore a backup"},
        Damage{"ARoleWithoutAContainer", "UPDATE element SET container = NULL WHERE id = 4",
               "the element of the id 4 has a container or a role, and not both; restore a backup"}),
    [](const testing::TestParamInfo<Damage>& damage) { return std::string(damage.param.name); });

/// A chain of containers that are all younger than what they contain.
TEST(StoreOfElementsOlderThanTheirContainers, IsReadInATimeThatGrowsWithIt) {
  const storetest::Folder folder;
  const std::string path = folder / "model.db";
  constexpr std::size_t kDepth = 20'000;
  {
    const Model model = storetest::newModel();
    ModelElement inner = newNode(model);
    for (std::size_t i = 1; i < kDepth; ++i) {
      const ModelElement outer = newNode(model);
      kerneltest::set(outer, u"only", inner);
      inner = outer;
    }
    storetest::bindTo(model, path);
  }
  const Model model = storetest::open(path);
  std::size_t depth = 0;
  for (ModelElement at = model->getTopLevelElements().front(); at; at = at->get<ModelElement>(u"only")) ++depth;
  EXPECT_EQ(depth, kDepth);
  model->destroy();
}

/// Ends of opposites that are loaded at different times.
TEST(StoreWithOppositesFarApart, IsCheckedWhenTheOtherEndIsLoaded) {
  const storetest::Folder folder;
  const std::string path = folder / "model.db";
  constexpr int kFar = 1000;  // more than is loaded at once
  {
    const Model model = storetest::newModel();
    const ModelElement first = types().node->instantiate(model, uuidOf(1));
    for (int i = 0; i < kFar; ++i) static_cast<void>(newNode(model));
    const ModelElement last = types().node->instantiate(model, uuidOf(2));
    kerneltest::add(first, u"friends", last);
    storetest::bindTo(model, path);
  }
  const auto readBoth = [&](std::uint8_t one, std::uint8_t other) {
    const Model model = storetest::open(path);
    for (const std::uint8_t which : {one, other}) {
      const ModelElement element = model->findElement(uuidOf(which), FindElementBehavior::Anywhere);
      static_cast<void>(kerneltest::names(element, which == 1 ? u"friends" : u"friendOf"));
    }
  };
  EXPECT_NO_THROW(readBoth(1, 2));
  EXPECT_NO_THROW(readBoth(2, 1));
  sql(path, "DELETE FROM Node_friendOf");
  EXPECT_THROW(readBoth(1, 2), StoreError);
  EXPECT_THROW(readBoth(2, 1), StoreError);
}

}  // namespace
