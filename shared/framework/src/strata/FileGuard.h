#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include <sys/types.h>

namespace strata {

/// What the first bytes of a SQLite file say.
struct FileHeader {
  static constexpr std::size_t kBytes = 100;
  bool hasMagic = false;  ///< it begins like a SQLite file
  bool isBlank = false;   ///< nothing but zeros
  std::uint64_t pageBytes = 0;
  std::uint64_t pages = 0;
  std::uint32_t userVersion = 0;
  std::uint32_t applicationId = 0;
};

/// Holds a store's file for one binding: shared by those that only read, alone by one that writes, against all bindings
/// in this process and in others. SQLite's own locks belong to the process and end as soon as anybody in it closes the
/// file; this one does not. It is gone with the process, however that ends.
class FileGuard {
 public:
  /// Opens the file, making it if need be, and takes the lock. A file whose permissions bar writing is opened for
  /// reading, for the superuser too. @throws StoreError
  FileGuard(const std::string& path, bool onlyRead);
  FileGuard(const FileGuard&) = delete;
  FileGuard& operator=(const FileGuard&) = delete;
  /// Takes a file that this guard made away again, unless it was kept.
  ~FileGuard();

  [[nodiscard]] bool isReadOnly() const noexcept { return fReadOnly; }
  [[nodiscard]] std::uint64_t sizeBytes() const;
  [[nodiscard]] FileHeader header() const;
  /// A journal lies beside it: its last writer did not come to an end.
  [[nodiscard]] bool hasJournal() const;
  /// The same, also when nothing is in it.
  [[nodiscard]] bool hasJournalFile() const;
  /// A file that this guard made is there to stay.
  void keep() noexcept { fMade = false; }

 private:
  void open(bool onlyRead);
  void takeLock();
  void close() noexcept;
  [[noreturn]] void fail(const char* what, int error) const;

  std::string fPath;
  int fDescriptor = -1;
  bool fReadOnly = false;
  bool fMade = false;
};

}  // namespace strata
