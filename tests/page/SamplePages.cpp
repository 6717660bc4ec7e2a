// Writes the pages that the browser tests open: sample_pages <folder> [<elements of the large page>]
// The pages are those of real models, written by the library's printer and by printers derived from it: with texts,
// shapes and sizes that a small model does not have, with the classes that only a printer of expressions writes, and
// one that breaks off.
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <bedrock/i18n.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "quillon/nimbo/PrettyPrinter.h"
#include "quillon/nimbo/html/Manipulators.h"
#include "quillon/nimbo/html/OFStream.h"

namespace {

using namespace quillon::nimbo::html;
using bedrock::i18n::ustring_to_utf8;
using bedrock::i18n::utf8_to_ustring;
using quillon::nimbo::PrettyPrinter;
using tarn::kern::Model;
using tarn::kern::ModelElement;
using tarn::kern::ustring;
using tarn::kern::Value;
namespace meta = tarn::kern::meta;
using meta::StandardTypes;

const ustring kLongName(60, u'W');

// ---- The meta-model ----

void definePlants(meta::PackageBuilder& package) {
  auto& state = package.addEnum(u"State").literal(u"idle", 0).literal(u"running", 1);
  auto& thing = package.addClass(u"Thing").makeAbstract();
  thing.attribute(u"name", StandardTypes::stringMeta);
  thing.attribute(u"size", StandardTypes::integerMeta);
  thing.attribute(u"state", state);
  thing.attribute(u"checked", StandardTypes::booleanMeta);
  thing.reference(u"refersTo", thing);
  thing.reference(u"alsoRefersTo", thing);
  package.addClass(u"Part").extends(thing);
  package.addClass(u"Group").extends(thing).composite(u"parts", thing).many();
  auto& plant = package.addClass(u"Plant");
  plant.attribute(u"name", StandardTypes::stringMeta);
  plant.composite(u"parts", thing).many();
  package.addClass(u"Team");
}

void defineTexts(meta::PackageBuilder& package) {
  auto& any = package.addClass(u"AnyText").makeAbstract();
  package.addClass(u"Texts").composite(u"parts", any).many();
  package.addClass(u"Text").extends(any).attribute(u"value", StandardTypes::stringMeta);
  package.addClass(u"Class \"<q>\" \\u").extends(any).attribute(u"na\"me\\", StandardTypes::stringMeta);

  auto& part = package.addClass(u"\u90E8\u54C1");
  for (const char16_t* name : {u"\u540D\u524D", u"\u05E9\u05DD", u"\u0438\u043C\u044F"}) {
    part.attribute(name, StandardTypes::stringMeta);
  }
  auto& longName = package.addClass(u"AClassWithANameThatIsLongerThanTheTableIsWideAndHasNoPlaceToBreakItIntoTwoLines");
  longName.attribute(u"name", StandardTypes::stringMeta);
  longName.attribute(u"sentence", StandardTypes::stringMeta);
  longName.attribute(kLongName, StandardTypes::integerMeta);
  longName.composite(u"part", part);
}

void defineLevels(meta::PackageBuilder& package) {
  auto& any = package.addClass(u"AnyLevel").makeAbstract();
  package.addClass(u"Leaf").extends(any);
  auto& level = package.addClass(u"Level").extends(any);
  level.attribute(u"depth", StandardTypes::integerMeta);
  level.composite(u"parts", any).many();
}

/// The symbol of an operation is an element of its own, so that it can be hovered and clicked apart from its operands.
void defineExpressions(meta::PackageBuilder& package) {
  auto& node = package.addClass(u"Node").makeAbstract();
  node.attribute(u"address", StandardTypes::stringMeta).required();
  node.attribute(u"text", StandardTypes::stringMeta).required();
  for (const char16_t* leaf : {u"Symbol", u"Variable", u"Constant", u"Keyword", u"File", u"Function"}) {
    package.addClass(leaf).extends(node);
  }
  auto& operation = package.addClass(u"Operation").extends(node);
  for (const char16_t* part : {u"symbol", u"left", u"right"}) operation.composite(part, node);
  package.addClass(u"Chain").extends(node).composite(u"expression", operation);
}

meta::Package defineSamples() {
  meta::PackageBuilder package(u"samples");
  package.uri(u"urn:samples");
  definePlants(package);
  defineTexts(package);
  defineLevels(package);
  defineExpressions(package);
  return package.registerPackage();
}

// ---- Models ----

Model newModel() { return Model::create(tarn::kern::ModelSpec()); }

ModelElement make(const Model& model, const ustring& className) {
  static const meta::Package kSamples = defineSamples();
  return tarn::kern::narrow<meta::Class>(kSamples->getTypes().at(className))->instantiate(model, {});
}

void addPart(const ModelElement& whole, const ModelElement& part) {
  const auto& access = tarn::kern::ReflectionPrivateTag::PUBLIC_ACCESS;
  whole->getPropertyValue(whole->property(u"parts"), access).toElementCollection().addElement(part);
}

void setText(const ModelElement& element, std::u16string_view property, std::string_view text) {
  element->set(property, utf8_to_ustring(std::string(text)));
}

ModelElement makeThing(const Model& model, const ustring& className, int seed) {
  static const char16_t* const kNames[] = {u"pump", u"valve", u"motor", u"sensor"};
  ModelElement thing = make(model, className);
  thing->set(u"name", ustring(kNames[seed % 4]) + u" " + utf8_to_ustring(std::to_string(seed)));
  thing->set(u"size", std::int32_t{seed * 7 % 100});
  thing->set(u"state", std::int64_t{seed % 3 == 0 ? 1 : 0});
  thing->set(u"checked", seed % 2 == 0);
  return thing;
}

/// Twelve parts, so that there are more things than colours, which refer to each other.
Model typicalModel() {
  const Model model = newModel();
  const ModelElement plant = make(model, u"Plant");
  plant->set(u"name", u"north");
  std::vector<ModelElement> parts;
  for (int i = 0; i < 12; ++i) {
    parts.push_back(makeThing(model, u"Part", i));
    addPart(plant, parts.back());
  }
  for (const ModelElement& part : parts) {
    part->set(u"refersTo", part);
    part->set(u"alsoRefersTo", part == parts[0] ? parts[1] : parts[0]);
  }
  make(model, u"Team");
  return model;
}

Model hostileModel() {
  const std::string texts[] = {"say \"hi\" & <b>bold</b>",
                               "line one\nline two\r\nline three",
                               "C:\\temp\\new",
                               "\\u0041 \\x41 \\u{} \\",
                               "a\\\nb",
                               "tab\there",
                               "</script><script>alert(1)</script>",
                               "<!-- <script> -->",
                               "<img src=x onerror=alert(1)>",
                               "'single'",
                               "\xE2\x80\xA8 and \\\xE2\x80\xA9 separators",
                               "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D \xD8\xB3\xD9\x84\xD8\xA7\xD9\x85",
                               "\xE6\xBC\xA2\xE5\xAD\x97\xE3\x81\x8B\xE3\x81\xAA \xED\x95\x9C\xEA\xB8\x80",
                               "\xF0\x9F\x99\x82 \xC3\xA4\xC3\xB6\xC3\xBC",
                               "\x01\x02\x1F",
                               "&amp; &nbsp; &#65;",
                               "\",\n'D1': \"",
                               "ends in a backslash\\",
                               "\\\\server\\share",
                               "${x} `y`"};
  const Model model = newModel();
  const ModelElement all = make(model, u"Texts");
  for (const std::string& text : texts) {
    const ModelElement element = make(model, u"Text");
    setText(element, u"value", text);
    addPart(all, element);
  }
  const ModelElement odd = make(model, u"Class \"<q>\" \\u");
  odd->set(u"na\"me\\", u"x");
  addPart(all, odd);
  return model;
}

Model longNamesModel() {
  const Model model = newModel();
  const ModelElement element =
      make(model, u"AClassWithANameThatIsLongerThanTheTableIsWideAndHasNoPlaceToBreakItIntoTwoLines");
  element->set(u"name", ustring(300, u'W'));
  element->set(u"sentence",
               u"a text with many words that go on and on and do not fit into one line of the table at all");
  element->set(kLongName, std::int32_t{1});
  const ModelElement part = make(model, u"\u90E8\u54C1");
  part->set(u"\u540D\u524D", u"\u65E5\u672C\u8A9E\u306E\u540D\u524D");
  part->set(u"\u05E9\u05DD", u"\u05E9\u05DC\u05D5\u05DD \u05E2\u05D5\u05DC\u05DD");
  part->set(u"\u0438\u043C\u044F", u"\u043D\u0430\u0441\u043E\u0441");
  element->set(u"part", part);
  return model;
}

Model deepModel(int depth) {
  const Model model = newModel();
  ModelElement outer;
  for (int i = 1; i <= depth + 1; ++i) {
    const ModelElement inner = make(model, i <= depth ? u"Level" : u"Leaf");
    if (i <= depth) inner->set(u"depth", std::int32_t{i});
    if (outer) addPart(outer, inner);
    outer = inner;
  }
  return model;
}

/// `count` elements in groups of groups: 50 to a group.
Model largeModel(int count) {
  const Model model = newModel();
  tarn::kern::Transaction transaction = model->beginTransaction(false);
  const ModelElement plant = make(model, u"Plant");
  std::vector<ModelElement> things;
  const auto add = [&](const ModelElement& whole, const ustring& className) {
    const int number = static_cast<int>(things.size()) + 1;
    things.push_back(makeThing(model, className, number));
    addPart(whole, things.back());
    return things.back();
  };
  while (static_cast<int>(things.size()) + 1 < count) {
    const ModelElement group = add(plant, u"Group");
    for (int i = 0; i < 50 && static_cast<int>(things.size()) + 1 < count; ++i) {
      const ModelElement part = add(group, u"Part");
      part->set(u"refersTo", things[things.size() / 2]);
    }
  }
  transaction.commit(boost::none);
  return model;
}

// ---- Expressions ----

class ExpressionPrinter : public PrettyPrinter {
 public:
  /// In a text its address stands for an element; on the page a chain shows as a region and a keyword as such.
  void emitElementEntry(std::ostream& os, const ModelElement& element, bool composite) override {
    const ustring type = element->getMetaClass()->getName();
    if (!isHTMLStream(os)) {
      os << textOf(element, u"address");
    } else if (type == u"Chain") {
      os << tag2{"span", "Chain", "regiondesc", elemId(element)};
    } else if (type == u"Keyword") {
      os << tag2{"span", textOf(element, u"text"), "pskeyword", elemId(element)} << ' '
         << tag2{"span", "\"hi\"", "litText"} << ' ' << tag2{"span", "careful", "warning"} << ' '
         << tag2{"span", "wrong", "error"};
    } else {
      PrettyPrinter::emitElementEntry(os, element, composite);
    }
  }

