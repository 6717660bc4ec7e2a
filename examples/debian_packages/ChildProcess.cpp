#include "ChildProcess.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <streambuf>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;  // POSIX leaves its declaration to the program

namespace debian_packages {
namespace {

constexpr std::size_t kBufferBytes = 64 * 1024;
constexpr std::size_t kMaxComplaintBytes = 1000;

void check(int error, const std::string& what) {
  if (error != 0) throw ProcessError(what + ": " + std::strerror(error));
}

/// What is to be changed between fork and exec, released however starting ends.
struct SpawnSettings {
  SpawnSettings() {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
  }
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  /// Signals as a program expects them: we may ignore SIGPIPE or block signals, and both would be inherited.
  void resetSignals() {
    sigset_t set;
    sigemptyset(&set);
    posix_spawnattr_setsigmask(&attributes, &set);
    sigaddset(&set, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &set);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
};

}  // namespace

/// Reads from the pipe; owns its end.
class ChildProcess::Buffer : public std::streambuf {
 public:
  explicit Buffer(int descriptor) : fDescriptor(descriptor) {}
  ~Buffer() override { ::close(fDescriptor); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;

 protected:
  int_type underflow() override {
    ssize_t count = 0;
    do {
      count = ::read(fDescriptor, fBytes.data(), fBytes.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) throw ProcessError(std::string("reading from a program: ") + std::strerror(errno));
    if (count == 0) return traits_type::eof();
    setg(fBytes.data(), fBytes.data(), fBytes.data() + count);
    return traits_type::to_int_type(fBytes[0]);
  }

 private:
  int fDescriptor;
  std::array<char, kBufferBytes> fBytes;
};

ChildProcess::ChildProcess(std::vector<std::string> arguments) {
  if (arguments.empty()) throw ProcessError("no program to run");
  fProgram = arguments.front();
  fErrors = ::memfd_create("stderr", MFD_CLOEXEC);
  if (fErrors < 0) check(errno, "cannot run " + fProgram);
  try {
    start(arguments);
  } catch (...) {
    ::close(fErrors);
    throw;
  }
}

ChildProcess::~ChildProcess() {
  if (fPid > 0) {
    ::kill(fPid, SIGKILL);
    wait();
  }
  ::close(fErrors);
}

void ChildProcess::start(std::vector<std::string>& arguments) {
  std::array<int, 2> pipeEnds{};
  if (::pipe2(pipeEnds.data(), O_CLOEXEC) != 0) check(errno, "cannot run " + fProgram);
  const auto closeWriteEnd = [&](int*) { ::close(pipeEnds[1]); };
  const std::unique_ptr<int, decltype(closeWriteEnd)> writeEnd(&pipeEnds[1], closeWriteEnd);
  fBuffer = std::make_unique<Buffer>(pipeEnds[0]);
  fOutput = std::make_unique<std::istream>(fBuffer.get());

  SpawnSettings settings;
  settings.resetSignals();
  check(posix_spawn_file_actions_addopen(&settings.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0), fProgram);
  check(posix_spawn_file_actions_adddup2(&settings.actions, pipeEnds[1], STDOUT_FILENO), fProgram);
  check(posix_spawn_file_actions_adddup2(&settings.actions, fErrors, STDERR_FILENO), fProgram);
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  check(::posix_spawn(&fPid, fProgram.c_str(), &settings.actions, &settings.attributes, argv.data(), environ),
        "cannot run " + fProgram);
}

void ChildProcess::finish() {
  if (fPid <= 0) return;
  fOutput->clear();
  fOutput->ignore(std::numeric_limits<std::streamsize>::max());
  const int status = wait();
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return;
  std::string what = fProgram;
  if (WIFSIGNALED(status)) {
    what += " was ended by signal " + std::to_string(WTERMSIG(status));
  } else {
    what += " failed with exit code " + std::to_string(WEXITSTATUS(status));
  }
  const std::string said = complaint();
  throw ProcessError(said.empty() ? what : what + ": " + said);
}

int ChildProcess::wait() {
  int status = 0;
  while (::waitpid(fPid, &status, 0) < 0 && errno == EINTR) {
  }
  fPid = -1;
  return status;
}

std::string ChildProcess::complaint() const {
  std::string said(kMaxComplaintBytes, '\0');
  const ssize_t count = ::pread(fErrors, said.data(), said.size(), 0);
  said.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  while (!said.empty() && said.back() == '\n') said.pop_back();
  return said;
}

}  // namespace debian_packages
