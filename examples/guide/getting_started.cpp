// The program of docs/getting-started.md, step by step. It throws where something is not as the page says.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include <bedrock/i18n.h>
#include <quillon/nimbo/BinParser.h>
#include <quillon/nimbo/BinSerializer.h>
#include <quillon/nimbo/ModelDiff.h>
#include <quillon/nimbo/PrettyPrinter.h>
#include <quillon/nimbo/SafeFile.h>
#include <strata/SQLiteUri.h>
#include <strata_datasource/DataSource.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/evolution/Evolution.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/JSONSerializer.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <unistd.h>

using namespace tarn::kern;

namespace {

void expect(bool holds, const char* what) {
  if (!holds) throw std::logic_error(what);
}

// --- Define a meta-model

meta::Package defineLibrary() {
  meta::PackageBuilder library(u"library");
  library.family(u"library", u"2.0");
  auto& genre = library.addEnum(u"Genre").literal(u"novel", 0).literal(u"essay", 1);
  auto& book = library.addClass(u"Book");
  book.attribute(u"title", meta::StandardTypes::stringMeta).required();
  book.attribute(u"pages", meta::StandardTypes::integerMeta);
  book.attribute(u"genre", genre).required().defaultsTo(u"novel");
  book.attribute(u"tags", meta::StandardTypes::stringMeta).many();
  auto& shelf = library.addClass(u"Shelf");
  shelf.attribute(u"room", meta::StandardTypes::stringMeta).required();
  shelf.composite(u"books", book).many();
  shelf.reference(u"favourite", book);
  return library.registerPackage();
}

// --- Make a model

ModelElement make(const Model& model, const char16_t* type) {
  const auto asClass = narrow<meta::Class>(meta::MetaRegistry::getInstance()->getType(type));
  return asClass->instantiate(model, {});  // the nil uuid asks for a fresh one
}

Model makeModel() {
  Model model = Model::create(ModelSpec());
  Transaction change = model->beginTransaction(false);
  const ModelElement shelf = make(model, u"library.Shelf");
  shelf->set(u"room", u"kitchen");
  const ModelElement book = make(model, u"library.Book");
  book->set(u"title", u"Emma");
  book->set(u"pages", 474);
  shelf->getPropertyValue(shelf->property(u"books"), ReflectionPrivateTag::PUBLIC_ACCESS)
      .toElementCollection()
      .addElement(book);
  shelf->set(u"favourite", book);
  change.commit(boost::none);
  return model;
}

// --- Change it, and change your mind

void changeItsMind(const Model& model) {
  const ModelElement shelf = model->getTopLevelElements().front();
  Transaction change = model->beginTransaction(false);
  shelf->set(u"room", u"attic");
  shelf->get<ModelElement>(u"favourite")->destroy();
  change.rollBack();
  expect(shelf->get<ustring>(u"room") == u"kitchen", "a rollback brings back the room");
  expect(shelf->get<ModelElement>(u"favourite")->get<ustring>(u"title") == u"Emma", "and the book, everywhere");
}

// --- Save and load

void saveAndLoad(const Model& model, const std::filesystem::path& folder) {
  const std::u16string path = (folder / "library.z").u16string();
  quillon::nimbo::SafeFile file(path);  // the old file or the new one, whatever happens on the way
  quillon::nimbo::BinSerializer().serialize(model->getTopLevelElements(), file.stream(),
                                            quillon::nimbo::BinFormat::Default);
  file.commit();

  std::ifstream stream(folder / "library.z", std::ios::binary);
  quillon::nimbo::BinParser parser;
  parser.parse(stream);
  expect(modelsEqual(model, parser.getModel()), "what was loaded equals what was saved");
}

// --- As JSON

std::string asJson(const Model& model) {
  std::string text;
  io::JSONSerializer serializer;
  serializer.getCustomizer()->setShouldSkipDefaultValues(true);
  serializer.serialize(model, io::SerializationOutput::forUTF8String(text));
  return text;
}

Model fromJson(const std::string& text) {
  const Model model = Model::create(ModelSpec());
  io::JSONParser parser;
  parser.setModel(model);
  parser.parseString(text);
  return model;
}

// --- Read what an older program wrote

void readOldContent() {
  evolution::Evolution(u"library")
      .from(u"1.0")
      .to(u"2.0")
      .renameProperty(u"Book", u"name", u"title")
      .addProperty(u"Book", u"pages", 100)
      .registerEvolution();

  const Model old = fromJson(R"({"version": "1.0", "packageUris": ["tarn://schema/library/1.0"], "entries": [
    {"type": "library.Book", "uuid": "3f2504e0-4f89-41d3-9a0c-0305e82c3301", "content": {"name": "Dracula"}}]})");
  const ModelElement book = old->getTopLevelElements().front();
  expect(book->get<ustring>(u"title") == u"Dracula" && book->get<std::int32_t>(u"pages") == 100,
         "old content is adapted");
}

// --- Keep it in a store

void keepInStore(const Model& model, const std::filesystem::path& folder) {
  using tarn::kern::datasource::DataSource;
  const auto place = strata::Uri::createSQLite().setLocation((folder / "library.sqlite").string());
  strata_datasource::DataSource::create(place, model, DataSource::ToModelSync::OnTouch,
                                        DataSource::ToDataSourceSync::Changes,
                                        DataSource::SyncTiming::OnCommit);  // all of it is written now
  Transaction change = model->beginTransaction(false);
  model->getTopLevelElements().front()->set(u"room", u"hall");
  change.commit(boost::none);  // one SQLite transaction; it is durable when this returns
  model->resetDataSource();

  const Model again = Model::create(ModelSpec());
  strata_datasource::DataSource::create(place, again, DataSource::ToModelSync::OnTouch,
                                        DataSource::ToDataSourceSync::Changes,
                                        DataSource::SyncTiming::OnCommit);  // nothing is read yet
  expect(again->getTopLevelElements().front()->get<ustring>(u"room") == u"hall",
         "elements are read when they are touched");
}

// --- Look at it

void look(const Model& model, const std::filesystem::path& folder) {
  quillon::nimbo::print(std::cout, model);
  quillon::nimbo::generateHTMLFile((folder / "library.html").string(), model);
  std::cout << quillon::nimbo::diff(makeModel(), model);
}

int run() {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("nimbo-guide-" + std::to_string(::getpid()));
  std::filesystem::create_directories(folder);
  defineLibrary();
  const Model model = makeModel();
  changeItsMind(model);
  saveAndLoad(model, folder);
  expect(modelsEqual(model, fromJson(asJson(model))), "JSON holds the same model");
  readOldContent();
  look(model, folder);
  keepInStore(model, folder);
  std::filesystem::remove_all(folder);
  return 0;
}

}  // namespace

int main() {
  try {
    return run();
  } catch (const std::exception& error) {
    std::cerr << "getting_started: " << error.what() << '\n';
    return 1;
  }
}
