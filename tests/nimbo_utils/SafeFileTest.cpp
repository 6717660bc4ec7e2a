#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <ostream>
#include <set>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "quillon/nimbo/SafeFile.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using quillon::nimbo::Durability;
using quillon::nimbo::SafeFile;
using quillon::nimbo::SafeFileError;
using testsupport::contentOf;
using testsupport::TemporaryFolder;
using testsupport::writeFile;

using Names = std::set<std::string>;

void save(const std::u16string& path, const std::string& bytes, Durability durability = Durability::Durable) {
  SafeFile file(path, durability);
  file.stream() << bytes;
  file.commit();
}

/// The error that the work ends in; 0 when it does not. Its text goes to `text`.
int errorOf(const std::function<void()>& work, std::string& text) {
  try {
    work();
  } catch (const SafeFileError& error) {
    text = error.what();
    return error.code().value();
  }
  return 0;
}
int errorOf(const std::function<void()>& work) {
  std::string text;
  return errorOf(work, text);
}

mode_t modeOf(const fs::path& path) {
  struct stat file {};
  EXPECT_EQ(::stat(path.c_str(), &file), 0);
  return file.st_mode & 07777U;
}

std::string largeText() {
  std::string text;
  while (text.size() < 300'000) text += std::to_string(text.size() * 7919) + ";";
  return text;
}

/// Files may not grow beyond a bound, which the system answers like a full disk once the signal is ignored.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : fOldHandler(std::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &fOld);
    rlimit limit = fOld;
    limit.rlim_cur = bytes;
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &fOld);
    std::signal(SIGXFSZ, fOldHandler);
  }

 private:
  void (*fOldHandler)(int);
  rlimit fOld{};
};

/// Root may do everything: while this lives, the process is nobody. Does nothing for who is not root.
class Unprivileged {
 public:
  Unprivileged() {
    if (!kIsRoot) return;
    EXPECT_EQ(::setgroups(0, nullptr), 0);
    EXPECT_EQ(::setegid(kNobody), 0);
    EXPECT_EQ(::seteuid(kNobody), 0);
  }
  Unprivileged(const Unprivileged&) = delete;
  Unprivileged& operator=(const Unprivileged&) = delete;
  ~Unprivileged() {
    if (!kIsRoot) return;
    EXPECT_EQ(::seteuid(0), 0);
    EXPECT_EQ(::setegid(0), 0);
  }
  static constexpr uid_t kNobody = 65534;

 private:
  const bool kIsRoot = ::geteuid() == 0;
};

void letEverybodyIn(const TemporaryFolder& folder) { fs::permissions(folder.path(), fs::perms::all); }

TEST(SafeFile, MakesANewFileWithThePermissionsOfAnyNewFile) {
  const TemporaryFolder folder;
  const mode_t old = ::umask(027);
  save(folder.file(u"plan"), "content");
  ::umask(old);
  EXPECT_EQ(contentOf(folder / "plan"), "content");
  EXPECT_EQ(modeOf(folder / "plan"), 0640U);
  EXPECT_EQ(folder.names(), Names{"plan"});
}

TEST(SafeFile, ReplacesAFileAndKeepsItsPermissions) {
  const TemporaryFolder folder;
  writeFile(folder / "plan", "old and longer than the new one");
  for (const mode_t mode : {0600U, 0644U, 0755U, 0666U}) {
    ASSERT_EQ(::chmod((folder / "plan").c_str(), mode), 0);
    save(folder.file(u"plan"), "new");
    EXPECT_EQ(contentOf(folder / "plan"), "new");
    EXPECT_EQ(modeOf(folder / "plan"), mode);
  }
  EXPECT_EQ(folder.names(), Names{"plan"});
}

TEST(SafeFile, SavesUnderEveryDurability) {
  const TemporaryFolder folder;
  for (const Durability durability : {Durability::None, Durability::Consistent, Durability::Durable}) {
    const std::string content = "level " + std::to_string(static_cast<int>(durability));
    save(folder.file(u"plan"), content, durability);
    EXPECT_EQ(contentOf(folder / "plan"), content);
  }
}

