// Real folders, and what is told of what is done to them. The end of each step is a file of the test's own: what comes
// before it in a folder is told before it, or in the same batch.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fileevents/support.h"
#include "support/temporary_folder.h"

using jvtest::Paths;
using jvtest::Recorder;
using jvtest::write;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
namespace fs = std::filesystem;

namespace {

void shell(const std::string& line) { ASSERT_EQ(std::system(line.c_str()), 0) << line; }

/// A watched folder "top" beside an unwatched "out", both in a folder of the test's own. Told paths are shortened by
/// the path of "top".
class Watched {
 public:
  explicit Watched(bool files) : files_(files) {
    fs::create_directories(top_ + "/old/deep");
    fs::create_directories(out_ + "/full/inner");
    write(top_ + "/old/file");
    write(top_ + "/old/deep/file");
    write(out_ + "/full/file");
    write(out_ + "/full/inner/file");
  }

  void start() { watcher_ = std::make_unique<JVFileEventer>(recorder_, Paths{top_}, files_); }

  /// Waits for the paths in @p awaited and then for those of whatever else came before a last change.
  std::set<std::string> toldAfter(const Paths& awaited) {
    for (const std::string& path : awaited) EXPECT_TRUE(recorder_->waitFor(top_ + path)) << path;
    const std::string last = "/last" + std::to_string(++count_);
    fs::create_directory(top_ + last);
    EXPECT_TRUE(recorder_->waitFor(top_ + last));
    std::set<std::string> told;
    for (const std::string& path : recorder_->told()) {
      EXPECT_TRUE(path.starts_with(top_)) << path;
      if (!path.ends_with(last)) told.insert(path.substr(top_.size()));
    }
    return told;
  }

  const std::string& top() const { return top_; }
  const std::string& out() const { return out_; }
  Recorder& recorder() { return *recorder_; }

