#include <iostream>
#include <sstream>

#include <quillon/nimbo/BinParser.h>
#include <quillon/nimbo/BinSerializer.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/meta/PackageBuilder.h>

using namespace tarn::kern;

int main() {
  meta::PackageBuilder package(u"library");
  auto& book = package.addClass(u"Book");
  book.attribute(u"title", meta::StandardTypes::stringMeta).required();
  auto& shelf = package.addClass(u"Shelf");
  shelf.composite(u"books", book).many();
  package.registerPackage();

  const Model model = Model::create(ModelSpec());
  const auto make = [&](const char16_t* type) {
    return narrow<meta::Class>(meta::MetaRegistry::getInstance()->getType(type))->instantiate(model, {});
  };
  const ModelElement mine = make(u"library.Shelf");
  const Value books = mine->getPropertyValue(mine->property(u"books"), ReflectionPrivateTag::PUBLIC_ACCESS);
  for (const char16_t* title : {u"Ficciones", u"Пикник на обочине"}) {
    books.toElementCollection().addElement(make(u"library.Book"));
    books.toElementCollection().getAllElements().back()->set(u"title", title);
  }

  std::stringstream file;
  quillon::nimbo::BinSerializer().serialize(model->getTopLevelElements(), file, quillon::nimbo::BinFormat::Binary);
  quillon::nimbo::BinParser parser;
  parser.parse(file);
  std::cout << file.str().size() << " bytes, loaded " << parser.getModel()->getElementCount() << " elements, "
            << (modelsEqual(model, parser.getModel()) ? "equal" : "different") << '\n';
}
