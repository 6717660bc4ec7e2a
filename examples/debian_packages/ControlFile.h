#pragma once

#include <cstddef>
#include <istream>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "ReadError.h"

namespace debian_packages {

/// One "Name: value" of a stanza.
struct ControlField {
  std::string name;      ///< as spelled in the file; names are compared without regard to case
  std::string value;     ///< without the blanks around it; continuation lines as they stand, joined by '\n'
  std::size_t line = 0;  ///< where the field begins, counted from 1
};

/// The fields of one stanza, in file order.
struct Stanza {
  std::size_t line = 0;
  std::vector<ControlField> fields;

  const ControlField* find(std::string_view name) const;  ///< null when the stanza has no such field
};

/// Reads the stanzas of a dpkg status file or of a package list one after the other, so that a list of any size needs
/// no more memory than its largest stanza.
///
/// What dpkg accepts is accepted: several empty lines between stanzas, blanks before the colon, blank continuation
/// lines. What dpkg refuses ends in a ReadError with file and line: a line that is no field, a field given twice, a
/// last line without its end (a sign of a file cut short). Any bytes may stand in a value.
class ControlReader {
 public:
  /// `in` must outlive the reader; `file` is only used in errors.
  ControlReader(std::istream& in, std::string file) : fIn(in), fFile(std::move(file)) {}

  /// False at the end of the file, else `stanza` holds the next stanza, which has at least one field.
  bool next(Stanza& stanza);

  const std::string& file() const noexcept { return fFile; }

 private:
  bool readLine();
  void addField(Stanza& stanza);
  [[noreturn]] void fail(const std::string& what) const { throw ReadError(fFile, fLineNumber, what); }

  std::istream& fIn;
  std::string fFile;
  std::string fLine;
  std::size_t fLineNumber = 0;
  std::unordered_set<std::string> fNames;  // of the current stanza in lower case: keeps a hostile one linear
};

}  // namespace debian_packages
