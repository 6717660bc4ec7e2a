#include "LibraryFiles.h"

#include <fstream>
#include <sstream>

#include <boost/uuid/string_generator.hpp>

#include <quillon/nimbo/BinSerializer.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/ecore/EcoreExporter.h>
#include <tarn/kern/io/JSONSerializer.h>
#include <tarn/kern/meta/MetaModelFile.h>
#include <tarn/kern/meta/PackageBuilder.h>

namespace tool_test {

namespace {

using namespace tarn::kern;
using namespace tarn::kern::meta;

Package registerLibrary() {
  PackageBuilder library(u"library");
  library.family(u"library", u"1.0");
  auto& genre = library.addEnum(u"Genre").literal(u"novel", 0).literal(u"essay", 1);
  auto& named = library.addClass(u"Named").makeAbstract();
  named.attribute(u"name", StandardTypes::stringMeta).required();
  auto& book = library.addClass(u"Book").extends(named);
  book.attribute(u"genre", genre).required().defaultsTo(u"novel");
  book.attribute(u"pages", StandardTypes::integerMeta);
  book.attribute(u"tags", StandardTypes::stringMeta).many();
  book.reference(u"sequelOf", book);
  auto& shelf = library.addClass(u"Shelf").extends(named);
  shelf.composite(u"books", book).many();
  auto& reader = library.addClass(u"Reader").extends(named);
  reader.reference(u"reads", book).bounds(0, 2);
  return library.registerPackage();
}

const Package& library() {
  static const Package package = registerLibrary();
  return package;
}

ModelElement make(const Model& model, const char16_t* type, const char* uuid, const char16_t* name) {
  const auto asClass = narrow<Class>(MetaRegistry::getInstance()->getType(ustring(u"library.") + type));
  const ModelElement element = asClass->instantiate(model, boost::uuids::string_generator()(uuid));
  element->set(u"name", ustring(name));
  return element;
}

void addTo(const ModelElement& owner, const char16_t* property, const ModelElement& member) {
  owner->getPropertyValue(owner->property(property), ReflectionPrivateTag::PUBLIC_ACCESS)
      .toElementCollection()
      .addElement(member);
}

std::string containerBytes(const Model& model, quillon::nimbo::BinFormat format) {
  std::ostringstream stream;
  quillon::nimbo::BinSerializer().serialize(model->getTopLevelElements(), stream, format);
  return std::move(stream).str();
}

std::string jsonText(const Model& model) {
  std::string text;
  io::JSONSerializer serializer;
  serializer.getCustomizer()->setShouldSkipDefaultValues(true);
  serializer.serialize(model, io::SerializationOutput::forUTF8String(text));
  return text;
}

}  // namespace

Model libraryModel() {
  static_cast<void>(library());
  Model model = Model::create(ModelSpec());
  const ModelElement shelf = make(model, u"Shelf", kShelf, u"Klassik \u00e4");
  const ModelElement emma = make(model, u"Book", kEmma, u"Emma");
  emma->set(u"pages", 474);
  const ModelElement ulysses = make(model, u"Book", kUlysses, u"Ulysses");
  ulysses->set(u"sequelOf", emma);
  addTo(shelf, u"books", emma);
  addTo(shelf, u"books", ulysses);
  const ModelElement reader = make(model, u"Reader", kReader, u"Ada");
  addTo(reader, u"reads", ulysses);
  return model;
}

void writeLibraryFiles(const Scratch& scratch) {
  const Model model = libraryModel();
  using quillon::nimbo::BinFormat;
  writeFile(scratch / "library.metamodel.json", writeMetaModel({library()}));
  writeFile(scratch / "library.ecore", ecore::EcoreExporter().toText(library()));
  writeFile(scratch / "library.B", containerBytes(model, BinFormat::Binary));
  writeFile(scratch / "library.z", containerBytes(model, BinFormat::BinaryZstd));
  writeFile(scratch / "library.json", jsonText(model));
}

}  // namespace tool_test
