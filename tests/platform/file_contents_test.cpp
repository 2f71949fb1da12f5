#include "platform/FileContents.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "support/temporary_folder.h"

namespace jv {
namespace {

TEST(FileContents, ReadsWhatAFileHoldsAndNothingElse) {
  const test::TemporaryFolder folder;
  EXPECT_GT(FileContents::of("/proc/self/status")->bytes().size(), 100u) << "the kernel tells a size of 0 for these";
  EXPECT_FALSE(FileContents::of(folder.path().string())) << "a folder";
  EXPECT_FALSE(FileContents::of(std::string_view("/etc/passwd\0x", 13))) << "the name must not be cut at the zero";
}

TEST(FileContents, ReadsAPipeToItsEnd) {
  const test::TemporaryFolder folder;
  const std::string pipe = (folder.path() / "pipe").string();
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::string command = "head -c 300000 /dev/zero > '" + pipe + "' &";
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(FileContents::of(pipe)->bytes().size(), 300000u);
}

class LargeFile : public testing::Test {
 protected:
  LargeFile() : path_(folder_.write("large", "x")) { std::filesystem::resize_file(path_, FileContents::kMappedFrom); }

  test::TemporaryFolder folder_;
  std::string path_;
};

TEST_F(LargeFile, ThatShrinksReadsAsZerosAndTells) {
  const auto contents = FileContents::of(path_);
  ASSERT_TRUE(contents);
  ASSERT_EQ(contents->bytes().size(), FileContents::kMappedFrom);
  EXPECT_EQ(contents->bytes()[0], 'x');
  EXPECT_FALSE(contents->shrank());
  std::filesystem::resize_file(path_, 0);
  EXPECT_EQ(contents->bytes()[FileContents::kMappedFrom / 2], 0);
  EXPECT_EQ(contents->bytes()[0], 0);
  EXPECT_TRUE(contents->shrank());
}

TEST_F(LargeFile, MayHaveHoles) {
  std::fstream(path_, std::ios::binary | std::ios::in | std::ios::out)
      .seekp(static_cast<std::streamoff>(FileContents::kMappedFrom / 2 + 5))
      .write("middle", 6)
      .seekp(static_cast<std::streamoff>(FileContents::kMappedFrom))
      .write("end", 3);
  const auto mapped = FileContents::of(path_);
  const auto read = FileContents::of(path_, FileContents::Means::read);
  ASSERT_TRUE(mapped && read);
  EXPECT_EQ(mapped->bytes().size(), FileContents::kMappedFrom + 3);
  EXPECT_TRUE(std::ranges::equal(mapped->bytes(), read->bytes()));
}

/// A handler as crash reporters have it: it does its work and calls the one before.
struct sigaction reported = {};
void report(int signal, siginfo_t* info, void* context) {
  if (reported.sa_sigaction) reported.sa_sigaction(signal, info, context);
}

/// A fault that is none of a guarded mapping's, with a reporter that came while one was guarded, and stayed.
void faultElsewhere(const std::string& path) {
  const rlimit noCoreFile = {0, 0};
  setrlimit(RLIMIT_CORE, &noCoreFile);
  std::signal(SIGBUS, SIG_DFL);
  {
    const auto contents = FileContents::of(path);
    struct sigaction reporter = {};
    reporter.sa_sigaction = report;
    reporter.sa_flags = SA_SIGINFO;
    sigaction(SIGBUS, &reporter, &reported);
  }
  const auto contents = FileContents::of(path);
  (void)raise(SIGBUS);
}

TEST_F(LargeFile, LeavesOtherFaultsToWhoeverHadThem) {
  EXPECT_EXIT(faultElsewhere(path_), testing::KilledBySignal(SIGBUS), "");
}

TEST_F(LargeFile, IsReadWhereAFaultCouldNotBeMended) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  const auto contents = FileContents::of(path_);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  ASSERT_TRUE(contents);
  std::filesystem::resize_file(path_, 0);
  EXPECT_EQ(contents->bytes()[0], 'x');
}

}  // namespace
}  // namespace jv