  /// What a node says of itself shows in its description.
  bool isPropertyToHideInTree(const ModelElement& element, const Property& property) const override {
    return !property->isComposite || PrettyPrinter::isPropertyToHideInTree(element, property);
  }

  void emitElementProperty(std::ostream& os, const ModelElement& element, const Property& property) override {
    os << indent(false);
    emitOperation(os, element->get<ModelElement>(property), "top-expr");
    os << '\n';
  }

 private:
  static std::string textOf(const ModelElement& node, std::u16string_view property) {
    return ustring_to_utf8(node->get<ustring>(property));
  }

  void emitOperation(std::ostream& os, const ModelElement& operation, const std::string& cls) {
    const std::string id = elemId(operation);
    const auto symbol = operation->get<ModelElement>(u"symbol");
    os << tag{"span", cls, id};
    if (cls == "expr") os << tag2{"span", "(", "in-plain"};
    os << tag2{"span", "#(", "bracket", id} << tag2{"span", textOf(symbol, u"text"), "preop", elemId(symbol)};
    emitOperand(os, operation->get<ModelElement>(u"left"));
    os << tag2{"span", " " + textOf(symbol, u"text") + " ", "inop", elemId(symbol)};
    emitOperand(os, operation->get<ModelElement>(u"right"));
    os << ")" << etag{"span"};
  }

