#include <atomic>
#include <cstdio>
#include <locale>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include <quillon/logging/Logger.h>

namespace quillon::logging::internal {
namespace {

void writeToStandardError(unsigned /*category*/, int /*level*/, std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
}

std::atomic<int> sLevel{Logger::kQuietLevel};

/// The sink in use. Never destroyed, since destructors of static objects log too.
struct Delivery {
  // Held while the sink runs: calls do not overlap, and a replaced sink has ended. Recursive, so that a sink may
  // replace itself.
  std::recursive_mutex mutex;
  // How many wait to replace the sink. Lines let those go first: the mutex by itself is not fair, and threads that log
  // without a pause could keep a replacement waiting for ever.
  std::atomic<int> replacements{0};
  std::shared_ptr<const Logger::Sink> sink = std::make_shared<const Logger::Sink>(&writeToStandardError);

  void letReplacementsGoFirst() const noexcept {
    for (int waiting = replacements.load(); waiting > 0; waiting = replacements.load()) replacements.wait(waiting);
  }

  std::shared_ptr<const Logger::Sink> replace(std::shared_ptr<const Logger::Sink> next) {
    ++replacements;
    {
      const std::lock_guard lock(mutex);
      sink.swap(next);
    }
    --replacements;
    replacements.notify_all();
    return next;
  }

  static Delivery& instance() {
    static Delivery& sDelivery = *new Delivery;  // lives as long as the process
    return sDelivery;
  }
};

/// True while the thread is in a sink; what that logs must not come back to it.
thread_local bool tIsInSink = false;

void deliver(unsigned category, int level, std::string_view text) {
  if (tIsInSink) return writeToStandardError(category, level, text);
  Delivery& delivery = Delivery::instance();
  delivery.letReplacementsGoFirst();
  const std::lock_guard lock(delivery.mutex);
  const std::shared_ptr<const Logger::Sink> sink = delivery.sink;  // lives on when the sink replaces itself
  struct InSink {
    InSink() noexcept { tIsInSink = true; }
    InSink(const InSink&) = delete;
    InSink& operator=(const InSink&) = delete;
    ~InSink() { tIsInSink = false; }
  } const inSink;
  (*sink)(category, level, text);
}

}  // namespace

/// The loggers made so far. Never destroyed, as Delivery.
struct LoggerTable {
  std::mutex mutex;
  std::map<unsigned, std::unique_ptr<Logger, void (*)(Logger*)>> loggers;

  static LoggerTable& instance() {
    static LoggerTable& sTable = *new LoggerTable;
    return sTable;
  }

  /// The category that nearly everybody asks for needs neither lock nor memory.
  static Logger& first() {
    static Logger& sFirst = *new Logger(0);
    return sFirst;
  }

  Logger& get(unsigned category) {
    const std::lock_guard lock(mutex);
    auto found = loggers.find(category);
    if (found == loggers.end()) {
      found = loggers.try_emplace(category, new Logger(category), [](Logger* logger) { delete logger; }).first;
    }
    return *found->second;
  }
};

Logger& Logger::logger(unsigned category) {
  return category == 0 ? LoggerTable::first() : LoggerTable::instance().get(category);
}

LogStream Logger::debug(bool always) const noexcept {
  if (!always && getLevel() > kDebugLevel) return {};
  try {
    return {fCategory, kDebugLevel};
  } catch (...) {  // no memory for the line: it is lost, the work goes on
    return {};
  }
}

int Logger::getLevel() noexcept { return sLevel.load(std::memory_order_relaxed); }

void Logger::setLevel(int level) noexcept { sLevel.store(level, std::memory_order_relaxed); }

Logger::Sink Logger::setSink(Sink sink) {
  if (!sink) sink = &writeToStandardError;
  return *Delivery::instance().replace(std::make_shared<const Sink>(std::move(sink)));
}

LogStream::LogStream(unsigned category, int level)
    : fCategory(category), fLevel(level), fText(std::make_unique<std::ostringstream>()) {
  fText->imbue(std::locale::classic());  // a log reads the same whatever the application's locale does to numbers
}

LogStream& LogStream::operator=(LogStream&& other) noexcept {
  if (this == &other) return *this;
  endLine();
  fCategory = other.fCategory;
  fLevel = other.fLevel;
  fText = std::move(other.fText);
  return *this;
}

LogStream::~LogStream() { endLine(); }

void LogStream::endLine() noexcept {
  if (!fText) return;
  try {
    std::string text = std::move(*fText).str();
    fText.reset();
    if (text.empty()) return;
    if (text.back() != '\n') text += '\n';
    deliver(fCategory, fLevel, text);
  } catch (...) {  // whatever the sink does, the work that is logged goes on
    fText.reset();
  }
}

}  // namespace quillon::logging::internal
