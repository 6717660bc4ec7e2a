#pragma once

#include <istream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/types.h>

namespace debian_packages {

/// A program that could not be run or that failed: names the program, how it ended and what it said on standard error.
class ProcessError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Runs a program and gives its standard output as a stream, while the program is running. There is no shell in
/// between, so no character of an argument has a meaning of its own. The program reads from /dev/null; what it writes
/// to standard error is kept for finish(). Destroying an unfinished process ends the program.
class ChildProcess {
 public:
  /// arguments[0] is the program's file, looked up in no path. Throws ProcessError when it cannot be started.
  explicit ChildProcess(std::vector<std::string> arguments);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  std::istream& output() noexcept { return *fOutput; }

  /// Skips what is left of the output, waits for the program's end, and throws ProcessError unless it ended with 0.
  /// A second call does nothing.
  void finish();

 private:
  class Buffer;

  void start(std::vector<std::string>& arguments);
  int wait();
  std::string complaint() const;

  std::string fProgram;
  pid_t fPid = -1;
  int fErrors = -1;  // a file in memory that takes the program's standard error
  std::unique_ptr<Buffer> fBuffer;
  std::unique_ptr<std::istream> fOutput;
};

}  // namespace debian_packages
