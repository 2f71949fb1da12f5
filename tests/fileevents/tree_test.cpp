// What is known of folders and of changes, against plain models of it.
#include "platform/linux/event_stream/Batch.h"
#include "platform/linux/event_stream/Tree.h"

#include <gmock/gmock.h>

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

using jv::watching::Batch;
using jv::watching::FolderId;
using jv::watching::kNoFolder;
using jv::watching::kTop;
using jv::watching::Tree;
using testing::ElementsAre;

namespace {

TEST(Tree, ManyRandomChangesAgainstAModel) {
  struct Known {
    FolderId parent;
    std::string name;
    int watch;
  };
  std::mt19937 random(1);  // NOLINT: a fixed seed, so that a failure comes again
  Tree tree;
  std::map<FolderId, Known> model;
  const auto any = [&] { return std::next(model.begin(), static_cast<long>(random() % model.size()))->first; };
  for (int step = 1; step <= 40'000; ++step) {
    const unsigned what = model.size() < 100 ? 0 : random() % 4;
    if (what < 2) {
      const FolderId parent = model.empty() || random() % 8 == 0 ? kTop : any();
      const std::string name = std::string(random() % 40 + 1, 'n') + std::to_string(step);
      const FolderId folder = tree.insert(parent, name);
      const int watch = step / 2 + 1;  // folders may share one
      tree.setWatch(folder, watch);
      model[folder] = {parent, name, watch};
      continue;
    }
    const FolderId folder = any();
    Known& known = model[folder];
    if (what == 2) {
      known.parent = any();
      if (tree.isWithin(known.parent, folder)) known.parent = kTop;
      known.name = known.name.size() < 200 ? known.name + "'" : std::to_string(step);
      tree.detach(folder);
      EXPECT_FALSE(tree.isConnected(folder));
      tree.attach(folder, known.parent, known.name);
    } else if (tree[folder].firstChild == kNoFolder) {
      tree.detach(folder);
      tree.erase(folder);
      model.erase(folder);
      if (random() % 16 == 0) tree.reuse();
    }
  }
  // So many names in the end that the tree moves those in use together.
  auto& [restless, known] = *model.begin();
  for (int i = 0; i < 5000; ++i) {
    known.name = std::string(200, 'r') + std::to_string(i);
    tree.detach(restless);
    tree.attach(restless, known.parent, known.name);
  }
  ASSERT_EQ(tree.size(), model.size() + 1);
  std::map<int, std::set<FolderId>> watched;
  for (const auto& [folder, is] : model) watched[is.watch].insert(folder);
  for (const auto& [folder, is] : model) {
    ASSERT_EQ(tree.find(is.parent, is.name), folder);
    ASSERT_EQ(tree.pathOf(folder), (is.parent == kTop ? "" : tree.pathOf(is.parent)) + '/' + is.name);
    std::set<FolderId> found;
    tree.forEachWatchedBy(is.watch, [&](FolderId other) { found.insert(other); });
    ASSERT_EQ(found, watched[is.watch]);
  }
}

TEST(Batch, EachPathOnceInTheOrderInWhichTheyCameUntilTheyAreTooMany) {
  Batch batch;
  for (int i = 0; i < 200'000; ++i) batch.add(std::to_string(i % 100'000));
  const std::vector<std::string> paths = batch.take({});
  ASSERT_EQ(paths.size(), 100'000);
  for (std::size_t i = 0; i < paths.size(); ++i) ASSERT_EQ(paths[i], std::to_string(i));

  for (std::size_t i = 0; i <= Batch::kMost + 1; ++i) batch.add(std::to_string(i));
  EXPECT_FALSE(batch.isEmpty());
  EXPECT_THAT(batch.take({"root", "other"}), ElementsAre("root", "other"));
  batch.add("afterwards");
  EXPECT_THAT(batch.take({"root"}), ElementsAre("afterwards"));
  EXPECT_TRUE(batch.isEmpty());
}

}  // namespace
