#include <JorvaneFoundation/foundation/NSError.h>

#include <gtest/gtest.h>

#include <limits>
#include <optional>

namespace {

using namespace JVFoundation;

TEST(NSError, SpeaksWithTheTextsOfItsUserInformation) {
  const NSError error(NSPOSIXErrorDomain, 1,
                      {{std::string(NSLocalizedDescriptionKey), "Error"},
                       {std::string(NSLocalizedRecoverySuggestionErrorKey), "Try again"}});
  EXPECT_EQ(error.domain(), "NSPOSIXErrorDomain");
  EXPECT_EQ(error.code(), 1);
  EXPECT_EQ(error.userInfo().dictionary()->size(), 2U);
  EXPECT_EQ(error.localizedDescription(), "Error");
  EXPECT_EQ(error.localizedRecoverySuggestion(), "Try again");
}

TEST(NSError, HasAGeneralTextWithoutOneOfItsOwn) {
  const NSError error(NSOSStatusErrorDomain, -25300);
  EXPECT_EQ(error.localizedDescription(), "The operation couldn’t be completed. (NSOSStatusErrorDomain error -25300.)");
  EXPECT_EQ(error.localizedRecoverySuggestion(), std::nullopt);
  EXPECT_EQ(error.userInfo(), Value(Dictionary{}));
  const NSError noText("D", std::numeric_limits<std::int64_t>::min(), {{std::string(NSLocalizedDescriptionKey), 7}});
  EXPECT_EQ(noText.localizedDescription(), "The operation couldn’t be completed. (D error -9223372036854775808.)");
}

TEST(NSError, IsEqualInAllItsParts) {
  EXPECT_EQ(NSError("D", 1), NSError("D", 1));
  EXPECT_NE(NSError("D", 1), NSError("E", 1));
  EXPECT_NE(NSError("D", 1), NSError("D", 2));
  EXPECT_NE(NSError("D", 1), NSError("D", 1, {{"key", 1}}));
}

}  // namespace