TEST(SafeFile, HoldsEveryByteOfAnySize) {
  const TemporaryFolder folder;
  for (const std::size_t size : {0U, 1U, 65'535U, 65'536U, 65'537U, 200'000U}) {
    const std::string bytes = largeText().substr(0, size);
    save(folder.file(u"whole"), bytes);
    EXPECT_EQ(contentOf(folder / "whole"), bytes);
    SafeFile pieces(folder.file(u"pieces"));
    for (const char byte : bytes) pieces.stream().put(byte);
    pieces.commit();
    EXPECT_EQ(contentOf(folder / "pieces"), bytes);
  }
}

TEST(SafeFile, TakesNamesOfEveryKind) {
  const TemporaryFolder folder;
  const std::u16string longest(255, u'n');
  const std::u16string wide(85, u'ж');  // of two bytes each, so that no cut at an even place splits one
  for (const std::u16string& name : {std::u16string(u"план 😀.json"), longest, u"n" + wide + wide.substr(0, 40)}) {
    save(folder.file(name), "content");
    EXPECT_EQ(contentOf(fs::path(folder.file(name))), "content");
  }
  EXPECT_EQ(folder.names().size(), 3U);
}

TEST(SafeFile, SavesInTheWorkingDirectory) {
  const TemporaryFolder folder;
  const fs::path before = fs::current_path();
  fs::current_path(folder.path());
  const int error = errorOf([] { save(u"plan", "here"); });
  fs::current_path(before);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(contentOf(folder / "plan"), "here");
  EXPECT_EQ(folder.names(), Names{"plan"});
}

TEST(SafeFile, LeavesTheOldFileUntilTheCommit) {
  const TemporaryFolder folder;
  writeFile(folder / "plan", "old");
  SafeFile file(folder.file(u"plan"));
  file.stream() << largeText();
  EXPECT_EQ(contentOf(folder / "plan"), "old");
  EXPECT_EQ(folder.names().size(), 2U) << "the new content waits in a file of the same folder";
  file.finish();
  file.finish();
  EXPECT_EQ(contentOf(folder / "plan"), "old");
  file.commit();
  file.commit();
  EXPECT_EQ(contentOf(folder / "plan"), largeText());
  EXPECT_EQ(folder.names(), Names{"plan"});
}

TEST(SafeFile, DropsWhatIsNotCommitted) {
  const TemporaryFolder folder;
  writeFile(folder / "plan", "old");
  try {
    SafeFile file(folder.file(u"plan"));
    file.stream() << "half of";
    throw std::runtime_error("the writer failed");
  } catch (const std::runtime_error&) {
  }
  { const SafeFile untouched(folder.file(u"new")); }
  EXPECT_EQ(contentOf(folder / "plan"), "old");
  EXPECT_EQ(folder.names(), Names{"plan"});
}

TEST(SafeFile, HidesTheContentOfAPrivateFileWhileItIsWritten) {
  const TemporaryFolder folder;
  writeFile(folder / "plan", "old");
  ASSERT_EQ(::chmod((folder / "plan").c_str(), 0600), 0);
  SafeFile file(folder.file(u"plan"));
  for (const std::string& name : folder.names()) EXPECT_EQ(modeOf(folder / name), 0600U) << name;
  file.commit();
}

TEST(SafeFile, FollowsSymbolicLinksAndLeavesThemLinks) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "far");
  writeFile(folder / "far/plan", "old");
  fs::create_symlink("far/plan", folder / "near");      // relative to the link
  fs::create_symlink(folder / "near", folder / "top");  // absolute, and a link to a link
  save(folder.file(u"top"), "new");
  EXPECT_TRUE(fs::is_symlink(folder / "top"));
  EXPECT_TRUE(fs::is_symlink(folder / "near"));
  EXPECT_FALSE(fs::is_symlink(folder / "far/plan"));
  EXPECT_EQ(contentOf(folder / "far/plan"), "new");
  EXPECT_EQ(folder.names(), (Names{"far", "near", "top"}));
}

TEST(SafeFile, MakesTheFileThatALinkWaitsFor) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "far");
  fs::create_symlink("far/plan", folder / "near");
  save(folder.file(u"near"), "new");
  EXPECT_TRUE(fs::is_symlink(folder / "near"));
  EXPECT_EQ(contentOf(folder / "far/plan"), "new");
}

