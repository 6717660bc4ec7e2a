#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace debian_packages {

/// Input that cannot be read, as one line for the user: "file:line: what is wrong". Line 0 means the file as a whole.
class ReadError : public std::runtime_error {
 public:
  ReadError(const std::string& file, std::size_t line, const std::string& what)
      : std::runtime_error(line == 0 ? file + ": " + what : file + ":" + std::to_string(line) + ": " + what),
        fFile(file),
        fLine(line) {}

  const std::string& file() const noexcept { return fFile; }
  std::size_t line() const noexcept { return fLine; }

 private:
  std::string fFile;
  std::size_t fLine;
};

}  // namespace debian_packages
