#include "quillon/nimbo/SafeFile.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ostream>
#include <random>
#include <string>
#include <utility>

#include <bedrock/i18n.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FileDescriptorBuf.h"

namespace quillon::nimbo {

SafeFileError::SafeFileError(int error, const std::string& text)
    : std::system_error(error, std::generic_category(), text) {}

SafeFileError::~SafeFileError() = default;

namespace {

constexpr const char* kAsItWas = "the file is as it was; ";

/// The texts are plain pointers, so that nothing is allocated between a system call and the reading of its errno.
[[noreturn]] void fail(const std::string& path, int error, const char* step, const char* state) {
  throw SafeFileError(error, path + ": " + state + step + " failed");
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

/// The path with its last part's symbolic links followed, whether or not there is something at their end. A path that
/// leads to something else than a file stays: /dev/stdout leads to a pipe that has no other name.
std::string withoutLinks(const std::string& path) {
  struct stat there {};
  if (::stat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode)) return path;
  constexpr int kMostLinks = 40;  // as many as the system follows
  std::string place = path;
  for (int links = 0; links <= kMostLinks; ++links) {
    std::array<char, 4097> target{};
    const ssize_t length = ::readlink(place.c_str(), target.data(), target.size());
    if (length < 0) {
      if (errno == EINVAL || errno == ENOENT) return place;  // no link, or nothing there
      fail(path, errno, "following its links", kAsItWas);    // perhaps a link, which must not be replaced
    }
    if (static_cast<std::size_t>(length) == target.size()) fail(path, ENAMETOOLONG, "following its links", kAsItWas);
    const std::string next(target.data(), static_cast<std::size_t>(length));
    place = next.front() == '/' ? next : folderOf(place) + "/" + next;
  }
  fail(path, ELOOP, "following its links", kAsItWas);
}

std::string systemPath(const std::u16string& path) {
  std::string bytes = bedrock::i18n::ustring_to_utf8(path);
  if (bytes.empty()) fail("\"\"", ENOENT, "opening a file without a name", "");
  // The system would read up to the NUL, and another file would be replaced.
  if (bytes.find('\0') != std::string::npos)
    fail(bedrock::i18n::to_string(path), EINVAL, "using a name with a NUL", "");
  return bytes;
}

std::string randomDigits() {
  std::random_device source;
  const auto number = (std::uint64_t{source()} << 32U) | source();
  std::array<char, 17> digits{};
  std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(number));
  return digits.data();
}

/// A name in the same folder, since a file can only be renamed within its file system. Cut so that it is not too long
/// where the file's own name is not, at the beginning of a character.
std::string temporaryName(const std::string& path) {
  constexpr std::size_t kLongestStem = 200;
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  std::string stem = path.substr(folder.size());
  if (stem.size() > kLongestStem) {
    std::size_t end = kLongestStem;
    while (end > 0 && (static_cast<unsigned char>(stem[end]) & 0xC0U) == 0x80U) --end;
    stem.resize(end);
  }
  return folder + "." + stem + "." + std::to_string(::getpid()) + "." + randomDigits() + ".tmp";
}

mode_t permissionsOf(const struct stat& file) { return file.st_mode & 07777U; }

/// 0, or the system's error.
int syncFolder(const std::string& folder) noexcept {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return errno;
  const int error = ::fsync(descriptor) == 0 ? 0 : errno;
  ::close(descriptor);
  return error;
}

}  // namespace

/// The file descriptor and what has to become of it.
class SafeFile::Output {
 public:
  Output(const std::u16string& path, Durability durability)
      : fPath(systemPath(path)),
        fTarget(withoutLinks(fPath)),
        fDurability(durability),
        fDescriptor(openDescriptor()),
        fBuf(fDescriptor),
        fStream(&fBuf) {}

  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output() { drop(); }

  std::ostream& stream() noexcept { return fStream; }

  void finish() {
    if (fFinished) return;
    if (fFailed) fail(fPath, ECANCELED, "saving again after an error", "");
    try {
      finishSteps();
      fFinished = true;
    } catch (...) {
      fFailed = true;
      drop();
      throw;
    }
  }

  void commit() {
    finish();
    if (fTemporary.empty()) return;  // written through
    if (::rename(fTemporary.c_str(), fTarget.c_str()) != 0) {
      const int error = errno;
      drop();
      fail(fPath, error, "renaming the temporary file", kAsItWas);
    }
    fTemporary.clear();
    if (fDurability != Durability::Durable) return;
    if (const int error = syncFolder(folderOf(fTarget))) {
      fail(fPath, error, "syncing the folder", "the new content is in place, but may not outlive a power cut; ");
    }
  }

