#include "platform/linux/event_stream/Batch.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using jv::watching::Batch;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(Batch, EachPathOnceInTheOrderInWhichTheyCame) {
  Batch batch;
  EXPECT_TRUE(batch.isEmpty());
  for (const char* path : {"b", "a", "b", "", "a", "c"}) batch.add(path);
  EXPECT_FALSE(batch.isEmpty());
  EXPECT_THAT(batch.take({"all"}), ElementsAre("b", "a", "", "c"));
  EXPECT_TRUE(batch.isEmpty());
  batch.add("a");
  EXPECT_THAT(batch.take({"all"}), ElementsAre("a"));
  EXPECT_THAT(batch.take({"all"}), IsEmpty());
}

TEST(Batch, ManyPaths) {
  Batch batch;
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 100'000; ++i) batch.add(std::to_string(i));
  }
  const std::vector<std::string> paths = batch.take({});
  ASSERT_EQ(paths.size(), 100'000);
  for (std::size_t i = 0; i < paths.size(); ++i) ASSERT_EQ(paths[i], std::to_string(i));
}

TEST(Batch, TooManyPathsAreEverything) {
  Batch batch;
  for (std::size_t i = 0; i <= Batch::kMost; ++i) batch.add(std::to_string(i));
  batch.add("one more");
  EXPECT_FALSE(batch.isEmpty());
  EXPECT_THAT(batch.take({"root", "other"}), ElementsAre("root", "other"));
  batch.add("afterwards");
  EXPECT_THAT(batch.take({"root"}), ElementsAre("afterwards"));
}

}  // namespace
