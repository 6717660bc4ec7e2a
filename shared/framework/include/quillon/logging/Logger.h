#pragma once

#include <functional>
#include <ios>
#include <memory>
#include <ostream>
#include <sstream>
#include <string_view>

#include <bedrock/i18n.h>
#include <tarn/export.h>

namespace quillon::logging::internal {

/// One line on its way to the log: text is written with operator<<, the line ends when the object is destroyed. The
/// sink then gets the whole text in one piece, with a line feed added only where it lacks one. A line to which nothing
/// was written is not delivered.
///
/// A line that nobody wants (see Logger) costs one test per piece: nothing is formatted. Nothing here throws: what a
/// printing operator throws cuts the line short, what the sink throws is dropped.
/// Threads: one at a time; different lines may be written in parallel.
class TARN_EXPORT LogStream {
 public:
  LogStream(LogStream&& other) noexcept = default;
  LogStream& operator=(LogStream&& other) noexcept;
  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;
  ~LogStream();

  /// Writes anything that a std::ostream prints, manipulators included.
  template <class T>
  LogStream& operator<<(const T& piece) noexcept {
    return print([&](std::ostream& stream) { stream << piece; });
  }
  LogStream& operator<<(const bedrock::i18n::ustring& piece) noexcept {
    return print([&](std::ostream& stream) { bedrock::i18n::operator<<(stream, piece); });
  }
  LogStream& operator<<(std::ostream& (*manipulator)(std::ostream&)) noexcept { return print(manipulator); }
  LogStream& operator<<(std::ios_base& (*manipulator)(std::ios_base&)) noexcept { return print(manipulator); }

  /// True when the line will reach the sink: where composing a text is costly, ask first.
  [[nodiscard]] explicit operator bool() const noexcept { return fText != nullptr; }

 private:
  friend class Logger;
  LogStream() noexcept = default;
  LogStream(unsigned category, int level);

  template <class Print>
  LogStream& print(Print printPiece) noexcept {
    if (!fText) return *this;
    try {
      printPiece(*fText);
    } catch (...) {  // a log line must never change the course of the work it tells of
      fText->setstate(std::ios_base::badbit);
    }
    return *this;
  }
  void endLine() noexcept;

  unsigned fCategory = 0;
  int fLevel = 0;
  std::unique_ptr<std::ostringstream> fText;  ///< null: nobody wants this line, or it was moved away
};

/// The way to the log. There is one level and one sink for the whole process: a line is delivered when its own level is
/// not below the process's; debug lines have level 300. The library is quiet until an application lowers the level.
/// Lives as long as the process, static destructors included. Threads: everything may be called from any thread.
class TARN_EXPORT Logger {
 public:
  /// Level of the lines that `debug` opens.
  static constexpr int kDebugLevel = 300;
  /// The level a process starts with: no debug lines.
  static constexpr int kQuietLevel = 400;

  /// Receives category, level and text (UTF-8, ends with a line feed; valid during the call only). Calls never overlap,
  /// so a sink needs no lock of its own. What it throws is dropped. Lines that it logs itself go to standard error.
  using Sink = std::function<void(unsigned category, int level, std::string_view text)>;

  /// The logger of a category; the reference stays valid for the life of the process.
  [[nodiscard]] static Logger& logger(unsigned category);

  /// Opens a debug line. @param always delivers it whatever the level is.
  [[nodiscard]] LogStream debug(bool always) const noexcept;

  [[nodiscard]] unsigned category() const noexcept { return fCategory; }

  /// The level of the process; at 300 and below debug lines are delivered.
  [[nodiscard]] static int getLevel() noexcept;
  static void setLevel(int level) noexcept;

  /// Puts `sink` in place of the present one and returns that; an empty one brings back the default, which writes the
  /// text to standard error. When it returns, the replaced sink is no longer running in any other thread.
  static Sink setSink(Sink sink);

  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

 private:
  friend struct LoggerTable;
  explicit Logger(unsigned category) noexcept : fCategory(category) {}
  ~Logger() = default;

  unsigned fCategory;
};

}  // namespace quillon::logging::internal
