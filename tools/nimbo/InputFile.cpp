#include "InputFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ToolError.h"

namespace nimbo_tool {

namespace {

constexpr std::size_t kBeginning = 16384;

class Descriptor {
 public:
  explicit Descriptor(int fd) noexcept : fFd(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (fFd > STDIN_FILENO) ::close(fFd);
  }
  [[nodiscard]] int get() const noexcept { return fFd; }

 private:
  int fFd;
};

[[noreturn]] void refuse(const std::string& name, int error) {
  throw ToolError(name + ": " + (error == ENOENT ? "no such file" : std::strerror(error)));
}

int openForReading(const std::string& path) {
  if (path == "-") return STDIN_FILENO;
  int fd = -1;
  do {
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) refuse(path, errno);
  return fd;
}

/// Appends up to `limit` bytes. @return false at the end of the file
bool readSome(int fd, std::string& bytes, std::size_t limit, const std::string& name) {
  const std::size_t before = bytes.size();
  bytes.resize(before + limit);
  ssize_t got = 0;
  do {
    got = ::read(fd, bytes.data() + before, limit);
  } while (got < 0 && errno == EINTR);
  if (got < 0) {
    const int error = errno;
    bytes.resize(before);
    refuse(name, error);
  }
  bytes.resize(before + static_cast<std::size_t>(got));
  return got > 0;
}

void readToEnd(int fd, std::string& bytes, std::uint64_t expected, const std::string& name) {
  if (expected > bytes.size()) bytes.reserve(static_cast<std::size_t>(expected) + 1);
  constexpr std::size_t kSmallest = 65536;
  while (true) {
    const std::size_t room = bytes.capacity() - bytes.size();
    if (!readSome(fd, bytes, room < kSmallest ? std::max(kSmallest, bytes.size() / 2) : room, name)) break;
  }
}

}  // namespace

InputFile::InputFile(std::string path, const std::vector<std::string>& magics) : fPath(std::move(path)) {
  const Descriptor file(openForReading(fPath));
  struct stat facts {};
  if (::fstat(file.get(), &facts) != 0) refuse(name(), errno);
  if (S_ISDIR(facts.st_mode)) throw ToolError(name() + ": is a folder, not a file");
  while (fBytes.size() < kBeginning && readSome(file.get(), fBytes, kBeginning - fBytes.size(), name())) {
  }
  fForm = recognise(fBytes, magics);
  if (S_ISREG(facts.st_mode) && !isStandardInput()) {
    fSize = static_cast<std::uint64_t>(facts.st_size);
    fIsRead = fBytes.size() < kBeginning;
    return;
  }
  readToEnd(file.get(), fBytes, 0, name());  // a pipe cannot be read twice
  fSize = fBytes.size();
  fIsRead = true;
}

std::string InputFile::name() const { return isStandardInput() ? "standard input" : fPath; }

const std::string& InputFile::bytes() {
  if (!fIsRead) {
    fBytes.clear();
    const Descriptor file(openForReading(fPath));
    readToEnd(file.get(), fBytes, fSize, name());
    fIsRead = true;
  }
  return fBytes;
}

std::string InputFile::payload() { return bytes().substr(fForm.headerSize); }

}  // namespace nimbo_tool