TEST(SafeFile, RefusesLinksThatGoInCircles) {
  const TemporaryFolder folder;
  fs::create_symlink("b", folder / "a");
  fs::create_symlink("a", folder / "b");
  EXPECT_EQ(errorOf([&] { save(folder.file(u"a"), "new"); }), ELOOP);
  EXPECT_EQ(folder.names(), (Names{"a", "b"}));
}

TEST(SafeFile, LeavesAHardLinkWithTheOldContent) {
  const TemporaryFolder folder;
  writeFile(folder / "plan", "old");
  fs::create_hard_link(folder / "plan", folder / "other");
  save(folder.file(u"plan"), "new");
  EXPECT_EQ(contentOf(folder / "plan"), "new");
  EXPECT_EQ(contentOf(folder / "other"), "old");
}

TEST(SafeFile, ReportsADeviceWithoutRoomAndLeavesItADevice) {
  std::string text;
  EXPECT_EQ(errorOf([] { save(u"/dev/full", "content"); }, text), ENOSPC);
  EXPECT_EQ(text, "/dev/full: writing failed: No space left on device");
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST(SafeFile, WritesThroughToADeviceEvenByALink) {
  const TemporaryFolder folder;
  fs::create_symlink("/dev/null", folder / "sink");
  save(folder.file(u"sink"), largeText());
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_EQ(folder.names(), Names{"sink"});
}

TEST(SafeFile, WritesThroughToAPipe) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  std::string received;
  std::thread reader([&] { received = contentOf(folder / "pipe"); });
  save(folder.file(u"pipe"), largeText());
  reader.join();
  EXPECT_EQ(received, largeText());
  EXPECT_TRUE(fs::is_fifo(folder / "pipe"));
}

TEST(SafeFile, WritesThroughToAPipeThatHasNoNameOfItsOwn) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const std::string descriptor = "/dev/fd/" + std::to_string(ends[1]);
  save(std::u16string(descriptor.begin(), descriptor.end()), "content");
  char received[16] = {};
  EXPECT_EQ(::read(ends[0], received, sizeof received), 7);
  EXPECT_STREQ(received, "content");
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST(SafeFile, RefusesFoldersAndMissingFolders) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "inner");
  EXPECT_EQ(errorOf([&] { save(folder.file(u"inner"), "x"); }), EISDIR);
  EXPECT_EQ(errorOf([&] { save(folder.file(u"missing/plan"), "x"); }), ENOENT);
  writeFile(folder / "plain", "old");
  EXPECT_EQ(errorOf([&] { save(folder.file(u"plain/plan"), "x"); }), ENOTDIR);
  EXPECT_EQ(folder.names(), (Names{"inner", "plain"}));
}

TEST(SafeFile, RefusesAnEmptyNameAndOneWithANul) {
  const TemporaryFolder folder;
  writeFile(folder / "plan", "old");
  EXPECT_EQ(errorOf([] { save(u"", "x"); }), ENOENT);
  EXPECT_EQ(errorOf([&] { save(folder.file(u"plan") + u'\0' + u"tail", "x"); }), EINVAL);
  EXPECT_EQ(contentOf(folder / "plan"), "old");
}

TEST(SafeFile, KeepsTheOldFileWhenThereIsNoRoom) {
  const TemporaryFolder folder;
  writeFile(folder / "plan", "old");
  for (const rlim_t bytes : {0U, 1'000U, 65'536U, 131'072U, 299'999U}) {
    const FileSizeLimit limit(bytes);
    std::string text;
    EXPECT_EQ(errorOf([&] { save(folder.file(u"plan"), largeText()); }, text), EFBIG) << bytes;
    EXPECT_EQ(text, (folder / "plan").string() + ": the file is as it was; writing failed: File too large");
    EXPECT_EQ(contentOf(folder / "plan"), "old");
    EXPECT_EQ(folder.names(), Names{"plan"});
  }
}