  void emitOperand(std::ostream& os, const ModelElement& node) {
    const ustring type = node->getMetaClass()->getName();
    os << tag{"span", "oper"};
    if (type == u"Operation") {
      emitOperation(os, node, "expr");
    } else {
      os << tag2{"span", textOf(node, u"text"), type == u"Constant" ? "constant" : "entry", elemId(node)};
    }
    os << etag{"span"};
  }
};

ModelElement makeNode(const Model& model, const ustring& type, std::string_view text, std::string_view address) {
  ModelElement node = make(model, type);
  setText(node, u"text", text);
  setText(node, u"address", address);
  return node;
}

void fillOperation(const ModelElement& operation, const ModelElement& symbol, const ModelElement& left,
                   const ModelElement& right) {
  operation->set(u"symbol", symbol);
  operation->set(u"left", left);
  operation->set(u"right", right);
}

/// (a + (b * 2)), a keyword, and things with addresses of other kinds.
Model expressionModel() {
  const Model model = newModel();
  const ModelElement chain = makeNode(model, u"Chain", "", "0:1-9");
  const ModelElement sum = makeNode(model, u"Operation", "", "0:2-9");
  const ModelElement plus = makeNode(model, u"Symbol", "+", "0:3-9");
  const ModelElement a = makeNode(model, u"Variable", "a", "0:4-9");
  const ModelElement product = makeNode(model, u"Operation", "", "0:5-9");
  const ModelElement times = makeNode(model, u"Symbol", "*", "0:6-9");
  const ModelElement b = makeNode(model, u"Variable", "b", "0:7-9");
  const ModelElement two = makeNode(model, u"Constant", "2", "0:8-9");
  fillOperation(product, times, b, two);
  fillOperation(sum, plus, a, product);
  chain->set(u"expression", sum);
  makeNode(model, u"Keyword", "if", "0:9-9");
  makeNode(model, u"File", "", "file-scope#3:pump-part#2");
  makeNode(model, u"Function", "", "func-scope#1:a");
  makeNode(model, u"Function", "", "func-scope#1:a");
  return model;
}

/// A page laid out by hand, as it may be with more than the elements' own descriptions: the last one is named by its
/// address.
void writeExpressions(const std::string& path) {
  const Model model = expressionModel();
  ExpressionPrinter printer;
  OFStream os(path);
  os << tree{};
  printer.print(os, model);
  os << etree{} << defs{};
  for (const ModelElement& element : model->getAllElements(tarn::kern::FindElementBehavior::Anywhere)) {
    printer.emitElementDef(os, element);
  }
  os << def{"Brief", "", "7:1-2", "#1"} << etag{"div"} << edefs{};
}

// ---- A page that breaks off ----

class BreakingPrinter : public PrettyPrinter {
 public:
  void emitElementDefExtras(std::ostream& os, const ModelElement& element) override {
    if (element->getMetaClass()->getName() != u"Part") return;
    os << tag{"div", "descItem"};
    throw std::runtime_error("no more of this");
  }
};

/// True when the printer threw, as it has to.
bool writeCutPage(const std::string& path) {
  const Model model = newModel();
  make(model, u"Team");
  makeThing(model, u"Part", 1);
  make(model, u"Team");
  try {
    BreakingPrinter().generateHTMLFile(path, model);
  } catch (const std::runtime_error&) {
    return true;
  }
  return false;
}

int writePages(const std::string& folder) {
  using quillon::nimbo::generateHTMLFile;
  generateHTMLFile(folder + "typical.html", typicalModel());
  generateHTMLFile(folder + "empty.html", newModel());
  generateHTMLFile(folder + "hostile.html", hostileModel());
  generateHTMLFile(folder + "long-names.html", longNamesModel());
  generateHTMLFile(folder + "deep.html", deepModel(300));
  generateHTMLFile(folder + "large.html", largeModel(10000));
  writeExpressions(folder + "expressions.html");
  return writeCutPage(folder + "cut.html") ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: sample_pages <folder> [<elements of the large page>]\n";
    return 2;
  }
  const std::string folder = std::string(argv[1]) + "/";
  if (argc == 2) return writePages(folder);
  quillon::nimbo::generateHTMLFile(folder + "large.html", largeModel(std::atoi(argv[2])));
  return 0;
}
