#include <utility>

#include <tarn/kern/io/ParseError.h>

namespace tarn::kern::io {

namespace {

std::string expectation(const std::string& expected, const std::string& found, const std::string& advice) {
  return "expected " + expected + ", found " + found + advice;
}

}  // namespace

std::string ParsePlace::text() const {
  std::string text = source;
  if (line != 0) text += ":" + std::to_string(line) + ":" + std::to_string(column);
  if (!path.empty()) text += ", at " + path;
  return text;
}

ParseError::ParseError(ParsePlace place, std::string expected, std::string found, const std::string& advice)
    : KernelError(place.text() + ": " + expectation(expected, found, advice)),
      fPlace(std::move(place)),
      fExpected(std::move(expected)),
      fFound(std::move(found)),
      fProblem(expectation(fExpected, fFound, advice)) {}

ParseError::ParseError(ParsePlace place, const std::string& problem)
    : KernelError(place.text() + ": " + problem), fPlace(std::move(place)), fProblem(problem) {}

ParseError::~ParseError() = default;

ParseError ParseError::with(const std::string& advice) const {
  ParseError longer(fPlace, fProblem + advice);
  longer.fExpected = fExpected;
  longer.fFound = fFound;
  return longer;
}

}  // namespace tarn::kern::io
