#pragma once

#include <functional>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <quillon/logging/Logger.h>
#include <tarn/kern/ModelElement.h>

#include "quillon/nimbo/BinSerializationException.h"
#include "quillon/nimbo/BinSerializer.h"

namespace testsupport {

/// The container that these roots are saved in.
inline std::string saved(const std::vector<tarn::kern::ModelElement>& roots,
                         quillon::nimbo::BinFormat format = quillon::nimbo::BinFormat::Binary) {
  std::ostringstream stream;
  quillon::nimbo::BinSerializer().serialize(roots, stream, format);
  return std::move(stream).str();
}

/// What goes to std::cerr while this lives.
class CerrCapture {
 public:
  CerrCapture() : fBefore(std::cerr.rdbuf(fText.rdbuf())) {}
  CerrCapture(const CerrCapture&) = delete;
  CerrCapture& operator=(const CerrCapture&) = delete;
  ~CerrCapture() { std::cerr.rdbuf(fBefore); }

  [[nodiscard]] std::string text() const { return fText.str(); }

 private:
  std::ostringstream fText;
  std::streambuf* fBefore;
};

/// The lines that go to the log while this lives, with the process's level set to `level`.
class LogCapture {
 public:
  using Logger = quillon::logging::internal::Logger;

  explicit LogCapture(
      int level, std::function<void()> onLine = [] {})
      : fLevelBefore(Logger::getLevel()),
        fSinkBefore(Logger::setSink([this, onLine = std::move(onLine)](unsigned, int, std::string_view line) {
          fLines.emplace_back(line);
          onLine();
        })) {
    Logger::setLevel(level);
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  ~LogCapture() {
    Logger::setSink(std::move(fSinkBefore));
    Logger::setLevel(fLevelBefore);
  }

  [[nodiscard]] const std::vector<std::string>& lines() const { return fLines; }

 private:
  std::vector<std::string> fLines;
  int fLevelBefore;
  Logger::Sink fSinkBefore;
};

/// The text of the BinSerializationException that `action` throws. It must have printed one line, with the same text,
/// to std::cerr.
template <class Action>
std::string messageOfFailure(Action action) {
  const CerrCapture cerr;
  try {
    action();
  } catch (const quillon::nimbo::BinSerializationException& failure) {
    EXPECT_EQ(cerr.text(), std::string("Unexpected exception: ") + failure.what() + "\n");
    return failure.what();
  }
  ADD_FAILURE() << "no BinSerializationException was thrown";
  return {};
}

/// A failed assertion of the writer names its line, which tests do not fix: the text with "#" in place of the digits.
inline std::string withoutLine(const std::string& message) {
  const std::string source = "shared/nimbo_utils/src/BinSerializer:";
  if (message.rfind(source, 0) != 0) return message;
  const std::size_t behind = message.find_first_not_of("0123456789", source.size());
  return behind == source.size() ? message : source + "#" + message.substr(behind);
}

}  // namespace testsupport
