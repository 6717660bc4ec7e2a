#include "Form.h"

#include <algorithm>
#include <cctype>

namespace nimbo_tool {

namespace {

constexpr std::string_view kSqliteMagic("SQLite format 3\0", 16);
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

std::string_view withoutBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

/// UTF-16 text as if it were ASCII: enough to look for names of elements and keys.
std::string narrowed(std::string_view text) {
  std::string result;
  std::copy_if(text.begin(), text.end(), std::back_inserter(result), [](char c) { return c > 0; });
  return result;
}

bool isUtf16(std::string_view bytes) {
  if (bytes.size() < 4) return false;
  if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) return true;
  return (bytes[0] == '<' && bytes[1] == 0) || (bytes[0] == 0 && bytes[1] == '<');
}

/// The first start tag of an XML text, declaration and comments left out.
std::string_view rootTag(std::string_view text) {
  for (std::size_t at = text.find('<'); at != std::string_view::npos; at = text.find('<', at + 1)) {
    if (text.substr(at).starts_with("<!--")) {
      at = text.find("-->", at);
      if (at == std::string_view::npos) return {};
      continue;
    }
    if (at + 1 < text.size() && text[at + 1] != '?' && text[at + 1] != '!') {
      return text.substr(at, text.find('>', at) - at);
    }
  }
  return {};
}

RecognisedForm recogniseXml(std::string_view text) {
  const std::string_view root = rootTag(text);
  const bool isPackage = root.find("EPackage") < root.find_first_of(" \t\r\n");
  const bool holdsPackages =
      root.find("XMI") < root.find_first_of(" \t\r\n") && text.find("<ecore:EPackage") != std::string_view::npos;
  return {isPackage || holdsPackages ? Form::Ecore : Form::Xml, 0, 0};
}

/// The keys of the outermost object decide: a model has "entries".
RecognisedForm recogniseJson(std::string_view text) {
  std::size_t depth = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '{' || c == '[') ++depth;
    if ((c == '}' || c == ']') && depth > 0) --depth;
    if (c != '"') continue;
    const std::size_t begin = at + 1;
    for (at = begin; at < text.size() && text[at] != '"'; ++at) {
      if (text[at] == '\\') ++at;
    }
    if (at >= text.size()) break;
    const bool isKey = depth == 1 && withoutBlanks(text.substr(at + 1)).starts_with(':');
    const std::string_view key = text.substr(begin, at - begin);
    if (isKey && (key == "entries" || key == "packageUris")) return {Form::Json, 0, 0};
    if (isKey && (key == "metamodel" || key == "packages" || key == "evolution")) {
      return {Form::MetaJson, 0, 0};
    }
  }
  return {Form::Json, 0, 0};
}

bool isContainerLetter(char c) { return std::string_view("BZzJCc").find(c) != std::string_view::npos; }

}  // namespace

RecognisedForm recognise(std::string_view beginning, const std::vector<std::string>& magics) {
  if (beginning.empty()) return {Form::Empty, 0, 0};
  for (const std::string& magic : magics) {
    if (magic.empty() || !beginning.starts_with(magic)) continue;
    const std::string_view rest = beginning.substr(magic.size());
    if (rest.empty() || isContainerLetter(rest[0]))
      return {Form::Container, rest.empty() ? '\0' : rest[0], magic.size()};
  }
  if (beginning.starts_with(kSqliteMagic)) return {Form::Store, 0, 0};
  if (isUtf16(beginning)) return recogniseXml(narrowed(beginning));
  std::string_view text = beginning;
  if (text.starts_with(kUtf8Mark)) text.remove_prefix(kUtf8Mark.size());
  const std::string_view visible = withoutBlanks(text);
  if (visible.starts_with('{')) return recogniseJson(visible);
  if (visible.starts_with('<')) return recogniseXml(visible);
  if (isContainerLetter(beginning[0])) return {Form::Container, beginning[0], 0};
  return {};
}

std::string formName(const RecognisedForm& form) {
  switch (form.form) {
    case Form::Empty:
      return "an empty file";
    case Form::Container: {
      const std::string header = form.headerSize > 0 ? " behind a header" : "";
      switch (form.letter) {
        case 'B':
          return "a plain binary container (B)" + header;
        case 'Z':
          return "a gzip container (Z)" + header;
        case 'z':
          return "a zstd container (z)" + header;
        case 'J':
          return "a container of plain JSON (J)" + header;
        case 'C':
          return "a gzip container of JSON (C)" + header;
        case 'c':
          return "a zstd container of JSON (c)" + header;
        default:
          return "a header without container";
      }
    }
    case Form::Json:
      return "a model as JSON";
    case Form::MetaJson:
      return "a meta-model as JSON";
    case Form::Xml:
      return "a model as XML";
    case Form::Ecore:
      return "a meta-model as Ecore";
    case Form::Store:
      return "a store (SQLite)";
    case Form::Unknown:
      break;
  }
  return "of no known form";
}

std::string formWord(const RecognisedForm& form) {
  switch (form.form) {
    case Form::Empty:
      return "empty";
    case Form::Container:
      return form.letter == 0 ? "header" : std::string(1, form.letter);
    case Form::Json:
      return "json";
    case Form::MetaJson:
      return "metamodel-json";
    case Form::Xml:
      return "xml";
    case Form::Ecore:
      return "ecore";
    case Form::Store:
      return "store";
    case Form::Unknown:
      break;
  }
  return "unknown";
}

}  // namespace nimbo_tool
