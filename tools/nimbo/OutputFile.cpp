#include "OutputFile.h"

#include <atomic>
#include <cerrno>
#include <cstring>

#include <bedrock/i18n.h>
#include <quillon/nimbo/SafeFile.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Interruption.h"
#include "ToolError.h"

namespace nimbo_tool {

void refuseExisting(const std::string& path, bool force) {
  struct stat facts {};
  if (force || path == "-" || ::lstat(path.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) return;
  throw ToolError(path + ": exists already; --force replaces it");
}

void writeOut(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      if (errno == EPIPE) throw ClosedPipe();
      throw ToolError(std::string("standard output: ") + std::strerror(errno));
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

void writeFile(const std::string& path, std::string_view content, bool force) {
  if (path == "-") {
    writeOut(content);
    return;
  }
  refuseExisting(path, force);
  const UninterruptedScope scope;
  try {
    quillon::nimbo::SafeFile file(bedrock::i18n::utf8_to_ustring(path), quillon::nimbo::Durability::Consistent);
    file.stream().write(content.data(), static_cast<std::streamsize>(content.size()));
    file.commit();
  } catch (const quillon::nimbo::SafeFileError& error) {
    if (error.code().value() == EPIPE) throw ClosedPipe();
    throw ToolError(error.what());
  }
}

std::string temporaryNameFor(const std::string& path) {
  static std::atomic<unsigned> counter = 0;
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  return folder + "." + name + "." + std::to_string(::getpid()) + "." + std::to_string(counter++) + ".tmp";
}

}  // namespace nimbo_tool
