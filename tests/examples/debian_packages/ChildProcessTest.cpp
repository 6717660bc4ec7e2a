#include <chrono>
#include <csignal>
#include <sstream>

#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "TestSupport.h"

namespace debian_packages {
namespace {

std::string outputOf(ChildProcess& process) {
  std::ostringstream text;
  text << process.output().rdbuf();
  return text.str();
}

TEST(ChildProcess, GivesTheOutputAndPassesArgumentsUntouched) {
  ChildProcess process({"/bin/echo", "a  b", "$(id); `id` > x", "*"});
  EXPECT_EQ(outputOf(process), "a  b $(id); `id` > x *\n");
  EXPECT_NO_THROW(process.finish());
  EXPECT_NO_THROW(process.finish());
}

TEST(ChildProcess, CarriesMoreThanAPipeHolds) {
  const TempDirectory directory;
  const std::string text(3'000'000, 'x');
  ChildProcess process({"/bin/cat", directory.write("large", text).native()});
  EXPECT_EQ(outputOf(process), text);
  process.finish();
}

TEST(ChildProcess, ReportsExitCodeAndComplaint) {
  const TempDirectory directory;
  const auto program = directory.writeProgram("fail", "echo out; echo 'bad luck' >&2; exit 3");
  ChildProcess process({program.native()});
  EXPECT_EQ(outputOf(process), "out\n");
  EXPECT_EQ(messageOf<ProcessError>([&] { process.finish(); }),
            program.native() + " failed with exit code 3: bad luck");
}

TEST(ChildProcess, IsNotBlockedByALongComplaintAndQuotesItsBegin) {
  const TempDirectory directory;
  const auto program = directory.writeProgram(
      "chatter", "i=0; while [ $i -lt 20000 ]; do printf 0123456789 >&2; i=$((i+1)); done; exit 1");
  ChildProcess process({program.native()});
  EXPECT_EQ(outputOf(process), "");
  std::string quoted;
  for (int i = 0; i < 100; ++i) quoted += "0123456789";
  EXPECT_EQ(messageOf<ProcessError>([&] { process.finish(); }),
            program.native() + " failed with exit code 1: " + quoted);
}

TEST(ChildProcess, ReportsASignal) {
  const TempDirectory directory;
  const auto program = directory.writeProgram("die", "kill -9 $$");
  ChildProcess process({program.native()});
  EXPECT_EQ(messageOf<ProcessError>([&] { process.finish(); }), program.native() + " was ended by signal 9");
}

TEST(ChildProcess, ReportsAProgramThatIsNotThere) {
  EXPECT_EQ(messageOf<ProcessError>([] { ChildProcess({"/no/such/program"}); }),
            "cannot run /no/such/program: No such file or directory");
  EXPECT_EQ(messageOf<ProcessError>([] { ChildProcess(std::vector<std::string>{}); }), "no program to run");
}

TEST(ChildProcess, SkipsUnreadOutputWhenFinished) {
  ChildProcess process({"/bin/sh", "-c", "i=0; while [ $i -lt 20000 ]; do echo 0123456789; i=$((i+1)); done"});
  std::string first;
  std::getline(process.output(), first);
  EXPECT_EQ(first, "0123456789");
  EXPECT_NO_THROW(process.finish());
}

TEST(ChildProcess, EndsTheProgramWhenAbandoned) {
  const auto begin = std::chrono::steady_clock::now();
  { ChildProcess process({"/bin/sleep", "60"}); }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

TEST(ChildProcess, StartsTheProgramWithDefaultSignalsAndEmptyInput) {
  const auto old = std::signal(SIGPIPE, SIG_IGN);
  // A shell cannot undo an ignored signal it was started with, so the kill shows what it inherited.
  ChildProcess process({"/bin/sh", "-c", "cat; kill -s PIPE $$; echo survived"});
  EXPECT_EQ(outputOf(process), "");
  EXPECT_EQ(messageOf<ProcessError>([&] { process.finish(); }),
            "/bin/sh was ended by signal " + std::to_string(SIGPIPE));
  std::signal(SIGPIPE, old);
}

}  // namespace
}  // namespace debian_packages