TEST(SafeFile, TellsTheWriterAtOnceThatWritingFailed) {
  const TemporaryFolder folder;
  const FileSizeLimit limit(1'000);
  SafeFile file(folder.file(u"plan"));
  file.stream() << largeText();
  EXPECT_TRUE(file.stream().bad());
  EXPECT_EQ(errorOf([&] { file.finish(); }), EFBIG);
  EXPECT_EQ(folder.names(), Names{}) << "the temporary file goes with the error";
  EXPECT_EQ(errorOf([&] { file.commit(); }), ECANCELED) << "an error does not heal";
  EXPECT_EQ(folder.names(), Names{});
}

TEST(SafeFile, RefusesWhatItsWriterMarkedAsFailed) {
  const TemporaryFolder folder;
  writeFile(folder / "plan", "old");
  SafeFile file(folder.file(u"plan"));
  file.stream() << "half of";
  file.stream().setstate(std::ios_base::failbit);
  EXPECT_EQ(errorOf([&] { file.commit(); }), EIO);
  EXPECT_EQ(contentOf(folder / "plan"), "old");
  EXPECT_EQ(folder.names(), Names{"plan"});
}

TEST(SafeFile, NeedsAFolderThatMayBeWritten) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "closed");
  writeFile(folder / "closed/plan", "old");
  fs::permissions(folder.path(), fs::perms::all);
  fs::permissions(folder / "closed/plan", fs::perms::owner_all | fs::perms::others_all);
  fs::permissions(folder / "closed", fs::perms::owner_exec | fs::perms::others_exec);
  {
    const Unprivileged nobody;
    std::string text;
    EXPECT_EQ(errorOf([&] { save(folder.file(u"closed/plan"), "new"); }, text), EACCES);
    EXPECT_EQ(text, (folder / "closed/plan").string() +
                        ": the file is as it was; creating a temporary file in its folder failed: Permission denied");
  }
  fs::permissions(folder / "closed", fs::perms::owner_all);
  EXPECT_EQ(contentOf(folder / "closed/plan"), "old");
}

TEST(SafeFile, DoesNotReplaceAFileThatMayNotBeWritten) {
  const TemporaryFolder folder;
  letEverybodyIn(folder);
  writeFile(folder / "plan", "old");
  fs::permissions(folder / "plan", fs::perms::owner_read | fs::perms::others_read);
  {
    const Unprivileged nobody;
    EXPECT_EQ(errorOf([&] { save(folder.file(u"plan"), "new"); }), EACCES);
  }
  EXPECT_EQ(contentOf(folder / "plan"), "old");
  EXPECT_EQ(folder.names(), Names{"plan"});
}

TEST(SafeFile, KeepsTheOwnerWhereThatIsAllowed) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can make files of others";
  const TemporaryFolder folder;
  writeFile(folder / "plan", "old");
  ASSERT_EQ(::chown((folder / "plan").c_str(), 1234, 4321), 0);
  ASSERT_EQ(::chmod((folder / "plan").c_str(), 0640), 0);
  save(folder.file(u"plan"), "new");
  struct stat file {};
  ASSERT_EQ(::stat((folder / "plan").c_str(), &file), 0);
  EXPECT_EQ(file.st_uid, 1234U);
  EXPECT_EQ(file.st_gid, 4321U);
  EXPECT_EQ(modeOf(folder / "plan"), 0640U);
}

TEST(SafeFile, GivesAStrangeGroupNoMoreThanEverybody) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can make files of others";
  const TemporaryFolder folder;
  letEverybodyIn(folder);
  writeFile(folder / "plan", "old");
  ASSERT_EQ(::chown((folder / "plan").c_str(), 0, 4321), 0);
  ASSERT_EQ(::chmod((folder / "plan").c_str(), 0672), 0);
  {
    const Unprivileged nobody;
    save(folder.file(u"plan"), "new");
  }
  EXPECT_EQ(contentOf(folder / "plan"), "new");
  EXPECT_EQ(modeOf(folder / "plan"), 0622U);
}

TEST(SafeFile, LetsTheLaterOfTwoSavesWin) {
  const TemporaryFolder folder;
  SafeFile first(folder.file(u"plan"));
  SafeFile second(folder.file(u"plan"));
  first.stream() << "first";
  second.stream() << "second";
  second.commit();
  EXPECT_EQ(contentOf(folder / "plan"), "second");
  first.commit();
  EXPECT_EQ(contentOf(folder / "plan"), "first");
  EXPECT_EQ(folder.names(), Names{"plan"});
}

}  // namespace
