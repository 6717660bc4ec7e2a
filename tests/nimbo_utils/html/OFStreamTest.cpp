#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "quillon/nimbo/html/Manipulators.h"
#include "quillon/nimbo/html/OFStream.h"

namespace quillon::nimbo::html {
namespace {

namespace fs = std::filesystem;

std::string contentsOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

class OFStreamTest : public testing::Test {
 protected:
  OFStreamTest() {
    std::string pattern = (fs::temp_directory_path() / "nimbo-page-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    fFolder = pattern;
  }
  ~OFStreamTest() override { fs::remove_all(fFolder); }

  [[nodiscard]] std::string path() const { return (fFolder / "page.html").string(); }

  /// The page around what is poured into it: head and end.
  [[nodiscard]] std::pair<std::string, std::string> emptyPage() const {
    const std::string other = (fFolder / "empty.html").string();
    { OFStream os(other); }
    const std::string page = contentsOf(other);
    const std::string mark = "<!-- End of boilerplate -->\n";
    const std::size_t end = page.find(mark) + mark.size();
    return {page.substr(0, end), page.substr(end)};
  }

  fs::path fFolder;
};

TEST_F(OFStreamTest, PoursEscapedTextBetweenHeadAndEnd) {
  {
    OFStream os(path());
    EXPECT_TRUE(isHTMLStream(os));
    os << "a <b>\n" << tag{"b"} << 5 << etag{"b"};
  }
  const auto [head, end] = emptyPage();
  EXPECT_EQ(contentsOf(path()), head + "a&nbsp;&lt;b&gt;<br/>\n<b>5</b>" + end);
}

TEST_F(OFStreamTest, WritesHeadAndEndVerbatim) {
  const auto [head, end] = emptyPage();
  EXPECT_TRUE(head.starts_with("<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 4.01 Transitional//EN\""));
  EXPECT_TRUE(end.ends_with("</div>\n</body>\n</html>\n"));
}

TEST_F(OFStreamTest, WritesTheLegendVerbatimAlsoWhenTheDescriptionsWereCutShort) {
  {
    OFStream os(path());
    os << defs{} << def{"Part", "p", "1"};
  }
  const auto [head, end] = emptyPage();
  EXPECT_TRUE(contentsOf(path()).ends_with("</div>\\\n" + end));
}

TEST_F(OFStreamTest, WritesTheEndWhenAnExceptionLeavesThePage) {
  const auto cutShort = [this] {
    OFStream os(path());
    os << "x";
    throw std::runtime_error("the walk failed");
  };
  EXPECT_THROW(cutShort(), std::runtime_error);
  const auto [head, end] = emptyPage();
  EXPECT_EQ(contentsOf(path()), head + "x" + end);
}

TEST_F(OFStreamTest, WritesTheEndThoughAStreamFailureWasRaised) {
  {
    OFStream os(path());
    os.setstate(std::ios_base::failbit);
    os << "lost";
  }
  const auto [head, end] = emptyPage();
  EXPECT_EQ(contentsOf(path()), head + end);
}

TEST_F(OFStreamTest, IsDestroyedQuietlyWithExceptionsEnabled) {
  {
    OFStream os(path());
    os.exceptions(std::ios_base::badbit | std::ios_base::failbit);
    os << "x";
  }
  const auto [head, end] = emptyPage();
  EXPECT_EQ(contentsOf(path()), head + "x" + end);
}

TEST_F(OFStreamTest, LosesThePageInSilenceWhenTheFolderIsMissing) {
  const std::string missing = (fFolder / "no" / "such" / "page.html").string();
  {
    OFStream os(missing);
    os << tree{} << "x" << etree{} << defs{} << edefs{};
    EXPECT_TRUE(os.good());
  }
  EXPECT_FALSE(fs::exists(missing));
}

TEST_F(OFStreamTest, ReplacesAnOlderFile) {
  std::ofstream(path()) << std::string(1000000, 'x');
  { OFStream os(path()); }
  const auto [head, end] = emptyPage();
  EXPECT_EQ(contentsOf(path()), head + end);
}

}  // namespace
}  // namespace quillon::nimbo::html
