#pragma once

#include <cstdint>
#include <string>

#include <tarn/export.h>
#include <tarn/kern/Errors.h>

namespace tarn::kern::io {

/// A place in what a reader was given.
struct TARN_EXPORT ParsePlace {
  std::string source;        ///< the file's name, or what it is ("JSON text") where it has none
  std::uint64_t line = 0;    ///< from 1; 0 where the source has no lines
  std::uint64_t column = 0;  ///< from 1, in bytes
  std::string path;          ///< in the document, such as `entries[3].content.name`; empty at its top

  /// `debian.json:12:5, at entries[3].content.name`
  [[nodiscard]] std::string text() const;
};

/// A text that a reader refuses. `what()` is the place, then the problem. The model is as it was before the reading.
class TARN_EXPORT ParseError : public KernelError {
 public:
  /// "expected ..., found ...", and what to do about it, where something can be said.
  ParseError(ParsePlace place, std::string expected, std::string found, const std::string& advice = {});
  /// A problem that is no matter of one thing expected in place of another.
  ParseError(ParsePlace place, const std::string& problem);
  ParseError(const ParseError&) = default;
  ParseError& operator=(const ParseError&) = default;
  ~ParseError() override;

  /// The same error with a further sentence at its end.
  [[nodiscard]] ParseError with(const std::string& advice) const;

  [[nodiscard]] const std::string& sourceName() const noexcept { return fPlace.source; }
  [[nodiscard]] std::uint64_t line() const noexcept { return fPlace.line; }
  [[nodiscard]] std::uint64_t column() const noexcept { return fPlace.column; }
  [[nodiscard]] const std::string& path() const noexcept { return fPlace.path; }
  /// Both empty where the problem is of another kind.
  [[nodiscard]] const std::string& expected() const noexcept { return fExpected; }
  [[nodiscard]] const std::string& found() const noexcept { return fFound; }
  /// What is wrong, without the place.
  [[nodiscard]] const std::string& problem() const noexcept { return fProblem; }

 private:
  ParsePlace fPlace;
  std::string fExpected;
  std::string fFound;
  std::string fProblem;
};

}  // namespace tarn::kern::io
