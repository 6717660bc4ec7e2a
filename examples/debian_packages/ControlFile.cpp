#include "ControlFile.h"

#include <algorithm>

#include "Ascii.h"

namespace debian_packages {
namespace {

void trimEnd(std::string& value) {
  while (!value.empty() && isSpace(value.back())) value.pop_back();
}

}  // namespace

const ControlField* Stanza::find(std::string_view name) const {
  const auto found = std::find_if(fields.begin(), fields.end(),
                                  [&](const ControlField& field) { return equalIgnoringCase(field.name, name); });
  return found == fields.end() ? nullptr : &*found;
}

bool ControlReader::next(Stanza& stanza) {
  stanza.fields.clear();
  fNames.clear();
  while (readLine()) {
    if (fLine.empty()) {
      if (stanza.fields.empty()) continue;
      break;
    }
    if (!isSpace(fLine.front())) {
      addField(stanza);
    } else if (stanza.fields.empty()) {
      fail("a continuation line without a field before it");
    } else {
      stanza.fields.back().value.append(1, '\n').append(fLine);
    }
  }
  for (ControlField& field : stanza.fields) trimEnd(field.value);
  return !stanza.fields.empty();
}

bool ControlReader::readLine() {
  if (!std::getline(fIn, fLine)) {
    if (fIn.bad()) throw ReadError(fFile, 0, "reading failed behind line " + std::to_string(fLineNumber));
    return false;
  }
  ++fLineNumber;
  if (fIn.eof()) fail("the last line lacks its end, so the file may have been cut short");
  return true;
}

void ControlReader::addField(Stanza& stanza) {
  const std::string_view line = fLine;
  std::size_t nameEnd = 0;
  while (nameEnd < line.size() && line[nameEnd] != ':' && !isSpace(line[nameEnd])) ++nameEnd;
  const std::string_view name = line.substr(0, nameEnd);
  if (name.empty()) fail("empty field name");
  std::size_t colon = nameEnd;
  while (colon < line.size() && isBlank(line[colon])) ++colon;
  if (colon == line.size() || line[colon] != ':')
    fail("field name '" + std::string(name) + "' must be followed by colon");
  if (!fNames.insert(toLower(name)).second) fail("duplicate value for '" + std::string(name) + "' field");

  std::string_view value = line.substr(colon + 1);
  while (!value.empty() && isBlank(value.front())) value.remove_prefix(1);
  if (stanza.fields.empty()) stanza.line = fLineNumber;
  stanza.fields.push_back({std::string(name), std::string(value), fLineNumber});
}

}  // namespace debian_packages
