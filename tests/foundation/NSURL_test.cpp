#include <JorvaneFoundation/foundation/NSURL.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {

using JVFoundation::NSURL;

TEST(NSURL, KnowsTheExtension) {
  for (const auto& [path, extension] : {std::pair{"/", ""},
                                        {"..", ""},
                                        {"a.", ""},
                                        {"/dir/.xml", ""},
                                        {"/a.b/c", ""},
                                        {"/a.xml///", "xml"},
                                        {"/a/.b.tar.XML", "XML"}}) {
    EXPECT_EQ(NSURL::fileURLWithPath(path).pathExtension(), extension) << path;
  }
  EXPECT_EQ(NSURL::fileURLWithPath("").pathExtension(), std::nullopt);
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
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"file:/tmp/a%20b.txt", "/tmp/a b.txt"},       {"FILE://LocalHost/x", "/x"},  {"file://localhost", ""},
      {"file:///%e3%83%86%FF", "/\xE3\x83\x86\xFF"}, {"file:///a%3Fb?c#d", "/a?b"},
  };
  for (const auto& [text, path] : cases) {
    const std::optional<NSURL> url = NSURL::URLWithString(text);
    EXPECT_EQ(url ? url->path() : "(none)", path) << text;
  }
  for (const char* bad : {"/tmp/x", "http://localhost/x", "file://example.org/x", "file:x", "file:///a%2",
                          "file:///a%+1", "file:///a%00b"}) {
    EXPECT_FALSE(NSURL::URLWithString(bad)) << bad;
  }
}

TEST(NSURL, PutsRelativePathsUnderTheCurrentDirectory) {
  const NSURL url = NSURL::fileURLWithPath("a b");
  EXPECT_EQ(url.path(), "a b");
  EXPECT_EQ(NSURL::URLWithString(url.absoluteString())->path(), std::filesystem::current_path().native() + "/a b");
}

}  // namespace
