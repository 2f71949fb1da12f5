#include <JorvaneFoundation/foundation/version.h>

#include <gtest/gtest.h>

#include <string_view>

TEST(Version, IsOneInAllForms) {
  EXPECT_EQ(JorvaneFoundationVersionNumber, 1.0);
  EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(JorvaneFoundationVersionString)),
            "@(#)PROGRAM:JorvaneFoundation  PROJECT:JorvaneFoundation-1\n");
  EXPECT_STREQ(JorvaneFoundationVersion, "1.0.0");
}
