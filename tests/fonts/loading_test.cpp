// What is loaded, and when. This program links none of the libraries itself.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <JorvaneFoundation/fonts/NSFont.h>
#include <JorvaneFoundation/fonts/NSString.h>

namespace {

using JVFoundation::NSFont;
using JVFoundation::NSString;

/// Whether a library whose file's name begins with @p name is loaded.
bool isLoaded(const std::string& name) {
  std::ifstream maps("/proc/self/maps");
  return std::string(std::istreambuf_iterator<char>(maps), {}).find("/" + name) != std::string::npos;
}

TEST(LoadingDeathTest, ComesWithTheFirstQuestion) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";  // in a process that has asked for nothing yet
  EXPECT_EXIT(
      {
        if (isLoaded("libfontconfig") || isLoaded("libfreetype") || isLoaded("libpango")) std::exit(1);
        (void)NSFont::systemFontOfSize(12);
        if (!isLoaded("libfontconfig") || isLoaded("libpango")) std::exit(2);
        (void)NSString::sizeWithWidth("text", 100);
        std::exit(isLoaded("libpango") ? 0 : 3);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
