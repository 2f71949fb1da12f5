// What only very many changes bring about in what is known of folders and of changes.
#include "platform/linux/event_stream/Batch.h"
#include "platform/linux/event_stream/Tree.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using jv::watching::Batch;
using jv::watching::FolderId;
using jv::watching::kTop;
using jv::watching::Tree;
using testing::ElementsAre;

namespace {

TEST(Tree, MovesNamesInUseTogetherWhenManyHaveGone) {
  Tree tree;
  const FolderId still = tree.insert(kTop, "still");
  const FolderId restless = tree.insert(still, "restless");
  std::string name;
  for (int i = 0; i < 20'000; ++i) {
    name = std::string(200, 'r') + std::to_string(i);
    tree.detach(restless);
    tree.attach(restless, still, name);
  }
  EXPECT_EQ(tree.pathOf(restless), "/still/" + name);
  EXPECT_EQ(tree.find(kTop, "still"), still);
}

TEST(Batch, EachPathOnceInTheOrderInWhichTheyCameUntilTheyAreTooMany) {
  Batch batch;
  for (int i = 0; i < 200'000; ++i) batch.add(std::to_string(i % 100'000));
  const std::vector<std::string> paths = batch.take({});
  ASSERT_EQ(paths.size(), 100'000);
  for (std::size_t i = 0; i < paths.size(); ++i) ASSERT_EQ(paths[i], std::to_string(i));

  for (std::size_t i = 0; i <= Batch::kMost + 1; ++i) batch.add(std::to_string(i));
  EXPECT_THAT(batch.take({"root", "other"}), ElementsAre("root", "other"));
  batch.add("afterwards");
  EXPECT_THAT(batch.take({"root"}), ElementsAre("afterwards"));
  EXPECT_TRUE(batch.isEmpty());
}

}  // namespace
