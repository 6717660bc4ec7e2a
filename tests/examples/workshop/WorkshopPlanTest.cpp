#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <quillon/nimbo/SafeFile.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/Testing.h>

#include "WorkshopPlan.h"
#include "support/TemporaryFolder.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testsupport::contentOf;
using testsupport::TemporaryFolder;
using testsupport::writeFile;
using workshop::WorkshopPlan;

std::string listOf(const WorkshopPlan& plan) {
  std::ostringstream out;
  plan.list(out);
  return out.str();
}

void enterTable(WorkshopPlan& plan) {
  plan.rename(u"Holzwerkstatt Möhre");
  plan.addTool(u"P1", u"Jack plane");
  plan.addJob(u"Oak table", 6.5, {u"P1", u"S2"});
  plan.addStep(u"Oak table", u"Plane the top");
}

constexpr const char* kTable =
    "Holzwerkstatt Möhre\n"
    "  P1: Jack plane\n"
    "  S2: known by its code only\n"
    "  [ ] Oak table, 6.5 h: P1, S2?\n"
    "      [ ] Plane the top\n";

constexpr const char* kCompleteTable =
    "Holzwerkstatt Möhre\n"
    "  P1: Jack plane\n"
    "  S2: Rip saw\n"
    "  [ ] Oak table, 6.5 h: P1, S2\n"
    "      [ ] Plane the top\n";

TEST(WorkshopPlan, BeginsEmpty) {
  const WorkshopPlan plan;
  EXPECT_EQ(listOf(plan), "\n");
  EXPECT_FALSE(plan.isInStore());
}

TEST(WorkshopPlan, IsEditedSavedAndReopenedInEveryForm) {
  for (const char16_t* name : {u"tisch.plan", u"tisch.json", u"tisch.xml"}) {
    const TemporaryFolder folder;
    WorkshopPlan plan;
    enterTable(plan);
    plan.save(folder.file(name));
    WorkshopPlan reopened;
    reopened.open(folder.file(name));
    EXPECT_EQ(listOf(reopened), kTable);
    reopened.finishJob(u"Oak table");
    reopened.save(folder.file(name));
    WorkshopPlan again;
    again.open(folder.file(name));
    EXPECT_THAT(listOf(again), HasSubstr("[x] Oak table"));
    EXPECT_THAT(listOf(again), HasSubstr("[x] Plane the top"));
    EXPECT_TRUE(tarn::kern::modelsEqual(reopened.getModel(), again.getModel()));
  }
}

TEST(WorkshopPlan, IsCopiedFromFileToFileWithoutParsing) {
  const TemporaryFolder folder;
  WorkshopPlan plan;
  enterTable(plan);
  plan.save(folder.file(u"a.plan"));
  WorkshopPlan copy;
  copy.open(folder.file(u"a.plan"));
  copy.save(folder.file(u"b.plan"));
  EXPECT_FALSE(copy.modelExists());
  EXPECT_EQ(contentOf(folder / "a.plan"), contentOf(folder / "b.plan"));
}

TEST(WorkshopPlan, SavesEachChangeInItsStoreAtOnce) {
  const TemporaryFolder folder;
  {
    WorkshopPlan plan;
    plan.open(folder.file(u"möhre.db"));
    EXPECT_TRUE(plan.isInStore());
    enterTable(plan);
  }
  {
    WorkshopPlan plan;
    plan.open(folder.file(u"möhre.db"));
    EXPECT_EQ(listOf(plan), kTable);
    plan.addTool(u"S2", u"Rip saw");
  }
  WorkshopPlan plan;
  plan.open(folder.file(u"möhre.db"));
  EXPECT_THAT(listOf(plan), HasSubstr("S2: Rip saw"));
  EXPECT_EQ(folder.names(), std::set<std::string>{"möhre.db"}) << "one file";
}

