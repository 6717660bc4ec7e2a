// Writes the pages that the browser tests open: sample_pages <folder> [<elements of the large page>]
// The pages are laid out as the printer lays them out, with texts, shapes and sizes that a small model does not have,
// and with the classes that only a printer of expressions writes.
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "quillon/nimbo/html/Manipulators.h"
#include "quillon/nimbo/html/OFStream.h"

namespace {

using namespace quillon::nimbo::html;

struct Row {
  std::string name;
  std::string cls;
  std::string value;
};

/// One element of a sample: what the tree shows of it, and what its description says.
struct Element {
  std::string className;
  std::vector<Row> rows = {};
  std::vector<Element> parts = {};
  std::vector<int> references = {};
  int id = 0;
};

std::string linkTo(const std::string& id) { return "#" + id; }
std::string memberLabel(int index) { return std::string("[").append(std::to_string(index)).append("]"); }
std::string anchor(const std::string& id) { return "<a name=\"" + id + "\"></a>"; }
std::string pointerId(const Element& element) { return std::string("0x55d0").append(std::to_string(element.id)); }
std::string spaces(int level, int more = 0) { return std::string(static_cast<std::size_t>(level * 4 + more), ' '); }

class SampleWriter {
 public:
  SampleWriter(std::ostream& os, std::vector<Element>& roots) : fOs(os), fRoots(roots) {
    int next = 0;
    for (Element& root : fRoots) number(root, next);
  }

  void write() {
    fOs << tree{};
    for (const Element& root : fRoots) writeTree(root, "", 0);
    fOs << etree{} << defs{};
    for (const Element& root : fRoots) writeDescriptions(root, "0");
    fOs << edefs{};
  }

 private:
  void number(Element& element, int& next) {
    element.id = ++next;
    fNames.push_back(element.className);
    for (Element& part : element.parts) number(part, next);
  }

  void writeTree(const Element& element, const std::string& label, int level) {
    const std::string id = std::to_string(element.id);
    const bool unfolds = !element.rows.empty() || !element.parts.empty() || !element.references.empty();
    fOs << preformatted{anchor(id)};
    if (unfolds) fOs << expander{id};
    fOs << spaces(level, unfolds ? 0 : 2);
    if (!label.empty()) fOs << tag2{"span", label, "keyword"} << ": ";
    fOs << tag2{"span", element.className, "entry", id};
    if (!unfolds) {
      fOs << '\n';
      return;
    }
    fOs << " {" << tag{"span", "tree", id} << '\n';
    writeRows(element, level + 1);
    writeParts(element, level + 1);
    fOs << spaces(level, 2) << etag{"span"} << "}\n";
  }

  void writeRows(const Element& element, int level) {
    for (const Row& row : element.rows) {
      fOs << spaces(level, 2) << tag2{"span", row.name, "keyword"} << ": ";
      if (row.cls == "attrId") {
        fOs << '"' << row.value << "\"\n";
      } else {
        fOs << row.value << '\n';
      }
    }
    for (const int id : element.references) {
      fOs << spaces(level, 2) << tag2{"span", "refersTo", "keyword"} << ": "
          << tag2{"span", fNames[static_cast<std::size_t>(id - 1)], "entry", std::to_string(id)} << '\n';
    }
  }

  void writeParts(const Element& element, int level) {
    if (element.parts.empty()) return;
    const std::string pointer = pointerId(element);
    fOs << preformatted{anchor(pointer)} << expander{pointer} << spaces(level) << tag2{"span", "parts", "keyword"}
        << ": {" << tag{"span", "tree", pointer} << '\n';
    int index = 0;
    for (const Element& part : element.parts) writeTree(part, memberLabel(index++), level + 1);
    fOs << spaces(level, 2) << etag{"span"} << "}\n";
  }

  void writeItem(const std::string& name, const std::string& cls, const std::string& value) {
    fOs << tag{"div", "descItem"} << tag2{"span", name, "attrName"} << tag2{"span", value, cls} << etag{"div"};
  }

