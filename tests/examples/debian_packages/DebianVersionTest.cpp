#include <algorithm>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "DebianVersion.h"
#include "TestSupport.h"

namespace debian_packages {
namespace {

DebianVersion v(const std::string& text) { return DebianVersion::parse(text); }

int sign(std::weak_ordering order) { return order < 0 ? -1 : order > 0 ? 1 : 0; }

TEST(DebianVersion, SplitsATextIntoEpochUpstreamAndRevision) {
  const DebianVersion full = v("2:1.9-rc1:x-4+b1");
  EXPECT_EQ(full.epoch(), 2);
  EXPECT_EQ(full.upstream(), "1.9-rc1:x");
  EXPECT_EQ(full.revision(), "4+b1");

  const DebianVersion bare = v("20230104");
  EXPECT_EQ(bare.epoch(), 0);
  EXPECT_EQ(bare.upstream(), "20230104");
  EXPECT_EQ(bare.revision(), "");
}

TEST(DebianVersion, AcceptsWhatDpkgOnlyWarnsAbout) {
  EXPECT_EQ(v("a").upstream(), "a");
  EXPECT_EQ(v("1_2-3_4").revision(), "3_4");
  EXPECT_EQ(v(" \t1 ").upstream(), "1");
  EXPECT_EQ(v("+1:1").epoch(), 1);
  EXPECT_EQ(v("-0:1").epoch(), 0);
  EXPECT_EQ(v("2147483647:1").epoch(), 2147483647);
  EXPECT_EQ(v("00001:1").epoch(), 1);
}

TEST(DebianVersion, RefusesWhatDpkgRefuses) {
  const auto refusal = [](const std::string& text) { return messageOf<VersionError>([&] { v(text); }); };
  EXPECT_EQ(refusal(""), "version '' has bad syntax: version string is empty");
  EXPECT_EQ(refusal(" \t"), "version ' \t' has bad syntax: version string is empty");
  EXPECT_EQ(refusal("1 2"), "version '1 2' has bad syntax: version string has embedded spaces");
  EXPECT_EQ(refusal(":1"), "version ':1' has bad syntax: epoch in version is empty");
  EXPECT_EQ(refusal("a:1"), "version 'a:1' has bad syntax: epoch in version is empty");
  EXPECT_EQ(refusal("0x1:1"), "version '0x1:1' has bad syntax: epoch in version is not number");
  EXPECT_EQ(refusal("-1:1"), "version '-1:1' has bad syntax: epoch in version is negative");
  EXPECT_EQ(refusal("2147483648:1"), "version '2147483648:1' has bad syntax: epoch in version is too big");
  EXPECT_EQ(refusal("99999999999999999999999:1"),
            "version '99999999999999999999999:1' has bad syntax: epoch in version is too big");
  EXPECT_EQ(refusal("1:"), "version '1:' has bad syntax: nothing after colon in version number");
  EXPECT_EQ(refusal("1-"), "version '1-' has bad syntax: revision number is empty");
  EXPECT_EQ(refusal("1:-1"), "version '1:-1' has bad syntax: version number is empty");
}

TEST(DebianVersion, GivesATextThatParsesToTheSameParts) {
  for (const char* text : {"1", "1-1", "2:1.9-rc1-4", "0:1:2-3", "1:0~a+b.c", "0-0", "0:1-2:3"}) {
    EXPECT_EQ(v(text).text(), text);
    EXPECT_TRUE(v(v(text).text()).isIdentical(v(text))) << text;
  }
  EXPECT_EQ(v("0:1.0").text(), "1.0");
  EXPECT_EQ(DebianVersion().text(), "");
  EXPECT_TRUE(DebianVersion().isEmpty());
  EXPECT_FALSE(v("0").isEmpty());
}

TEST(DebianVersion, OrdersAsTheRulesSay) {
  // Each group sorts before the next; within a group all are equal.
  const std::vector<std::vector<const char*>> groups = {{"0~~"},
                                                        {"0~"},
                                                        {"0", "0-0", "000", "0:0-00"},
                                                        {"0-0+"},
                                                        {"0.0~1"},
                                                        {"0.0"},
                                                        {"0.9"},
                                                        {"0.10", "0.010"},
                                                        {"1~~"},
                                                        {"1~~a"},
                                                        {"1~"},
                                                        {"1~a"},
                                                        {"1"},
                                                        {"1-0.1"},
                                                        {"1-1~bpo"},
                                                        {"1-1"},
                                                        {"1-1a"},
                                                        {"1-1+b1"},
                                                        {"1-9"},
                                                        {"1-10"},
                                                        {"1a"},
                                                        {"1b"},
                                                        {"1+"},
                                                        {"1.0"},
                                                        {"1.0a"},
                                                        {"1.0+"},
                                                        {"1.0.0"},
                                                        {"9"},
                                                        {"10"},
                                                        {"99999999999999999999999999"},
                                                        {"100000000000000000000000000"},
                                                        {"a"},
                                                        {"1:0"},
                                                        {"10:0"}};
  for (std::size_t i = 0; i < groups.size(); ++i) {
    for (std::size_t j = 0; j < groups.size(); ++j) {
      for (const char* a : groups[i]) {
        for (const char* b : groups[j]) EXPECT_EQ(v(a) <=> v(b), i <=> j) << a << " and " << b;
      }
    }
  }
}

TEST(DebianVersion, CallsTextsEqualThatAreNotIdentical) {
  EXPECT_EQ(v("1.0"), v("1.0-0"));
  EXPECT_EQ(v("1.01"), v("1.1"));
  EXPECT_FALSE(v("1.0").isIdentical(v("1.0-0")));
  EXPECT_LT(DebianVersion(), v("0a"));
  EXPECT_EQ(DebianVersion(), v("0"));
}

/// Versions that differ little, so that every rule of the comparison decides now and then.
class RandomVersions {
 public:
  explicit RandomVersions(std::uint32_t seed) : fEngine(seed) {}