TEST(WorkshopPlan, LeavesItsStoreCompleteAndGoesOnInMemory) {
  const TemporaryFolder folder;
  WorkshopPlan plan;
  plan.open(folder.file(u"store.db"));
  enterTable(plan);
  plan.addTool(u"S2", u"Rip saw");
  plan.close();
  EXPECT_FALSE(plan.isInStore());
  EXPECT_EQ(listOf(plan), kCompleteTable);
  plan.save(folder.file(u"copy.plan"));

  WorkshopPlan stored;
  stored.open(folder.file(u"store.db"));
  EXPECT_EQ(listOf(stored), kCompleteTable) << "what closing did is in the store as well";
  WorkshopPlan copy;
  copy.open(folder.file(u"copy.plan"));
  EXPECT_EQ(listOf(copy), kCompleteTable);
}

TEST(WorkshopPlan, IsCompletedInAFileToo) {
  WorkshopPlan plan;
  enterTable(plan);
  plan.complete();
  EXPECT_EQ(listOf(plan), kTable) << "there is no tool of that code yet";
  plan.addTool(u"S2", u"Rip saw");
  plan.complete();
  EXPECT_EQ(listOf(plan), kCompleteTable);
}

TEST(WorkshopPlan, OpensAnotherPlanAfterAStore) {
  const TemporaryFolder folder;
  WorkshopPlan plan;
  plan.open(folder.file(u"first.db"));
  enterTable(plan);
  WorkshopPlan other;
  other.rename(u"Other");
  other.save(folder.file(u"other.plan"));
  plan.open(folder.file(u"other.plan"));
  EXPECT_FALSE(plan.isInStore());
  EXPECT_EQ(listOf(plan), "Other\n");
  WorkshopPlan first;
  first.open(folder.file(u"first.db"));
  EXPECT_EQ(listOf(first), kTable);
}

TEST(WorkshopPlan, IsReopenedByItsOwnPath) {
  const TemporaryFolder folder;
  WorkshopPlan plan;
  plan.open(folder.file(u"store.db"));
  enterTable(plan);
  plan.open(plan.strataFilePath());
  EXPECT_TRUE(plan.isInStore());
  EXPECT_EQ(listOf(plan), kTable);
}

TEST(WorkshopPlan, RefusesWhatIsThereAlreadyOrIsNot) {
  WorkshopPlan plan;
  enterTable(plan);
  EXPECT_THROW(plan.addTool(u"P1", u"Another"), std::invalid_argument);
  EXPECT_THROW(plan.addJob(u"Oak table", 1, {}), std::invalid_argument);
  EXPECT_THROW(plan.addStep(u"Oak chair", u"Begin"), std::invalid_argument);
  EXPECT_THROW(plan.finishJob(u"Oak chair"), std::invalid_argument);
  EXPECT_EQ(listOf(plan), kTable);
  EXPECT_FALSE(plan.isInTransaction());
}

TEST(WorkshopPlan, TakesAChangeBackThatCannotBeSaved) {
  const TemporaryFolder folder;
  WorkshopPlan plan;
  plan.open(folder.file(u"store.db"));
  enterTable(plan);
  tarn::kern::testhooks::failNextCommit(plan.getModel(), "no room on the disk");
  EXPECT_ANY_THROW(plan.finishJob(u"Oak table"));
  EXPECT_EQ(listOf(plan), kTable);
  EXPECT_FALSE(plan.isInTransaction());
  plan.finishJob(u"Oak table");
  EXPECT_THAT(listOf(plan), HasSubstr("[x] Oak table"));
}

TEST(WorkshopPlan, TellsThatAFileCannotBeSavedAndLeavesIt) {
  const TemporaryFolder folder;
  WorkshopPlan plan;
  enterTable(plan);
  EXPECT_THROW(plan.save(u"/dev/full"), quillon::nimbo::SafeFileError);
  EXPECT_THROW(plan.save(folder.file(u"missing/a.plan")), quillon::nimbo::SafeFileError);
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

}  // namespace