  void writeEntry(const std::string& name, int id) {
    fOs << tag{"div", "descItem"} << tag2{"span", name, "attrName"}
        << tag2{"span", id == 0 ? "<null>" : fNames[static_cast<std::size_t>(id - 1)], "entry", std::to_string(id)}
        << etag{"div"};
  }

  void writeDescriptions(const Element& element, const std::string& container) {
    const std::string id = std::to_string(element.id);
    fOs << def{element.className, element.className, id, linkTo(id)};
    writeItem("UUID", "attrId", "6ba7b810-9dad-11d1-80b4-00c04fd4" + std::to_string(1000 + element.id % 9000));
    writeEntry("container", std::stoi(container));
    for (const Row& row : element.rows) writeItem(row.name, row.cls, row.value);
    for (const int other : element.references) writeEntry("refersTo", other);
    if (!element.parts.empty()) {
      fOs << tag{"div", "descItem"} << tag2{"span", "parts", "attrName"}
          << href{linkTo(pointerId(element)), "{...}", "", "attrId"} << etag{"div"};
    }
    fOs << etag{"div"};
    for (const Element& part : element.parts) writeDescriptions(part, id);
  }

  std::ostream& fOs;
  std::vector<Element>& fRoots;
  std::vector<std::string> fNames;  // by number, from 1
};

void writePage(const std::string& path, std::vector<Element> roots) {
  OFStream os(path);
  SampleWriter(os, roots).write();
}

std::vector<Row> valueRows(int seed) {
  static const char* const kNames[] = {"pump", "valve", "motor", "sensor"};
  return {{"name", "attrId", std::string(kNames[seed % 4]) + " " + std::to_string(seed)},
          {"size", "attrNum", std::to_string(seed * 7 % 100)},
          {"state", "attrEnum", seed % 3 == 0 ? "running" : "idle"},
          {"checked", "attrBool", seed % 2 == 0 ? "TRUE" : "FALSE"}};
}

/// Twelve parts, so that there are more things than colours, which refer to each other.
std::vector<Element> typicalModel() {
  Element plant{"Plant", {{"name", "attrId", "north"}}};
  for (int i = 0; i < 12; ++i) {
    Element part{"Part", valueRows(i)};
    part.references = {2 + i, i == 0 ? 13 : 2};  // itself, and the first part or the last
    plant.parts.push_back(part);
  }
  return {plant, Element{"Team"}};
}

std::vector<Element> hostileModel() {
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
  Element all{"Texts"};
  for (const std::string& text : texts) all.parts.push_back(Element{"Text", {{"value", "attrId", text}}});
  all.parts.push_back(Element{"Class \"<q>\" \\u", {{"na\"me\\", "attrId", "x"}}});
  return {all};
}

std::vector<Element> longNamesModel() {
  const std::string longName(300, 'W');
  const std::string sentence =
      "a text with many words that go on and on and do not fit into one line of the table at all";
  Element element{"AClassWithANameThatIsLongerThanTheTableIsWideAndHasNoPlaceToBreakItIntoTwoLines"};
  element.rows = {
      {"name", "attrId", longName}, {"sentence", "attrId", sentence}, {longName.substr(0, 60), "attrNum", "1"}};
  element.parts = {
      Element{"Part",
              {{"\xE5\x90\x8D\xE5\x89\x8D", "attrId",
                "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE\xE5\x90\x8D\xE5\x89\x8D"},
               {"\xD7\xA9\xD7\x9D", "attrId", "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D \xD7\xA2\xD7\x95\xD7\x9C\xD7\x9D"},
               {"\xD0\xB8\xD0\xBC\xD1\x8F", "attrId", "\xD0\xBD\xD0\xB0\xD1\x81\xD0\xBE\xD1\x81"}}}};
  return {element};
}

std::vector<Element> deepModel(int depth) {
  Element inner{"Leaf"};
  for (int i = 0; i < depth; ++i) {
    Element outer{"Level", {{"depth", "attrNum", std::to_string(depth - i)}}};
    outer.parts.push_back(std::move(inner));
    inner = std::move(outer);
  }
  return {inner};
}

/// `count` elements in groups of groups: 50 to a group.
std::vector<Element> largeModel(int count) {
  Element plant{"Plant"};
  int made = 1;
  while (made < count) {
    Element group{"Group", valueRows(made++)};
    for (int i = 0; i < 50 && made < count; ++i) {
      group.parts.push_back(Element{"Part", valueRows(made)});
      group.parts.back().references = {1 + made / 2};
      ++made;
    }
    plant.parts.push_back(std::move(group));
  }
  return {plant};
}

// ---- Expressions: (a + (b * 2)), as a printer that has expressions would show them ----

void writeOperand(std::ostream& os, const std::string& id, const std::string& text, bool constant) {
  os << tag{"span", "oper"} << tag2{"span", text, constant ? "constant" : "entry", id} << etag{"span"};
}

void writeInfixOperator(std::ostream& os, const std::string& id, const std::string& text) {
  os << tag2{"span", " " + text + " ", "inop", id};
}

void writeExpressions(const std::string& path) {
  OFStream os(path);
  os << tree{};
  os << preformatted{anchor("1")} << expander{"1"} << tag2{"span", "Chain", "regiondesc", "1"} << " {"
     << tag{"span", "tree", "1"} << '\n'
     << "      ";
  os << tag{"span", "top-expr", "2"} << tag2{"span", "#(", "bracket", "2"} << tag2{"span", "+", "preop", "3"};
  writeOperand(os, "4", "a", false);
  writeInfixOperator(os, "3", "+");
  os << tag{"span", "oper"} << tag{"span", "expr", "5"} << tag2{"span", "(", "in-plain"}
     << tag2{"span", "#(", "bracket", "5"} << tag2{"span", "*", "preop", "6"};
  writeOperand(os, "7", "b", false);
  writeInfixOperator(os, "6", "*");
  writeOperand(os, "8", "2", true);
  os << ")" << etag{"span"} << etag{"span"} << ")" << etag{"span"} << '\n';
  os << "  " << etag{"span"} << "}\n";
  os << tag2{"span", "if", "pskeyword", "9"} << ' ' << tag2{"span", "\"hi\"", "litText"} << ' '
     << tag2{"span", "careful", "warning"} << ' ' << tag2{"span", "wrong", "error"} << '\n';
  os << etree{} << defs{};
  for (int id = 1; id <= 9; ++id) {
    os << def{"Node", "0:" + std::to_string(id) + "-9", std::to_string(id), "#1"} << etag{"div"};
  }
  os << def{"File", "file-scope#3:pump-part#2", "31", "#1"} << etag{"div"};
  os << def{"Twice", "func-scope#1:a", "32", "#1"} << etag{"div"};
  os << def{"Twice", "func-scope#1:a", "33", "#1"} << etag{"div"};
  os << def{"Brief", "", "7:1-2", "#1"} << etag{"div"};
  os << edefs{};
}

/// As it is left behind when the printer throws in the middle of a description.
void writeCutPage(const std::string& path) {
  OFStream os(path);
  os << tree{} << tag2{"span", "Whole", "entry", "1"} << '\n' << tag2{"span", "Cut", "entry", "2"} << '\n' << etree{};
  os << defs{} << def{"Whole", "w", "1", "#1"} << etag{"div"} << def{"Cut", "c", "2", "#2"} << tag{"div", "descItem"};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: sample_pages <folder> [<elements of the large page>]\n";
    return 2;
  }
  const std::string folder = std::string(argv[1]) + "/";
  if (argc > 2) {
    writePage(folder + "large.html", largeModel(std::atoi(argv[2])));
    return 0;
  }
  writePage(folder + "typical.html", typicalModel());
  writePage(folder + "empty.html", {});
  writePage(folder + "hostile.html", hostileModel());
  writePage(folder + "long-names.html", longNamesModel());
  writePage(folder + "deep.html", deepModel(300));
  writePage(folder + "large.html", largeModel(10000));
  writeExpressions(folder + "expressions.html");
  writeCutPage(folder + "cut.html");
}
