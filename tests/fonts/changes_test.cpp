// What is loaded when, and fonts that come and go while the program runs.
#include <JorvaneFoundation/fonts/NSFont.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include <JorvaneFoundation/fonts/NSString.h>

namespace {

namespace fs = std::filesystem;
using JVFoundation::NSFont;

std::string contentsOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Whether a library whose file's name begins with @p name is loaded. This program links none of them itself.
bool isLoaded(const std::string& name) { return contentsOf("/proc/self/maps").find("/" + name) != std::string::npos; }

TEST(LoadingDeathTest, ComesWithTheFirstQuestion) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";  // in a process that has asked for nothing yet
  EXPECT_EXIT(
      {
        if (isLoaded("libfontconfig") || isLoaded("libfreetype") || isLoaded("libpango")) std::exit(1);
        (void)NSFont::systemFontOfSize(12);
        if (!isLoaded("libfontconfig") || isLoaded("libpango")) std::exit(2);
        (void)JVFoundation::NSString::sizeWithWidth("text", 100);
        std::exit(isLoaded("libpango") ? 0 : 3);
      },
      testing::ExitedWithCode(0), "");
}

fs::path ownFolder() { return std::getenv("JV_TEST_FONTS"); }

/// Asks until @p answer is right. Fontconfig looks at its folders once a second, and sees a change only in another
/// second than its last look.
template <class Answer>
bool comesTrue(Answer answer) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!answer()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    fs::last_write_time(ownFolder(), fs::file_time_type::clock::now());
  }
  return true;
}

/// The one font that is installed for the test. The file tells its names in two ways.
constexpr char kNewFamily[] = "Departing Mono!";
bool hasNewFont() { return NSFont::fontWithName(kNewFamily, 12) != nullptr; }

std::string newFont() {
  std::string bytes = contentsOf("/usr/share/fonts/truetype/liberation/LiberationMono-Bold.ttf");
  const std::string before = "Liberation Mono", after = kNewFamily;
  for (std::size_t width : {1, 2}) {
    std::string from, to;
    for (const char letter : before) from += std::string(width - 1, '\0') + letter;
    for (const char letter : after) to += std::string(width - 1, '\0') + letter;
    for (std::size_t at = 0; (at = bytes.find(from, at)) != std::string::npos;) bytes.replace(at, from.size(), to);
  }
  return bytes;
}

TEST(InstalledFonts, ComeAndGoAmongBrokenFiles) {
  ASSERT_FALSE(hasNewFont());
  const std::string bytes = newFont();
  std::ofstream(ownFolder() / "Empty.ttf").flush();
  std::ofstream(ownFolder() / "Text.ttf") << "no font at all";
  std::ofstream(ownFolder() / "Half.ttf", std::ios::binary) << bytes.substr(0, bytes.size() / 2);
  std::ofstream(ownFolder() / "New.ttf", std::ios::binary) << bytes;
  ASSERT_TRUE(comesTrue(hasNewFont));
  const NSFont::Pointer font = NSFont::fontWithName(kNewFamily, 12);
  EXPECT_EQ(font->normalFont(), font) << "no other face";

  fs::remove(ownFolder() / "New.ttf");
  ASSERT_TRUE(comesTrue([] { return !hasNewFont(); }));
  EXPECT_EQ(font->familyName(), kNewFamily);
  EXPECT_EQ(font->normalFont(), font);
  EXPECT_EQ(font->italicFont(), nullptr) << "the family is gone";
  const NSFont::Pointer other = NSFont::fontWithName("Liberation Mono", 12);
  EXPECT_EQ(other->boldFont()->fontName(), "LiberationMono-Bold");

  std::ofstream(ownFolder() / "New.ttf", std::ios::binary) << bytes;
  EXPECT_TRUE(comesTrue([&] { return font->italicFont() == font; })) << "an empty variant is asked for again";
  for (const auto& file : fs::directory_iterator(ownFolder())) fs::remove(file);
  ASSERT_TRUE(comesTrue([] { return !hasNewFont(); }));
}

}  // namespace
