#include <random>
#include <sstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "html/StreamBuf.h"

namespace quillon::nimbo::html {
namespace {

/// A stream that tells when it is destroyed.
class WatchedStream : public std::ostringstream {
 public:
  explicit WatchedStream(bool& gone) : fGone(gone) {}
  ~WatchedStream() override { fGone = true; }

 private:
  bool& fGone;
};

class FlushCounter : public std::stringbuf {
 public:
  int flushes = 0;

 protected:
  int sync() override { return ++flushes, 0; }
};

/// An HTML aware stream with its buffer in reach.
struct AwareStream {
  AwareStream() : text(new std::ostringstream), buffer(text), os(&buffer) {
    setHtmlAware(os);
    buffer.escape = true;
  }
  std::ostringstream* text;
  StreamBuf buffer;
  std::ostream os;
};

TEST(StreamBuf, DeletesTheStreamBehindIt) {
  bool gone = false;
  { StreamBuf buffer(new WatchedStream(gone)); }
  EXPECT_TRUE(gone);
}

TEST(StreamBuf, StartsWithBothModesOff) {
  auto* const text = new std::ostringstream;
  StreamBuf buffer(text);
  EXPECT_FALSE(buffer.escape);
  EXPECT_FALSE(buffer.jsString);
  std::ostream(&buffer) << " \"\\\n<";
  EXPECT_EQ(text->str(), " \"\\\n<");
}

TEST(StreamBuf, WritesNothingForTheEndOfFile) {
  class Probe : public std::streambuf {
   public:
    static int_type call(std::streambuf& buffer) { return (buffer.*&Probe::overflow)(traits_type::eof()); }
  };
  auto* const text = new std::ostringstream;
  StreamBuf buffer(text);
  EXPECT_EQ(Probe::call(buffer), std::char_traits<char>::eof());
  EXPECT_EQ(text->str(), "");
}

TEST(StreamBuf, WritesATextAsItWouldItsCharactersOneByOne) {
  std::mt19937 random(1);
  const std::string_view kOften = "      \n\"&<>\\\t'ab";
  for (int i = 0; i < 4000; ++i) {
    AwareStream whole;
    AwareStream single;
    whole.buffer.escape = single.buffer.escape = i % 2 == 0;
    whole.buffer.jsString = single.buffer.jsString = i % 4 < 2;
    std::string text(random() % 300, ' ');
    const bool isMixed = i % 3 == 0;
    for (char& ch : text) ch = isMixed ? static_cast<char>(random() % 256) : kOften[random() % kOften.size()];
    whole.buffer.write(text);
    for (const char ch : text) single.buffer.sputc(ch);
    ASSERT_EQ(whole.text->str(), single.text->str());
  }
}

TEST(StreamBuf, DoesNotForwardAFlush) {
  FlushCounter target;
  StreamBuf buffer(new std::ostream(&target));
  std::ostream os(&buffer);
  os << "x" << std::flush << std::endl;
  EXPECT_EQ(target.flushes, 0);
  EXPECT_EQ(target.str(), "x\n");
}

TEST(StreamBuf, ReportsNoFailureOfItsTarget) {
  auto* const text = new std::ostringstream;
  text->setstate(std::ios_base::badbit);
  StreamBuf buffer(text);
  std::ostream os(&buffer);
  os << "lost";
  EXPECT_TRUE(os.good());
  EXPECT_EQ(text->str(), "");
}

TEST(SuspendEscaping, BracketsAStretch) {
  AwareStream page;
  page.os << "<";
  suspendEscaping(page.os);
  page.os << "<";
  resumeEscaping(page.os);
  page.os << "<";
  EXPECT_EQ(page.text->str(), "&lt;<&lt;");
}

TEST(SuspendEscaping, LeavesEscapingOffWhenItWasOff) {
  AwareStream page;
  page.buffer.escape = false;
  suspendEscaping(page.os);
  resumeEscaping(page.os);
  EXPECT_FALSE(page.buffer.escape);
}

TEST(SuspendEscaping, DoesNotNest) {
  AwareStream page;
  suspendEscaping(page.os);
  suspendEscaping(page.os);
  resumeEscaping(page.os);
  EXPECT_FALSE(page.buffer.escape);
  resumeEscaping(page.os);
  EXPECT_FALSE(page.buffer.escape);
}

TEST(SuspendEscaping, RemembersItsStretchAfterTheEnd) {
  AwareStream page;
  suspendEscaping(page.os);
  resumeEscaping(page.os);
  page.buffer.escape = false;
  resumeEscaping(page.os);  // the bit of the last suspension is still there
  EXPECT_TRUE(page.buffer.escape);
}

TEST(SuspendEscaping, DoesNothingOnAPlainStream) {
  std::ostringstream text;
  suspendEscaping(text);
  EXPECT_EQ(text.iword(htmlFlagsIndex()), 0);
  resumeEscaping(text);
  EXPECT_EQ(text.iword(htmlFlagsIndex()), 0);
}

TEST(HtmlFlags, SayWhichKindOfStreamItIs) {
  AwareStream page;
  EXPECT_EQ(page.os.iword(htmlFlagsIndex()), 1);
  suspendEscaping(page.os);
  EXPECT_EQ(page.os.iword(htmlFlagsIndex()), 3);
  suspendEscaping(page.os);
  EXPECT_EQ(page.os.iword(htmlFlagsIndex()), 1);
}

TEST(HtmlBuffer, IsNullWhereTheWordWasCopiedToAnotherStream) {
  AwareStream page;
  std::ostringstream text;
  text.copyfmt(page.os);
  EXPECT_EQ(text.iword(htmlFlagsIndex()), 1);
  EXPECT_EQ(htmlBuffer(text), nullptr);
  suspendEscaping(text);
  resumeEscaping(text);
  EXPECT_EQ(htmlBuffer(page.os), &page.buffer);
}

}  // namespace
}  // namespace quillon::nimbo::html
