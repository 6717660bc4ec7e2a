#pragma once

#include <csignal>
#include <string>

namespace nimbo_tool {

/// A run that is interrupted or terminated leaves no half file behind.
void installInterruption();

/// Puts off interruptions while something short must not be cut in two.
class UninterruptedScope {
 public:
  UninterruptedScope() noexcept;
  UninterruptedScope(const UninterruptedScope&) = delete;
  UninterruptedScope& operator=(const UninterruptedScope&) = delete;
  ~UninterruptedScope();

 private:
  sigset_t fBefore{};
};

/// A file, and SQLite's journal beside it, that is removed when the scope ends or the run is interrupted, unless it was
/// kept. One at a time.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string path);
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile();

  [[nodiscard]] const std::string& path() const noexcept { return fPath; }
  /// Renames it. @throws ToolError
  void keepAs(const std::string& path);

 private:
  std::string fPath;
  bool fIsKept = false;
};

}  // namespace nimbo_tool
