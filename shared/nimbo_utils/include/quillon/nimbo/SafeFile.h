#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <system_error>

#include "quillon/nimbo/export.h"

namespace quillon::nimbo {

/// What must have happened before a save says that it is done.
enum class Durability {
  None,        ///< nothing waits for the disk: after a power cut the file may be empty. For what can be made again.
  Consistent,  ///< the content is on the disk before it takes the file's name: old or new, never a part. For exports.
  Durable,     ///< the name is on the disk too: what was reported as saved stays saved. For what people work on.
};

/// A file that could not be replaced. `code()` is the system's first error, the text begins with the path and says at
/// which step it happened, and whether the file is as it was.
class NIMBO_EXPORT SafeFileError : public std::system_error {
 public:
  SafeFileError(int error, const std::string& text);
  SafeFileError(const SafeFileError&) = default;
  SafeFileError& operator=(const SafeFileError&) = default;
  ~SafeFileError() override;
};

/// Replaces a file as a whole: what is written to `stream()` goes to a temporary file beside it, which takes its name
/// in `commit()`. Until then, and when anything fails, the file is as it was; without `commit()` the destructor drops
/// what was written.
///
///     SafeFile file(u"plan.json");
///     file.stream() << text;
///     file.commit();              // throws when anything was wrong, a full disk during the writing included
///
/// What is kept: a symbolic link stays one, its target is replaced; permissions, and the owner as far as the process
/// may set it (a group that cannot be kept gets no more than everybody). What is not: hard links to the old file keep
/// the old content, and access lists and extended attributes are those of a new file. A new file gets the permissions
/// that any new file of the process gets. A file that the process may not write is not replaced, though the folder
/// would allow it. While a file is saved, both its old and its new content need room on the disk.
///
/// What is no regular file, such as a pipe or a device, cannot be replaced: it is written through, without temporary
/// file and without syncing.
///
/// The temporary file is named after the file, with a dot in front and ".tmp" at the end; it stays behind only when the
/// process is killed. Two saves of one file at a time do not meet: each is complete, the later commit wins.
/// Threads: one at a time. System: POSIX.
class NIMBO_EXPORT SafeFile {
 public:
  /// @throws SafeFileError when the temporary file cannot be created, or the file not be replaced
  explicit SafeFile(const std::u16string& path, Durability durability = Durability::Durable);
  SafeFile(const SafeFile&) = delete;
  SafeFile& operator=(const SafeFile&) = delete;
  ~SafeFile();

  /// For writing from the start to the end; it cannot be repositioned. A write that fails sets its badbit and is
  /// reported by `finish`, so nobody needs to test it on the way.
  [[nodiscard]] std::ostream& stream() noexcept;

  /// The first half of `commit`: everything is in the temporary file, and on the disk if that was asked for. Whoever
  /// writes several files that belong together finishes them all before committing the first. Further calls do nothing.
  /// @throws SafeFileError with the first error since the opening; the temporary file is gone then
  void finish();

  /// Lets the new content take the file's name; `finish` is called first where it was not. To be called once.
  /// @throws SafeFileError: the file is as it was then, but for one case, which the text tells: the new content is in
  ///   place, and the system could not promise that it stays there after a power cut.
  void commit();

 private:
  class Output;
  std::unique_ptr<Output> fOutput;
};

}  // namespace quillon::nimbo
