#include <JorvaneFoundation/foundation/NSURL.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace {

using JVFoundation::NSURL;
using namespace std::literals;

TEST(NSURL, KnowsTheExtension) {
  struct Case {
    const char* path;
    std::optional<std::string> extension;
  };
  const Case cases[] = {
      {"", std::nullopt}, {"/", ""},       {"..", ""},          {"a.", ""},        {"/dir/.xml", ""},
      {"/a.b/c", ""},     {"a.xml", "xml"}, {"/a.xml///", "xml"}, {"a.tar.gz", "gz"}, {"/a/.b.XML", "XML"},
  };
  for (const Case& c : cases) EXPECT_EQ(NSURL::fileURLWithPath(c.path).pathExtension(), c.extension) << c.path;
}

TEST(NSURL, EveryByteOfAPathSurvivesTheText) {
  std::string path = "/";
  for (int byte = 1; byte < 256; ++byte) path += static_cast<char>(byte);
  const NSURL url = NSURL::fileURLWithPath(path);
  EXPECT_EQ(url.path(), path);
  const std::string text = url.absoluteString();
  EXPECT_EQ(text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,;=:@/%"),
            std::string::npos);
  EXPECT_EQ(NSURL::URLWithString(text), url);
}

TEST(NSURL, ReadsFileURLs) {
  const struct {
    std::string_view text, path;
  } cases[] = {
      {"file:///tmp/a%20b.txt", "/tmp/a b.txt"},
      {"FILE://LocalHost/x", "/x"},
      {"file:////x", "//x"},
      {"file://", ""},
      {"file://localhost", ""},
      {"file:///%e3%83%86%FF", "/\xE3\x83\x86\xFF"},
      {"file:///a?b#c", "/a"},
      {"file:///a%3Fb%23c", "/a?b#c"},
  };
  for (const auto& [text, path] : cases) {
    SCOPED_TRACE(text);
    const std::optional<NSURL> url = NSURL::URLWithString(text);
    ASSERT_TRUE(url);
    EXPECT_EQ(url->path(), path);
  }
  for (const std::string_view bad :
       {""sv, "/tmp/x"sv, "http://localhost/x"sv, "file://example.org/x"sv, "file:x"sv, "file:///a%2"sv,
        "file:///a%+1"sv, "file:///a%00b"sv, "file:///a\0b"sv}) {
    EXPECT_FALSE(NSURL::URLWithString(bad)) << bad;
  }
}

TEST(NSURL, PutsRelativePathsUnderTheCurrentDirectory) {
  const NSURL url = NSURL::fileURLWithPath("a b");
  EXPECT_EQ(url.path(), "a b");
  EXPECT_EQ(NSURL::URLWithString(url.absoluteString())->path(), std::filesystem::current_path().native() + "/a b");
}

}  // namespace