  std::string next() {
    std::string text;
    if (pick(4) == 0) text = std::to_string(pick(3)) + ':';
    text += std::to_string(pick(3));
    append(text, "0012~~+..aZz-");
    if (pick(2) == 0) text += '-';
    append(text, "0019~+.ab");
    if (text.back() == '-') text += '1';
    return text;
  }

  /// The same version with one character changed, put in or taken out.
  std::string near(std::string text) {
    const std::size_t at = text.find(':') == std::string::npos ? 1 : text.find(':') + 2;
    const std::size_t where = std::min(at + pick(6), text.size());
    const char c = "0~1.a+"[pick(6)];
    switch (pick(3)) {
      case 0:
        text.insert(where, 1, c);
        break;
      case 1:
        if (where < text.size()) text[where] = c;
        break;
      default:
        text.erase(where, 1);
        break;
    }
    return text.back() == '-' ? text + '0' : text;
  }

 private:
  std::size_t pick(std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(fEngine); }
  void append(std::string& text, std::string_view alphabet) {
    for (std::size_t i = pick(5); i > 0; --i) text += alphabet[pick(alphabet.size())];
  }

  std::mt19937 fEngine;
};

/// Asks dpkg about all pairs: one shell that compares them one after the other. Gives "<", "=" or ">" per pair.
std::string askDpkg(const std::vector<std::pair<std::string, std::string>>& pairs) {
  const TempDirectory directory;
  std::string lines;
  for (const auto& [a, b] : pairs) lines += a + ' ' + b + '\n';
  const auto input = directory.write("pairs", lines);
  const auto script =
      directory.writeProgram("ask",
                             "while read -r a b; do\n"
                             "  if dpkg --compare-versions \"$a\" lt \"$b\" 2>/dev/null; then printf '<'\n"
                             "  elif dpkg --compare-versions \"$a\" eq \"$b\" 2>/dev/null; then printf '='\n"
                             "  else printf '>'; fi\n"
                             "done < \"$1\"");
  ChildProcess process({script.native(), input.native()});
  std::ostringstream answer;
  answer << process.output().rdbuf();
  process.finish();
  return answer.str();
}

TEST(DebianVersion, AgreesWithDpkgOnRandomPairs) {
  if (!std::filesystem::exists("/usr/bin/dpkg")) GTEST_SKIP() << "no dpkg on this machine to compare with";
  RandomVersions random(20240229);
  std::vector<std::pair<std::string, std::string>> pairs;
  for (int i = 0; i < 1000; ++i) {
    const std::string a = random.next();
    pairs.emplace_back(a, i % 3 == 0 ? random.next() : random.near(a));
  }
  // Bytes beyond ASCII and signs that no version should have.
  for (const char* odd : {"1\xc3\xa9", "1_", "1a", "1!", "1+", "1\x7f", "1^"}) {
    for (const char* other : {"1\xc3\xa9", "1_", "1z", "1\xff", "1", "1~"}) pairs.emplace_back(odd, other);
  }
  const std::string answers = askDpkg(pairs);
  ASSERT_EQ(answers.size(), pairs.size());
  std::size_t unequal = 0;
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    const int order = sign(v(pairs[i].first) <=> v(pairs[i].second));
    EXPECT_EQ("<=>"[order + 1], answers[i]) << pairs[i].first << " and " << pairs[i].second;
    unequal += order != 0 ? 1 : 0;
  }
  EXPECT_GT(unequal, pairs.size() / 2);
  EXPECT_LT(unequal, pairs.size()) << "no pair was equal: the pairs are not near enough";
}

TEST(DebianVersion, OrdersAllVersionsWithoutContradiction) {
  RandomVersions random(7);
  std::vector<DebianVersion> versions;
  for (int i = 0; i < 120; ++i) versions.push_back(v(random.next()));
  std::sort(versions.begin(), versions.end());
  for (std::size_t i = 0; i < versions.size(); ++i) {
    for (std::size_t j = i; j < versions.size(); ++j) {
      EXPECT_LE(versions[i], versions[j]);
      EXPECT_GE(versions[j], versions[i]);
    }
  }
}

}  // namespace
}  // namespace debian_packages
