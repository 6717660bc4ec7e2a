#include "FileGuard.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <strata/StoreError.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace strata {

namespace {

using Kind = StoreError::Kind;

constexpr char kMagic[] = "SQLite format 3";  // with its NUL: 16 bytes
constexpr mode_t kAnyWrite = S_IWUSR | S_IWGRP | S_IWOTH;

std::uint32_t bigEndian(const unsigned char* bytes, std::size_t count) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < count; ++i) number = (number << 8U) | bytes[i];
  return number;
}

}  // namespace

FileGuard::FileGuard(const std::string& path, bool onlyRead) : fPath(path) {
  if (path.empty()) throw StoreError(Kind::Location, path, "a store needs a path, and this one is empty");
  if (path.find('\0') != std::string::npos) {
    throw StoreError(Kind::Location, path.substr(0, path.find('\0')), "the path holds a NUL, so it names no file");
  }
  try {
    open(onlyRead);
    takeLock();
  } catch (...) {
    close();
    throw;
  }
}

FileGuard::~FileGuard() { close(); }

void FileGuard::close() noexcept {
  if (fMade) ::unlink(fPath.c_str());
  if (fDescriptor >= 0) ::close(fDescriptor);
  fDescriptor = -1;
}

void FileGuard::open(bool onlyRead) {
  struct stat there {};
  const bool exists = ::stat(fPath.c_str(), &there) == 0;
  if (!exists && errno != ENOENT) fail("cannot look at it", errno);
  if (exists && S_ISDIR(there.st_mode)) throw StoreError(Kind::Location, fPath, "is a folder, not a file");
  if (exists && !S_ISREG(there.st_mode)) throw StoreError(Kind::Location, fPath, "is no ordinary file");

  fReadOnly = onlyRead || (exists && (there.st_mode & kAnyWrite) == 0);
  if (!fReadOnly) {
    fDescriptor = ::open(fPath.c_str(), O_RDWR | O_CLOEXEC | (exists ? 0 : O_CREAT | O_EXCL), 0666);
    fMade = fDescriptor >= 0 && !exists;
    if (fDescriptor < 0 && exists && (errno == EACCES || errno == EROFS || errno == EPERM)) fReadOnly = true;
  }
  if (fReadOnly) fDescriptor = ::open(fPath.c_str(), O_RDONLY | O_CLOEXEC);
  if (fDescriptor < 0) fail(exists ? "cannot open it" : "cannot make it", errno);
}

void FileGuard::takeLock() {
  if (::flock(fDescriptor, (fReadOnly ? LOCK_SH : LOCK_EX) | LOCK_NB) == 0) return;
  if (errno != EWOULDBLOCK) fail("cannot lock it", errno);
  fMade = false;  // it is somebody else's by now
  throw StoreError(Kind::Locked, fPath,
                   "another model, in this process or another one, is bound to this store; a store that is written "
                   "belongs to one model at a time: close it there and try again");
}

void FileGuard::fail(const char* what, int error) const {
  Kind kind = Kind::Location;
  if (error == ENOSPC || error == EDQUOT) kind = Kind::Full;
  if (error == EIO) kind = Kind::Io;
  throw StoreError(kind, fPath,
                   std::string(what) + " (" + std::generic_category().message(error) +
                       "): check the path, its folder and the permissions");
}

std::uint64_t FileGuard::sizeBytes() const {
  struct stat now {};
  if (::fstat(fDescriptor, &now) != 0) fail("cannot look at it", errno);
  return static_cast<std::uint64_t>(now.st_size);
}

bool FileGuard::hasJournal() const {
  struct stat there {};
  return ::stat((fPath + "-journal").c_str(), &there) == 0 && there.st_size > 0;
}

bool FileGuard::hasJournalFile() const {
  struct stat there {};
  return ::stat((fPath + "-journal").c_str(), &there) == 0;
}

FileHeader FileGuard::header() const {
  std::array<unsigned char, FileHeader::kBytes> bytes{};
  std::size_t got = 0;
  while (got < bytes.size()) {
    const ssize_t more = ::pread(fDescriptor, bytes.data() + got, bytes.size() - got, static_cast<off_t>(got));
    if (more < 0 && errno == EINTR) continue;
    if (more < 0) fail("cannot read it", errno);
    if (more == 0) break;
    got += static_cast<std::size_t>(more);
  }
  FileHeader header;
  header.isBlank = std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte == 0; });
  if (got < bytes.size() || std::memcmp(bytes.data(), kMagic, sizeof kMagic) != 0) return header;
  header.hasMagic = true;
  const std::uint32_t pageBytes = bigEndian(&bytes[16], 2);
  header.pageBytes = pageBytes == 1 ? 65'536 : pageBytes;
  header.pages = bigEndian(&bytes[28], 4);
  header.userVersion = bigEndian(&bytes[60], 4);
  header.applicationId = bigEndian(&bytes[68], 4);
  return header;
}

}  // namespace strata
