#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <bedrock/filesystem.h>
#include <sys/fsuid.h>
#include <unistd.h>

namespace bedrock::filesystem {
namespace {

using i18n::ustring;

/// A folder of its own for each test, with a name beyond ASCII.
class Filesystem : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "f\xC3\xB6lder-\xF0\x9F\x98\x80-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    fFolder = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(fFolder); }

  ustring in(const char16_t* name) const { return i18n::utf8_to_ustring(fFolder.string()) + u"/" + name; }

  std::filesystem::path fFolder;
};

std::string contentOf(const ustring& path) {
  ifstream stream(path, std::ios_base::binary);
  EXPECT_TRUE(stream.is_open());
  return {std::istreambuf_iterator<char>(stream), {}};
}

TEST_F(Filesystem, WritesAndReadsFilesWithNamesBeyondAscii) {
  const ustring path = in(u"\u4E2D\u00E9\U0001F600.bin");
  {
    basic_ofstream<char, std::char_traits<char>> stream(path, std::ios_base::binary | std::ios_base::out);
    stream << "a\r\nb" << '\0';
  }
  EXPECT_TRUE(std::filesystem::exists(fFolder / "\xE4\xB8\xAD\xC3\xA9\xF0\x9F\x98\x80.bin"));
  EXPECT_TRUE(exists(path));
  EXPECT_EQ(contentOf(path), std::string("a\r\nb\0", 5));
}

TEST_F(Filesystem, TellsNamesApartThatDifferInALoneSurrogate) {
  ofstream(in(u"x") + ustring(1, 0xD800)) << "high";
  ofstream(in(u"x") + ustring(1, 0xDC00)) << "low";
  EXPECT_EQ(contentOf(in(u"x") + ustring(1, 0xD800)), "high");
  EXPECT_EQ(contentOf(in(u"x") + ustring(1, 0xDC00)), "low");
}

TEST_F(Filesystem, HonoursTheOpenMode) {
  const ustring path = in(u"mode");
  ofstream(path) << "first";
  ofstream(path, std::ios_base::app) << "+more";
  EXPECT_EQ(contentOf(path), "first+more");
  ofstream(path, std::ios_base::binary) << "new";
  EXPECT_EQ(contentOf(path), "new");
  ifstream atEnd(path, std::ios_base::ate);
  EXPECT_EQ(atEnd.tellg(), 3);
}

TEST_F(Filesystem, SharesAFileWithOtherOpeners) {
  const ustring path = in(u"shared");
  ofstream writer(path, std::ios_base::binary);
  writer << "one" << std::flush;
  EXPECT_EQ(contentOf(path), "one");
  ofstream(path, std::ios_base::app) << " two";
  EXPECT_EQ(contentOf(path), "one two");
}

TEST_F(Filesystem, FailsToOpenWithoutAnException) {
  EXPECT_TRUE(ifstream(in(u"missing"), std::ios_base::binary).fail());
  EXPECT_TRUE(ofstream(in(u"missing/file"), std::ios_base::binary).fail());
  EXPECT_TRUE(ifstream(ustring(), std::ios_base::binary).fail());
}

TEST_F(Filesystem, ReachesNoOtherFileThroughANameWithANul) {
  ofstream(in(u"file")) << "content";
  const ustring path = in(u"file") + ustring(1, u'\0') + u"tail";
  EXPECT_FALSE(exists(path));
  EXPECT_TRUE(ifstream(path).fail());
  EXPECT_TRUE(ofstream(path).fail());
  EXPECT_EQ(contentOf(in(u"file")), "content");
  EXPECT_THROW(static_cast<void>(detail::makeNarrowAccessForm(path)), std::invalid_argument);
}

TEST_F(Filesystem, SeesWhatIsThereAndWhatIsNot) {
  ofstream(in(u"file")) << "content";
  EXPECT_TRUE(exists(in(u"")));
  EXPECT_TRUE(exists(in(u"file")));
  EXPECT_FALSE(exists(in(u"none")));
  EXPECT_FALSE(exists(in(u"none/file")));
  EXPECT_FALSE(exists(in(u"file/below")));
  EXPECT_FALSE(exists(ustring()));
}

TEST_F(Filesystem, FollowsLinks) {
  std::filesystem::create_symlink("none", fFolder / "dangling");
  std::filesystem::create_symlink(fFolder, fFolder / "link");
  EXPECT_FALSE(exists(in(u"dangling")));
  EXPECT_TRUE(exists(in(u"link")));
}

TEST_F(Filesystem, ThrowsWhenTheQuestionStaysOpen) {
  std::filesystem::create_symlink("loop", fFolder / "loop");
  EXPECT_THROW(static_cast<void>(exists(in(u"loop"))), std::filesystem::filesystem_error);
  EXPECT_THROW(static_cast<void>(exists(in(u"") + ustring(300, u'n'))), std::filesystem::filesystem_error);
}

TEST_F(Filesystem, ThrowsWhenItMayNotLook) {
  std::filesystem::create_directory(fFolder / "closed");
  ofstream(in(u"closed/file")) << "content";
  std::filesystem::permissions(fFolder / "closed", std::filesystem::perms::none);
  std::filesystem::permissions(fFolder, std::filesystem::perms::all);
  // The superuser may look everywhere; so look as nobody, in a thread of its own, whose identity is its own too.
  std::thread([&] {
    if (::geteuid() == 0) ::setfsuid(65534);
    EXPECT_THROW(static_cast<void>(exists(in(u"closed/file"))), std::filesystem::filesystem_error);
    try {
      static_cast<void>(exists(in(u"closed/file")));
    } catch (const std::filesystem::filesystem_error& error) {
      EXPECT_NE(std::string(error.what()).find("closed/file"), std::string::npos) << error.what();
    }
  }).join();
  std::filesystem::permissions(fFolder / "closed", std::filesystem::perms::owner_all);
}

TEST(NativeAccessForm, IsOneWideCharacterPerCodePoint) {
  using detail::make_native_access_form_with_cleanup_i18n;
  static_assert(sizeof(wchar_t) == 4, "the expectations below are those of wide characters that hold a code point");
  EXPECT_EQ(make_native_access_form_with_cleanup_i18n(u""), L"");
  EXPECT_EQ(make_native_access_form_with_cleanup_i18n(u"/tmp/\u00E9\\ .\U0001F600"), L"/tmp/\u00E9\\ .\U0001F600");
  EXPECT_EQ(make_native_access_form_with_cleanup_i18n(ustring{0xD800, u'x', 0xDC00, 0xD801}),
            (std::wstring{wchar_t{0xD800}, L'x', wchar_t{0xDC00}, wchar_t{0xD801}}));
}

}  // namespace
}  // namespace bedrock::filesystem
