#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace nimbo_tool {

/// Tells on a terminal what is being done once it takes longer than a second; silent otherwise.
class Progress {
 public:
  /// Off for `--quiet`, and when standard error is no terminal.
  static void allow(bool on) noexcept;

  explicit Progress(std::string what);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

 private:
  void tick();

  std::string fWhat;
  std::mutex fMutex;
  std::condition_variable fEnd;
  bool fHasEnded = false;
  std::thread fThread;
};

}  // namespace nimbo_tool
