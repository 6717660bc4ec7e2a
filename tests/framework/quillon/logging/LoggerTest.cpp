#include <atomic>
#include <iomanip>
#include <locale>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include <quillon/logging/Logger.h>

namespace quillon::logging::internal {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Line {
  unsigned category;
  int level;
  std::string text;
};

/// Catches what is logged, and leaves level and sink as they were.
class LoggerTest : public testing::Test {
 protected:
  void SetUp() override {
    fPreviousLevel = Logger::getLevel();
    Logger::setLevel(Logger::kDebugLevel);
    fPreviousSink = Logger::setSink([this](unsigned category, int level, std::string_view text) {
      fLines.push_back({category, level, std::string(text)});
      fTexts.emplace_back(text);
    });
  }
  void TearDown() override {
    Logger::setSink(fPreviousSink);
    Logger::setLevel(fPreviousLevel);
  }

  std::vector<Line> fLines;
  std::vector<std::string> fTexts;
  int fPreviousLevel = 0;
  Logger::Sink fPreviousSink;
};

TEST(LoggerLevel, IsQuietAtFirst) {
  EXPECT_GT(Logger::getLevel(), 300);
  EXPECT_FALSE(Logger::logger(0).debug(false));
}

TEST_F(LoggerTest, DeliversALineWhenItsStreamIsDestroyed) {
  {
    LogStream line = Logger::logger(0).debug(false);
    line << "Note: "
         << "a " << std::string("dangling") << ' ' << 3 << "\n";
    EXPECT_THAT(fTexts, IsEmpty());
  }
  ASSERT_EQ(fLines.size(), 1U);
  EXPECT_EQ(fLines[0].category, 0U);
  EXPECT_EQ(fLines[0].level, 300);
  EXPECT_EQ(fLines[0].text, "Note: a dangling 3\n");
}

TEST_F(LoggerTest, AddsALineFeedOnlyWhereItIsMissing) {
  Logger::logger(0).debug(false) << "without";
  Logger::logger(0).debug(false) << "with\n";
  Logger::logger(0).debug(false) << "two\n\n";
  Logger::logger(0).debug(false) << "a\nb";
  Logger::logger(0).debug(false) << "\n";
  EXPECT_THAT(fTexts, ElementsAre("without\n", "with\n", "two\n\n", "a\nb\n", "\n"));
}

TEST_F(LoggerTest, DeliversNothingForALineWithoutText) {
  { const LogStream line = Logger::logger(0).debug(false); }
  Logger::logger(0).debug(false) << "";
  EXPECT_THAT(fTexts, IsEmpty());
}

TEST_F(LoggerTest, DeliversAtLevel300AndBelowOnly) {
  for (const int level : {301, 300, 299, 1000, 0, -1}) {
    Logger::setLevel(level);
    EXPECT_EQ(Logger::getLevel(), level);
    Logger::logger(0).debug(false) << level;
  }
  EXPECT_THAT(fTexts, ElementsAre("300\n", "299\n", "0\n", "-1\n"));
}

TEST_F(LoggerTest, DeliversAtAnyLevelWhenToldSo) {
  Logger::setLevel(1000);
  Logger::logger(0).debug(true) << "in any case";
  EXPECT_THAT(fTexts, ElementsAre("in any case\n"));
}

TEST_F(LoggerTest, DecidesWhenTheLineBegins) {
  LogStream begun = Logger::logger(0).debug(false);
  Logger::setLevel(Logger::kQuietLevel);
  LogStream unwanted = Logger::logger(0).debug(false);
  Logger::setLevel(Logger::kDebugLevel);
  begun << "begun while wanted";
  unwanted << "begun while not";
  { const LogStream ends(std::move(begun)), endsToo(std::move(unwanted)); }
  EXPECT_THAT(fTexts, ElementsAre("begun while wanted\n"));
}

/// Tells how often it was printed.
struct Counted {
  int& prints;
  friend std::ostream& operator<<(std::ostream& stream, const Counted& counted) {
    ++counted.prints;
    return stream << "printed";
  }
};

TEST_F(LoggerTest, FormatsNothingThatNobodyWants) {
  int prints = 0;
  Logger::logger(0).debug(false) << Counted{prints};
  EXPECT_EQ(prints, 1);
  Logger::setLevel(Logger::kQuietLevel);
  Logger::logger(0).debug(false) << Counted{prints};
  EXPECT_EQ(prints, 1);
  EXPECT_THAT(fTexts, ElementsAre("printed\n"));
}

TEST_F(LoggerTest, HasALoggerPerCategory) {
  Logger& seven = Logger::logger(7);
  EXPECT_EQ(&Logger::logger(7), &seven);
  EXPECT_NE(&Logger::logger(0), &seven);
  seven.debug(false) << "seven";
  Logger::logger(4'000'000'000U).debug(false) << "many";
  ASSERT_EQ(fLines.size(), 2U);
  EXPECT_EQ(fLines[0].category, 7U);
  EXPECT_EQ(fLines[1].category, 4'000'000'000U);
}

TEST_F(LoggerTest, PrintsWhatAStreamPrints) {
  Logger::logger(0).debug(false) << std::hex << 255 << ' ' << std::setw(4) << std::setfill('.') << 1 << std::endl;
  Logger::logger(0).debug(false) << bedrock::i18n::ustring(u"Gr\u00F6\u00DFe") << 'c' << 1.5 << true;
  EXPECT_THAT(fTexts, ElementsAre("ff ...1\n",
                                  "Gr\xC3\xB6\xC3\x9F"
                                  "ec1.51\n"));
}

TEST_F(LoggerTest, IsNotTouchedByTheGlobalLocale) {
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
  Logger::logger(0).debug(false) << 1234567;
  std::locale::global(before);
  EXPECT_THAT(fTexts, ElementsAre("1234567\n"));
}

TEST_F(LoggerTest, DeliversAMovedLineOnce) {
  {
    LogStream first = Logger::logger(0).debug(false);
    first << "moved";
    LogStream second(std::move(first));
    second << " on";
    first << "lost";  // NOLINT(bugprone-use-after-move): the line is elsewhere
  }
  EXPECT_THAT(fTexts, ElementsAre("moved on\n"));
}

TEST_F(LoggerTest, EndsTheLineThatIsAssignedOver) {
  {
    LogStream line = Logger::logger(0).debug(false);
    line << "first";
    LogStream next = Logger::logger(1).debug(false);
    next << "second";
    line = std::move(next);
    EXPECT_THAT(fTexts, ElementsAre("first\n"));
  }
  ASSERT_EQ(fLines.size(), 2U);
  EXPECT_EQ(fLines[1].text, "second\n");
  EXPECT_EQ(fLines[1].category, 1U);
}

struct Thrower {
  friend std::ostream& operator<<(std::ostream&, const Thrower&) { throw std::runtime_error("printing failed"); }
};

TEST_F(LoggerTest, CutsALineShortWhosePieceThrows) {
  Logger::logger(0).debug(false) << "before" << Thrower() << "after";
  EXPECT_THAT(fTexts, ElementsAre("before\n"));
}

TEST_F(LoggerTest, DropsWhatTheSinkThrows) {
  Logger::setSink([](unsigned, int, std::string_view) { throw std::runtime_error("disk full"); });
  EXPECT_NO_THROW(Logger::logger(0).debug(false) << "text");
  Logger::setSink([](unsigned, int, std::string_view) { throw 42; });
  EXPECT_NO_THROW(Logger::logger(0).debug(false) << "text");
}

TEST_F(LoggerTest, GivesThePreviousSinkBack) {
  std::vector<std::string> others;
  Logger::Sink mine = Logger::setSink([&](unsigned, int, std::string_view text) { others.emplace_back(text); });
  Logger::logger(0).debug(false) << "to the other";
  Logger::setSink(mine);
  Logger::logger(0).debug(false) << "to mine";
  EXPECT_THAT(others, ElementsAre("to the other\n"));
  EXPECT_THAT(fTexts, ElementsAre("to mine\n"));
}

TEST_F(LoggerTest, WritesToStandardErrorByDefaultAndForAnEmptySink) {
  for (const Logger::Sink& sink : {fPreviousSink, Logger::Sink()}) {
    Logger::setSink(sink);
    testing::internal::CaptureStderr();
    Logger::logger(0).debug(false) << "a note";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "a note\n");
  }
}

TEST_F(LoggerTest, SendsWhatASinkLogsToStandardError) {
  int calls = 0;
  Logger::setSink([&](unsigned, int, std::string_view) {
    ++calls;
    Logger::logger(0).debug(false) << "from inside";
  });
  testing::internal::CaptureStderr();
  Logger::logger(0).debug(false) << "from outside";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "from inside\n");
  EXPECT_EQ(calls, 1);
}

TEST_F(LoggerTest, LetsASinkReplaceItself) {
  std::vector<std::string> second;
  Logger::setSink([&second, payload = std::string(100, 'x')](unsigned, int, std::string_view) {
    Logger::setSink([&second](unsigned, int, std::string_view text) { second.emplace_back(text); });
    second.push_back(payload.substr(0, 1));  // the running sink is still alive
  });
  Logger::logger(0).debug(false) << "first";
  Logger::logger(0).debug(false) << "second";
  EXPECT_THAT(second, ElementsAre("x", "second\n"));
}

TEST_F(LoggerTest, ServesSeveralThreads) {
  constexpr unsigned kThreads = 4;
  constexpr unsigned kLines = 500;
  std::vector<std::string> lines;  // no lock: calls of a sink do not overlap
  Logger::setSink([&](unsigned, int, std::string_view text) { lines.emplace_back(text); });
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (unsigned t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (unsigned i = 0; i < kLines; ++i) Logger::logger(t).debug(false) << "thread " << t << " line " << i;
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_EQ(lines.size(), kThreads * kLines);
  std::vector<unsigned> next(kThreads, 0);
  for (const std::string& line : lines) {  // whole lines, in order within each thread
    const unsigned t = static_cast<unsigned>(line.at(7) - '0');
    EXPECT_EQ(line, "thread " + std::to_string(t) + " line " + std::to_string(next.at(t)++) + "\n");
  }
}

TEST_F(LoggerTest, LetsLevelAndSinkChangeWhileOthersLog) {
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  threads.reserve(2);
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&stop] {
      while (!stop) Logger::logger(0).debug(false) << "line";
    });
  }
  for (int i = 0; i < 100; ++i) {
    int calls = 0;
    const Logger::Sink previous = Logger::setSink([&calls](unsigned, int, std::string_view) { ++calls; });
    Logger::setLevel(i % 2 == 0 ? Logger::kDebugLevel : Logger::kQuietLevel);
    std::this_thread::yield();
    Logger::setSink(previous);
    const int callsWhenReplaced = calls;  // the replaced sink runs no more, so its local may go
    std::this_thread::yield();
    EXPECT_EQ(calls, callsWhenReplaced);
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace quillon::logging::internal
