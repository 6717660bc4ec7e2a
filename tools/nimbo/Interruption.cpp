#include "Interruption.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <unistd.h>

#include "ToolError.h"

namespace nimbo_tool {

namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};

// What the handler removes. Only plain memory: a handler may touch nothing else.
std::array<char, 4096> gFile{};
std::array<char, 4096> gJournal{};
volatile std::sig_atomic_t gHasFile = 0;

extern "C" void removeAndDie(int signal) {
  if (gHasFile != 0) {
    ::unlink(gFile.data());
    ::unlink(gJournal.data());
  }
  // The default action is in place again (SA_RESETHAND): the caller's shell sees which signal it was.
  ::raise(signal);
}

sigset_t handledSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : kSignals) sigaddset(&set, signal);
  return set;
}

void copyPath(std::array<char, 4096>& place, const std::string& path) {
  place.fill(0);
  path.copy(place.data(), place.size() - 1);
}

}  // namespace

void installInterruption() {
  struct sigaction action {};
  action.sa_handler = removeAndDie;
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
  sigemptyset(&action.sa_mask);
  for (const int signal : kSignals) {
    struct sigaction before {};
    // What the parent told us to ignore (nohup) stays ignored.
    if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
      ::sigaction(signal, &action, nullptr);
  }
  std::signal(SIGPIPE, SIG_IGN);  // a closed pipe shows as a failing write
}

UninterruptedScope::UninterruptedScope() noexcept {
  const sigset_t set = handledSignals();
  ::pthread_sigmask(SIG_BLOCK, &set, &fBefore);
}

UninterruptedScope::~UninterruptedScope() { ::pthread_sigmask(SIG_SETMASK, &fBefore, nullptr); }

TemporaryFile::TemporaryFile(std::string path) : fPath(std::move(path)) {
  const UninterruptedScope scope;
  copyPath(gFile, fPath);
  copyPath(gJournal, fPath + "-journal");
  gHasFile = 1;
}

TemporaryFile::~TemporaryFile() {
  const UninterruptedScope scope;
  if (!fIsKept) {
    ::unlink(fPath.c_str());
    ::unlink((fPath + "-journal").c_str());
  }
  gHasFile = 0;
}

void TemporaryFile::keepAs(const std::string& path) {
  const UninterruptedScope scope;
  if (::rename(fPath.c_str(), path.c_str()) != 0)
    throw ToolError(path + ": cannot be written: " + std::strerror(errno));
  fIsKept = true;
}

}  // namespace nimbo_tool
