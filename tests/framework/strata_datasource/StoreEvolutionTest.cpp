#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <strata/SQLiteUri.h>
#include <tarn/kern/evolution/Evolution.h>
#include <tarn/kern/meta/MetaRegistry.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "framework/strata_datasource/StoreTestSupport.h"

using namespace tarn::kern;        // NOLINT: the vocabulary of these tests
using namespace tarn::kern::meta;  // NOLINT
using storetest::open;
using strata::StoreError;
using strata_datasource::DataSource;
using testing::HasSubstr;

namespace {

/// Version 1 of a library of books is written; version 2 has other names.
class StoreEvolutionTest : public testing::Test {
 protected:
  void TearDown() override { MetaRegistry::getInstance()->reset(); }

  static void registerFirst() {
    PackageBuilder package(u"storebooks");
    package.family(u"storebooks", u"1.0");
    auto& place = package.addDataType(u"Place");
    place.attribute(u"row", StandardTypes::integerMeta);
    place.attribute(u"label", StandardTypes::stringMeta);
    auto& volume = package.addClass(u"Volume");
    volume.attribute(u"label", StandardTypes::stringMeta);
    volume.attribute(u"pages", StandardTypes::integerMeta);
    volume.attribute(u"lent", StandardTypes::booleanMeta);
    volume.attribute(u"weight", StandardTypes::realMeta);
    volume.attribute(u"place", place);
    volume.attribute(u"tags", StandardTypes::stringMeta).many();
    volume.attribute(u"notes", StandardTypes::stringToStringMapMeta);
    volume.reference(u"sequel", volume);
    volume.reference(u"alike", volume).many();
    auto& shelf = package.addClass(u"Shelf");
    shelf.composite(u"volumes", volume).many();
    shelf.composite(u"best", volume);
    package.registerPackage();
  }
  static void registerSecond() {
    PackageBuilder package(u"storebooks");
    package.family(u"storebooks", u"2.0");
    auto& place = package.addDataType(u"Place");
    place.attribute(u"row", StandardTypes::integerMeta);
    place.attribute(u"label", StandardTypes::stringMeta);
    auto& book = package.addClass(u"Book");
    book.attribute(u"title", StandardTypes::stringMeta);
    book.attribute(u"pages", StandardTypes::integerMeta);
    book.attribute(u"lent", StandardTypes::booleanMeta);
    book.attribute(u"weight", StandardTypes::realMeta);
    book.attribute(u"place", place);
    book.attribute(u"tags", StandardTypes::stringMeta).many();
    book.attribute(u"notes", StandardTypes::stringToStringMapMeta);
    book.reference(u"sequel", book);
    book.reference(u"alike", book).many();
    auto& shelf = package.addClass(u"Shelf");
    shelf.composite(u"books", book).many();
    shelf.composite(u"best", book);
    package.registerPackage();
  }
  static void registerSteps() {
    evolution::Evolution(u"storebooks")
        .from(u"1.0")
        .to(u"2.0")
        .renameClass(u"Volume", u"Book")
        .renameProperty(u"Book", u"label", u"title")
        .renameProperty(u"Shelf", u"volumes", u"books")
        .registerEvolution();
  }
  static Class classNamed(const char16_t* name) {
    return narrow<Class>(MetaRegistry::getInstance()->getType(ustring(u"storebooks.") + name));
  }
  static Value live(const ModelElement& element, const char16_t* name) {
    return element->getPropertyValue(element->property(name), ReflectionPrivateTag::PUBLIC_ACCESS);
  }

  void givenFirstVersion() {
    registerFirst();
    const Model model = open(fPath);
    Transaction change = model->beginTransaction(false);
    const ModelElement shelf = classNamed(u"Shelf")->instantiate(model, {});
    const ModelElement first = classNamed(u"Volume")->instantiate(model, {});
    const ModelElement second = classNamed(u"Volume")->instantiate(model, {});
    fFirst = first->getUuid();
    first->set<ustring>(u"label", ustring{u'A', 0xD800});
    first->set<std::int32_t>(u"pages", 100);
    first->set<bool>(u"lent", true);
    first->set<double>(u"weight", -std::numeric_limits<double>::infinity());
    ReflectiveDataType place(narrow<DataType>(MetaRegistry::getInstance()->getType(u"storebooks.Place")));
    place.set<std::int32_t>(u"row", 3);
    first->set<ReflectiveDataType>(u"place", place);
    live(first, u"tags").toPrimitiveCollection().addValue(Value(u"old"));
    live(first, u"tags").toPrimitiveCollection().addValue(Value(u"red"));
    live(first, u"notes").toStringToStringMap().insert(u"k", u"v", CollisionResolution::Replace);
    first->set<ModelElement>(u"sequel", second);
    live(first, u"alike").toElementCollection().addElement(second);
    live(shelf, u"volumes").toElementCollection().addElement(first);
    shelf->set<ModelElement>(u"best", second);
    change.commit(boost::none);
  }

  StoreError refusal() {
    try {
      storetest::bindTo(storetest::newModel(), fPath);
    } catch (const StoreError& error) {
      return error;
    }
    throw std::runtime_error("the store was bound");
  }