 private:
  bool files_;
  int count_ = 0;
  jv::test::TemporaryFolder folder_;
  std::string top_ = (folder_.path() / "top").string();
  std::string out_ = (folder_.path() / "out").string();
  std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();
  std::unique_ptr<JVFileEventer> watcher_;
};

struct Operation {
  const char* why;
  std::function<void(const std::string& top, const std::string& out)> run;
  Paths folders;  ///< what is told without watch-files, below the root; "" is the root
  Paths files;    ///< and with it
  Paths never;    ///< what may not be told
};

void writeMapped(const std::string& path) {
  const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(file, 0);
  void* const memory = mmap(nullptr, 4, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ASSERT_NE(memory, MAP_FAILED);
  *static_cast<char*>(memory) = 'T';
  munmap(memory, 4);
  close(file);
}

constexpr int kLevels = 50;
std::string longName(int level) { return std::string(100, 'd') + std::to_string(level); }
std::string longNames() {
  std::string names;
  for (int level = 0; level < kLevels; ++level) names += longName(level) + ' ';
  return names;
}
std::string deepPath() {
  std::string path;
  for (int level = 0; level < kLevels; ++level) path += '/' + longName(level);
  return path;
}

const std::vector<Operation>& operations() {
  static const std::vector<Operation> all = {
      {"a file is written", [](auto& top, auto&) { write(top + "/new"); }, {""}, {"/new"}, {"/old"}},
      {"a file deep down is written",
       [](auto& top, auto&) { write(top + "/old/deep/file"); },
       {"/old/deep"},
       {"/old/deep/file"},
       {"", "/old"}},
      {"a file is deleted", [](auto& top, auto&) { fs::remove(top + "/old/file"); }, {"/old"}, {"/old/file"}, {""}},
      {"a file is renamed",
       [](auto& top, auto&) { fs::rename(top + "/old/file", top + "/moved"); },
       {"", "/old"},
       {"/old/file", "/moved"},
       {}},
      {"a file is replaced, as editors do",
       [](auto& top, auto&) {
         write(top + "/old/.file~");
         fs::rename(top + "/old/.file~", top + "/old/file");
       },
       {"/old"},
       {"/old/file"},
       {}},
      {"permissions are changed",
       [](auto& top, auto&) { chmod((top + "/old/file").c_str(), 0600); },
       {"/old"},
       {"/old/file"},
       {}},
      {"a mapping is written through",
       [](auto& top, auto&) { writeMapped(top + "/old/file"); },
       {"/old"},
       {"/old/file"},
       {}},
      {"a hard link is made",
       [](auto& top, auto& out) { fs::create_hard_link(out + "/full/file", top + "/link"); },
       {""},
       {"/link"},
       {}},
      {"a symbolic link is made, and what it leads to is not followed",
       [](auto& top, auto& out) {
         fs::create_directory_symlink(out + "/full", top + "/link");
         write(out + "/full/more");
       },
       {""},
       {"/link"},
       {"/link/more", "/link/file"}},
      {"only read",
       [](auto& top, auto&) { shell("cat " + top + "/old/file >/dev/null && ls -R " + top + " >/dev/null"); },
       {},
       {},
       {"", "/old", "/old/file", "/old/deep"}},
      {"folders are made and filled at once",
       [](auto& top, auto&) { shell("mkdir -p " + top + "/a/b/c && touch " + top + "/a/b/c/f"); },
       {"", "/a", "/a/b", "/a/b/c"},
       {"/a", "/a/b", "/a/b/c", "/a/b/c/f"},
       {}},
      {"a new folder is written to later",
       [](auto& top, auto&) {
         fs::create_directories(top + "/a/b");
         write(top + "/a/b/f");
         write(top + "/a/b/f");
       },
       {"", "/a/b"},
       {"/a/b/f"},
       {}},
      {"a full folder is moved in",
       [](auto& top, auto& out) { fs::rename(out + "/full", top + "/in"); },
       {"", "/in", "/in/inner"},
       {"/in", "/in/file", "/in/inner", "/in/inner/file"},
       {}},
      {"a folder is moved out, and what happens there is nobody's business",
       [](auto& top, auto& out) {
         fs::rename(top + "/old", out + "/gone");
         write(out + "/gone/file");
         write(out + "/gone/deep/more");
       },
       {""},
       {"/old"},
       {"/old/file", "/old/deep", "/old/deep/more"}},
      {"a folder is renamed, and goes on being watched under its new name only",
       [](auto& top, auto&) {
         fs::rename(top + "/old", top + "/young");
         write(top + "/young/deep/more");
       },
       {"", "/young", "/young/deep"},
       {"/old", "/young", "/young/file", "/young/deep/more"},
       {"/old/deep/more", "/old/deep"}},
      {"a folder is moved into another one",
       [](auto& top, auto&) {
         fs::create_directory(top + "/new");
         fs::rename(top + "/old/deep", top + "/new/deep");
         write(top + "/new/deep/more");
       },
       {"", "/old", "/new", "/new/deep"},
       {"/old/deep", "/new", "/new/deep/more"},
       {"/old/deep/more"}},
      {"two folders change places",
       [](auto& top, auto&) {
         fs::create_directory(top + "/other");
         write(top + "/other/mine");
         fs::rename(top + "/old", top + "/t");
         fs::rename(top + "/other", top + "/old");
         fs::rename(top + "/t", top + "/other");
         write(top + "/other/deep/more");
         write(top + "/old/again");
       },
       {"", "/old", "/other", "/other/deep"},
       {"/old", "/other", "/old/mine", "/old/again", "/other/deep/more"},
       {}},
      {"a folder is deleted and made again",
       [](auto& top, auto&) {
         fs::remove_all(top + "/old");
         fs::create_directories(top + "/old/deep");
         write(top + "/old/deep/more");
       },
       {"", "/old", "/old/deep"},
       {"/old", "/old/deep/more"},
       {}},
      {"a folder is deleted with all that is in it",
       [](auto& top, auto&) { shell("rm -r " + top + "/old"); },
       {"", "/old"},
       {"/old", "/old/file", "/old/deep", "/old/deep/file"},
       {}},
      {"a folder is replaced by a file",
       [](auto& top, auto&) {
         fs::remove_all(top + "/old");
         write(top + "/old");
       },
       {""},
       {"/old"},
       {}},
      {"names of any bytes",
       [](auto& top, auto&) {
         fs::create_directory(top + "/\xFF\n");
         write(top + "/\xFF\n/\xC3(\\ \x01");
       },
       {"", "/\xFF\n"},
       {"/\xFF\n", "/\xFF\n/\xC3(\\ \x01"},
       {}},
      {"a tree deeper than a path may be long",
       [](auto& top, auto&) {
         shell("cd " + top + " && for i in " + longNames() +
               "; do mkdir $i && cd -P $i || exit 1; done && echo text >end");
       },
       {"", deepPath()},
       {deepPath(), deepPath() + "/end"},
       {}},
  };
  return all;
}

void runAll(bool files) {
  for (const Operation& operation : operations()) {
    SCOPED_TRACE(operation.why);
    Watched watched(files);
    watched.start();
    operation.run(watched.top(), watched.out());
    const Paths& awaited = files ? operation.files : operation.folders;
    const auto told = watched.toldAfter(awaited);
    // The root is told of in any case, for the sake of the last change.
    Paths never = operation.never;
    if (!files) std::erase(never, "");
    for (const std::string& path : never) EXPECT_THAT(told, Not(Contains(path)));
  }
}

TEST(EventStream, TellsOfFoldersWhoseContentsChanged) { runAll(false); }
TEST(EventStream, TellsOfFiles) { runAll(true); }

TEST(EventStream, TellsNothingOfTheTimeBefore) {
  for (int round = 0; round < 8; ++round) {
    Watched watched(true);
    write(watched.top() + "/before");
    fs::create_directory(watched.top() + "/made");
    write(watched.top() + "/made/before");
    watched.start();
    EXPECT_THAT(watched.toldAfter({}), ElementsAre());
  }
}

TEST(EventStream, TellsNothingOfTheTimeBeforeToOneThatJoinsAnother) {
  Watched first(true);
  first.start();
  for (int round = 0; round < 8; ++round) {
    const auto recorder = std::make_shared<Recorder>();
    const std::string before = first.top() + "/before" + std::to_string(round);
    const std::string after = first.top() + "/after" + std::to_string(round);
    write(before);
    const JVFileEventer second(recorder, {first.top()}, true);
    write(after);
    EXPECT_TRUE(recorder->waitFor(after));
    EXPECT_FALSE(recorder->has(before));
    EXPECT_TRUE(first.recorder().waitFor(before));
    EXPECT_TRUE(first.recorder().waitFor(after));
  }
}

TEST(EventStream, EachPathOnceInABatchInTheOrderOfTheFirstChange) {
  Watched watched(true);
  watched.start();
  for (int round = 0; round < 3; ++round) {
    write(watched.top() + "/one");
    write(watched.top() + "/two");
  }
  ASSERT_TRUE(watched.recorder().waitFor(watched.top() + "/two"));
  EXPECT_THAT(watched.recorder().batches().front(), ElementsAre(watched.top() + "/one", watched.top() + "/two"));
}

TEST(EventStream, ASteadyWriterIsToldOfTenTimesASecondAtMost) {
  Watched watched(true);
  watched.start();
  const auto begin = std::chrono::steady_clock::now();
  while (watched.recorder().batches().size() < 5) {
    write(watched.top() + "/steady");
    ASSERT_LT(std::chrono::steady_clock::now() - begin, jvtest::kBound);
  }
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500));
}

}  // namespace
