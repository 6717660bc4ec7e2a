#include <cstdlib>
#include <iostream>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "framework/strata_datasource/StoreTestSupport.h"
#include "framework/tarn/kern/KernelTestModel.h"

using namespace tarn::kern;  // NOLINT: the vocabulary of these tests
using storetest::sql;

namespace {

/// What was acknowledged is in the file, whole, whatever happened to the program that wrote it. A campaign
/// (scripts/store_campaign) asks for more by the environment: STORE_KILLS, STORE_FAULTS, and STORE_SMALL_DISK, a folder
/// on a file system that fills up soon.
class StoreCrashTest : public testing::Test {
 protected:
  void SetUp() override { static_cast<void>(kerneltest::types()); }  // registers them

  struct Run {
    int status = 0;  // of waitpid
    std::size_t acknowledged = 0;
  };

  /// How often the random tests try; a campaign sets more.
  static int repeats(const char* variable, int normally) {
    const char* text = std::getenv(variable);
    return text == nullptr ? normally : std::atoi(text);
  }

  /// Runs the victim; kills it after so many microseconds, unless that is negative.
  Run run(const std::vector<std::string>& command, int killAfterMicroseconds) {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    const pid_t child = ::fork();
    if (child == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      const int nowhere = ::open("/dev/null", O_WRONLY);
      ::dup2(nowhere, STDERR_FILENO);
      ::close(ends[0]);
      ::close(ends[1]);
      std::vector<char*> arguments;
      for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
      arguments.push_back(nullptr);
      ::execvp(arguments[0], arguments.data());
      ::_exit(127);
    }
    ::close(ends[1]);
    if (killAfterMicroseconds >= 0) {
      ::usleep(static_cast<useconds_t>(killAfterMicroseconds));
      ::kill(child, SIGKILL);
    }
    Run result;
    char buffer[4096];
    for (ssize_t got = 0; (got = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
      result.acknowledged += static_cast<std::size_t>(got);
    }
    ::close(ends[0]);
    ::waitpid(child, &result.status, 0);
    return result;
  }

  /// The number of commits that the file holds. Everything in it fits that number.
  std::size_t commitsIn(const std::string& path) {
    std::size_t commits = 0;
    {
      const Model model = storetest::open(path);
      if (!model->getTopLevelElements().empty()) {
        const ModelElement root = model->getTopLevelElements().front();
        commits = static_cast<std::size_t>(root->get<std::int32_t>(u"count"));
        EXPECT_EQ(kerneltest::names(root, u"children").size(), commits);
        EXPECT_EQ(model->getElementCount(), commits + 1);
      }
    }
    EXPECT_EQ(sql(path, "PRAGMA integrity_check"), "ok\n");
    EXPECT_FALSE(storetest::exists(path + "-journal"));
    return commits;
  }

  void expectNothingLost(const std::string& path, std::size_t before, const Run& run, const std::string& what) {
    if (!storetest::exists(path)) {
      EXPECT_EQ(before + run.acknowledged, 0U) << what;
      return;
    }
    const std::size_t found = commitsIn(path);
    EXPECT_GE(found, before + run.acknowledged) << what;
    EXPECT_LE(found, before + run.acknowledged + 1) << what;
  }

  storetest::Folder fFolder;
  std::string fPath = fFolder / "victim.db";
};

}  // namespace

TEST_F(StoreCrashTest, LosesNothingThatWasAcknowledgedWhenKilled) {
  std::mt19937 random(7);
  std::size_t commits = 0;
  std::size_t killed = 0;
  for (int i = repeats("STORE_KILLS", 60); i-- > 0;) {
    const Run result = run({STORE_VICTIM, fPath, "100000"}, static_cast<int>(2'000 + random() % 60'000));
    expectNothingLost(fPath, commits, result, "kill");
    ASSERT_FALSE(HasFailure());
    if (storetest::exists(fPath)) commits = commitsIn(fPath);
    killed += WIFSIGNALED(result.status) ? 1 : 0;
  }
  EXPECT_GT(killed, 0U);
  EXPECT_GT(commits, 100U);
  std::cout << "killed " << killed << " times, commits " << commits << ", lost 0, corrupt 0\n";
}

TEST_F(StoreCrashTest, LosesNothingThatWasAcknowledgedWhenTheDiskIsFull) {
  const auto fillUp = [&](const std::string& path, const std::string& limit) {
    const std::string command = limit + "exec " STORE_VICTIM " " + path + " 1000000";
    const Run result = run({"sh", "-c", command}, -1);
    ASSERT_TRUE(WIFEXITED(result.status)) << limit;
    EXPECT_EQ(WEXITSTATUS(result.status), 3) << "a commit failed, and said so";
    EXPECT_GT(result.acknowledged, 0U);
    EXPECT_EQ(commitsIn(path), result.acknowledged);
    std::cout << "commits " << result.acknowledged << " until the disk was full, lost 0, corrupt 0\n";
  };
  fillUp(fPath, "trap '' XFSZ; ulimit -f 400; ");  // in blocks of 512 or 1024 bytes
  if (const char* disk = std::getenv("STORE_SMALL_DISK")) fillUp(std::string(disk) + "/victim.db", "");
}

#ifdef NIMBO_TEST_FAULTS

constexpr const char* kNoTrace =
    "strace is missing or cannot trace on this machine; configure with -DNIMBO_TEST_FAULTS=OFF to leave this test out";

bool canTrace() { return std::system("strace -o /dev/null true > /dev/null 2>&1") == 0; }

TEST_F(StoreCrashTest, LosesNothingThatWasAcknowledgedWhenSystemCallsFail) {
  ASSERT_TRUE(canTrace()) << kNoTrace;
  const int most = repeats("STORE_FAULTS", 9);
  std::size_t hits = 0;
  for (const std::string call : {"pwrite64", "fdatasync", "fsync", "ftruncate", "unlink", "openat", "close"}) {
    for (const std::string fault : {"error=EIO", "error=ENOSPC", "error=EINTR", "signal=KILL"}) {
      for (int when = 1; when <= most; ++when) {
        // Every third of a store that is there already, the others of a new one.
        ::unlink(fPath.c_str());
        ::unlink((fPath + "-journal").c_str());
        std::size_t before = 0;
        if (when % 3 == 0) before = run({STORE_VICTIM, fPath, "2"}, -1).acknowledged;
        std::vector<std::string> command = {"strace", "-f",
                                            "-o",     fFolder / "trace",
                                            "-e",     "trace=" + call,
                                            "-e",     "inject=" + call + ":" + fault + ":when=" + std::to_string(when)};
        if (call == "openat" || call == "close" || call == "unlink") {  // the loader opens files too
          command.insert(command.end(), {"-P", fPath, "-P", fPath + "-journal"});
        }
        command.insert(command.end(), {STORE_VICTIM, fPath, "4"});
        const Run result = run(command, -1);
        const std::string trace = storetest::bytesOf(fFolder / "trace");
        const bool isHit = trace.find("INJECTED") != std::string::npos || trace.find("SIGKILL") != std::string::npos;
        hits += isHit ? 1 : 0;
        const std::string what = call + " " + fault + " " + std::to_string(when);
        expectNothingLost(fPath, before, result, what);
        if (!isHit) {
          EXPECT_EQ(result.acknowledged, 4U) << what;
          break;
        }
      }
    }
  }
  EXPECT_GT(hits, 10U);
  std::cout << "system calls that failed or killed: " << hits << ", lost 0, corrupt 0\n";
}

TEST_F(StoreCrashTest, OpensAgainAfterAProgramDiedInTheMiddleOfACommit) {
  const std::size_t before = run({STORE_VICTIM, fPath, "3"}, -1).acknowledged;
  ASSERT_EQ(before, 3U);
  ASSERT_TRUE(canTrace()) << kNoTrace;
  // Killed while pages of the file are being written: its journal lies beside it.
  const Run result = run({"strace", "-f", "-o", "/dev/null", "-P", fPath, "-e", "trace=pwrite64", "-e",
                          "inject=pwrite64:signal=KILL:when=2", STORE_VICTIM, fPath, "4"},
                         -1);
  EXPECT_EQ(result.acknowledged, 0U);
  EXPECT_TRUE(storetest::exists(fPath + "-journal"));
  EXPECT_EQ(commitsIn(fPath), 3U);
}

#endif
