// The tree against a plain model: maps from paths to folders and to watches.
#include "platform/linux/event_stream/Tree.h"

#include <gmock/gmock.h>

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

using jv::watching::FolderId;
using jv::watching::kNoFolder;
using jv::watching::kTop;
using jv::watching::Tree;

namespace {

TEST(Tree, NamesLeadToFoldersAndBack) {
  Tree tree;
  EXPECT_EQ(tree.pathOf(kTop), "/");
  const FolderId a = tree.insert(kTop, "a");
  const FolderId b = tree.insert(a, "b\xFF\n");
  EXPECT_EQ(tree.find(kTop, "a"), a);
  EXPECT_EQ(tree.find(kTop, "b\xFF\n"), kNoFolder);
  EXPECT_EQ(tree.find(a, "b\xFF\n"), b);
  EXPECT_EQ(tree.pathOf(b), "/a/b\xFF\n");

  tree.detach(a);
  EXPECT_FALSE(tree.isConnected(b));
  tree.attach(a, kTop, "renamed");
  EXPECT_EQ(tree.pathOf(b), "/renamed/b\xFF\n");
  EXPECT_TRUE(tree.isWithin(b, a));
  EXPECT_FALSE(tree.isWithin(a, b));
}

TEST(Tree, FoldersMayShareAWatch) {
  Tree tree;
  const FolderId a = tree.insert(kTop, "a");
  const FolderId b = tree.insert(kTop, "b");
  const auto watched = [&](int watch) {
    std::set<FolderId> all;
    tree.forEachWatchedBy(watch, [&](FolderId folder) { all.insert(folder); });
    return all;
  };
  tree.setWatch(a, 7);
  tree.setWatch(b, 7);
  EXPECT_EQ(watched(7), (std::set{a, b}));
  tree.setWatch(a, 8);
  EXPECT_EQ(watched(7), std::set{b});
  EXPECT_EQ(watched(8), std::set{a});
  tree.setWatch(b, 0);
  EXPECT_EQ(tree.watchedBy(7), kNoFolder);
}

TEST(Tree, ManyRandomChangesAgainstAModel) {
  std::mt19937 random(1);  // NOLINT: a fixed seed, so that a failure comes again
  Tree tree;
  struct Known {
    FolderId parent;
    std::string name;
    int watch;
  };
  std::map<FolderId, Known> model;
  int lastWatch = 0;
  const auto any = [&] { return std::next(model.begin(), static_cast<long>(random() % model.size()))->first; };
  for (int step = 0; step < 40'000; ++step) {
    const unsigned what = model.size() < 100 ? 0 : random() % 4;
    if (what < 2) {
      const FolderId parent = model.empty() || random() % 8 == 0 ? kTop : any();
      const std::string name = std::string(random() % 40 + 1, 'n') + std::to_string(step);
      const FolderId folder = tree.insert(parent, name);
      tree.setWatch(folder, ++lastWatch);
      model[folder] = {parent, name, lastWatch};
    } else if (what == 2) {
      const FolderId folder = any();
      FolderId parent = any();
      if (tree.isWithin(parent, folder)) parent = kTop;
      tree.detach(folder);
      model[folder].parent = parent;
      model[folder].name += "'";
      if (model[folder].name.size() > 200) model[folder].name = std::to_string(step);
      tree.attach(folder, parent, model[folder].name);
    } else {
      const FolderId folder = any();
      if (tree[folder].firstChild != kNoFolder) continue;
      tree.detach(folder);
      tree.erase(folder);
      EXPECT_EQ(tree.watchedBy(model[folder].watch), kNoFolder);
      model.erase(folder);
      if (random() % 16 == 0) tree.reuse();
    }
  }
  ASSERT_EQ(tree.size(), model.size() + 1);
  for (const auto& [folder, known] : model) {
    ASSERT_EQ(tree.find(known.parent, known.name), folder);
    ASSERT_EQ(tree.nameOf(folder), known.name);
    ASSERT_EQ(tree.watchedBy(known.watch), folder);
  }
}

}  // namespace
