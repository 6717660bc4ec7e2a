#include "Progress.h"

#include <chrono>
#include <csignal>

#include <unistd.h>

#include "Interruption.h"
#include "Talk.h"

namespace nimbo_tool {

namespace {

bool gIsAllowed = true;

}  // namespace

void Progress::allow(bool on) noexcept { gIsAllowed = on; }

Progress::Progress(std::string what) : fWhat(std::move(what)) {
  if (!gIsAllowed || ::isatty(STDERR_FILENO) == 0) return;
  const UninterruptedScope scope;  // the new thread inherits it: signals go to the main one
  fThread = std::thread([this] { tick(); });
}

Progress::~Progress() {
  if (!fThread.joinable()) return;
  {
    const std::lock_guard lock(fMutex);
    fHasEnded = true;
  }
  fEnd.notify_one();
  fThread.join();
}

void Progress::tick() {
  using namespace std::chrono_literals;
  std::unique_lock lock(fMutex);
  if (fEnd.wait_for(lock, 1s, [this] { return fHasEnded; })) return;
  int seconds = 1;
  do {
    talk("\r\x1b[K" + fWhat + " ... " + std::to_string(seconds++) + " s");
  } while (!fEnd.wait_for(lock, 1s, [this] { return fHasEnded; }));
  talk("\r\x1b[K");
}

}  // namespace nimbo_tool