  storetest::Folder fFolder;
  std::string fPath = fFolder / "books.db";
  boost::uuids::uuid fFirst{};
};

}  // namespace

TEST_F(StoreEvolutionTest, KeepsTheOrderOfTopLevelElementsWhateverRefersToWhich) {
  registerFirst();
  std::vector<boost::uuids::uuid> order;
  {
    const Model model = open(fPath);
    Transaction change = model->beginTransaction(false);
    std::vector<ModelElement> volumes;
    for (int i = 0; i < 5; ++i) {
      volumes.push_back(classNamed(u"Volume")->instantiate(model, {}));
      order.push_back(volumes.back()->getUuid());
    }
    volumes[0]->set<ModelElement>(u"sequel", volumes[3]);
    volumes[3]->set<ModelElement>(u"sequel", volumes[1]);
    change.commit(boost::none);
  }
  registerSecond();
  registerSteps();
  const Model model = open(fPath);
  std::vector<boost::uuids::uuid> found;
  for (const ModelElement& element : model->getTopLevelElements()) found.push_back(element->getUuid());
  EXPECT_EQ(found, order);
}

TEST_F(StoreEvolutionTest, BringsAnOlderStoreUpToDate) {
  givenFirstVersion();
  registerSecond();
  registerSteps();
  for (int time = 0; time < 2; ++time) {  // once evolved, then as it is
    const Model model = open(fPath);
    EXPECT_EQ(model->getElementCount(), 3U);
    const ModelElement shelf = model->getTopLevelElements().front();
    EXPECT_EQ(shelf->getMetaClass(), classNamed(u"Shelf"));
    const ModelElement first = live(shelf, u"books").toElementCollection().getElement(0);
    EXPECT_EQ(first->getMetaClass(), classNamed(u"Book"));
    EXPECT_EQ(first->getUuid(), fFirst);
    EXPECT_EQ(first->get<ustring>(u"title"), (ustring{u'A', 0xD800}));
    EXPECT_EQ(first->get<std::int32_t>(u"pages"), 100);
    EXPECT_TRUE(first->get<bool>(u"lent"));
    EXPECT_EQ(first->get<double>(u"weight"), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(first->get<ReflectiveDataType>(u"place").get<std::int32_t>(u"row"), 3);
    EXPECT_EQ(live(first, u"tags").toPrimitiveCollection().getAllValues(),
              (std::vector<Value>{Value(u"old"), Value(u"red")}));
    EXPECT_EQ(live(first, u"notes").toStringToStringMap(), (StringToStringMap{{u"k", u"v"}}));
    const ModelElement second = first->get<ModelElement>(u"sequel");
    EXPECT_EQ(second->container(), shelf);
    EXPECT_EQ(shelf->get<ModelElement>(u"best"), second);
    EXPECT_EQ(live(first, u"alike").toElementCollection().getElement(0), second);
  }
  EXPECT_EQ(storetest::sql(fPath, "SELECT name FROM class ORDER BY id; PRAGMA integrity_check"),
            "storebooks.Shelf\nstorebooks.Book\nok\n");
}

TEST_F(StoreEvolutionTest, RefusesAnOlderStoreWhenEvolvingIsOff) {
  givenFirstVersion();
  registerSecond();
  registerSteps();
  const std::string before = storetest::bytesOf(fPath);
  DataSource::Options options;
  options.evolveIfNeeded = false;
  try {
    DataSource::create(strata::Uri::createSQLite().setLocation(fPath), storetest::newModel(),
                       DataSource::ToModelSync::OnTouch, DataSource::ToDataSourceSync::Changes,
                       DataSource::SyncTiming::OnCommit, options);
    FAIL() << "the store was bound";
  } catch (const StoreError& error) {
    EXPECT_EQ(error.kind(), StoreError::Kind::Stale);
    EXPECT_THAT(error.what(), HasSubstr("Options::evolveIfNeeded"));
  }
  EXPECT_EQ(storetest::bytesOf(fPath), before);
}

TEST_F(StoreEvolutionTest, RefusesContentThatNoStepCovers) {
  givenFirstVersion();
  registerSecond();
  const std::string before = storetest::bytesOf(fPath);
  const StoreError error = refusal();
  EXPECT_EQ(error.kind(), StoreError::Kind::Stale);
  EXPECT_THAT(error.what(), HasSubstr("cannot be brought up to date"));
  EXPECT_EQ(storetest::bytesOf(fPath), before);
}

TEST_F(StoreEvolutionTest, RefusesContentThatIsNewerThanThePackages) {
  registerSecond();
  {
    const Model model = open(fPath);
    static_cast<void>(classNamed(u"Shelf")->instantiate(model, {}));
  }
  MetaRegistry::getInstance()->reset();
  registerFirst();
  const std::string before = storetest::bytesOf(fPath);
  const StoreError error = refusal();
  EXPECT_EQ(error.kind(), StoreError::Kind::Newer);
  EXPECT_THAT(error.what(), HasSubstr("2.0"));
  EXPECT_EQ(storetest::bytesOf(fPath), before);
}