 private:
  int openDescriptor() {
    struct stat there {};
    if (::stat(fTarget.c_str(), &there) != 0) {
      if (errno != ENOENT) fail(fPath, errno, "looking at the file", kAsItWas);
      return openTemporary(0666);  // as the process's mask and the folder's rules have it
    }
    // A device or pipe would be replaced by a file of its name: as root even /dev/null.
    if (!S_ISREG(there.st_mode)) return openThrough();
    if (::faccessat(AT_FDCWD, fTarget.c_str(), W_OK, AT_EACCESS) != 0) fail(fPath, errno, "writing the file", kAsItWas);
    fOld = there;
    fReplaces = true;
    return openTemporary(0600);  // nobody else reads it before it has the old file's permissions
  }

  int openThrough() {
    const int descriptor = ::open(fTarget.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) fail(fPath, errno, "opening for writing", "");
    return descriptor;
  }

  int openTemporary(mode_t mode) {
    constexpr int kAttempts = 100;
    int error = EEXIST;
    for (int attempt = 0; attempt < kAttempts && error == EEXIST; ++attempt) {
      std::string name = temporaryName(fTarget);
      const int descriptor = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
      if (descriptor >= 0) {
        fTemporary = std::move(name);
        return descriptor;
      }
      error = errno;
    }
    fail(fPath, error, "creating a temporary file in its folder", kAsItWas);
  }

  void finishSteps() {
    fStream.flush();
    if (!fBuf.flush()) failStep(fBuf.error(), "writing");
    if (!fStream) failStep(EIO, "writing");  // whoever wrote has marked the stream as failed
    if (fReplaces) keepOwnerAndPermissions();
    const bool syncs = fDurability != Durability::None && !fTemporary.empty();
    if (syncs && ::fsync(fDescriptor) != 0)
      failStep(errno, "syncing");  // not tried again: the system forgets the error
    // Closed in any case, also when that reports an error.
    if (::close(std::exchange(fDescriptor, -1)) != 0) failStep(errno, "closing");
  }

  void keepOwnerAndPermissions() const {
    mode_t permissions = permissionsOf(fOld);
    struct stat now {};
    if (::fstat(fDescriptor, &now) != 0) failStep(errno, "looking at the temporary file");
    if (now.st_uid != fOld.st_uid || now.st_gid != fOld.st_gid) {
      const bool all = ::fchown(fDescriptor, fOld.st_uid, fOld.st_gid) == 0;
      const bool group = all || ::fchown(fDescriptor, static_cast<uid_t>(-1), fOld.st_gid) == 0;
      if (!all) permissions &= ~static_cast<mode_t>(S_ISUID);
      if (!group) permissions = (permissions & ~mode_t{02070}) | ((permissions & 07U) << 3U);
    }
    if (permissionsOf(now) == permissions) return;  // some file systems know one set of permissions only
    if (::fchmod(fDescriptor, permissions) != 0) failStep(errno, "setting the permissions");
  }

  /// What was written so far goes; the file itself stays as it is.
  void drop() noexcept {
    if (fDescriptor >= 0) ::close(std::exchange(fDescriptor, -1));
    if (!fTemporary.empty()) ::unlink(fTemporary.c_str());
    fTemporary.clear();
  }

  [[noreturn]] void failStep(int error, const char* step) const {
    fail(fPath, error, step, fTemporary.empty() ? "" : kAsItWas);
  }

  std::string fPath;
  std::string fTarget;     ///< where the file itself lies
  std::string fTemporary;  ///< empty when there is none: written through, renamed or dropped
  Durability fDurability;
  struct stat fOld {};     ///< of the file to be replaced
  bool fReplaces = false;  ///< there is such a file
  bool fFinished = false;
  bool fFailed = false;
  int fDescriptor;  ///< -1 once closed. Opened last: all above is used for it
  FileDescriptorBuf fBuf;
  std::ostream fStream;
};

SafeFile::SafeFile(const std::u16string& path, Durability durability)
    : fOutput(std::make_unique<Output>(path, durability)) {}

SafeFile::~SafeFile() = default;

std::ostream& SafeFile::stream() noexcept { return fOutput->stream(); }

void SafeFile::finish() { fOutput->finish(); }

void SafeFile::commit() { fOutput->commit(); }

}  // namespace quillon::nimbo
