// What only tools in the background have: replies, and many at once.
#include <JorvaneFoundation/tasks/NSTask.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <JorvaneFoundation/dispatch/DispatchQueue.h>
#include <JorvaneFoundation/dispatch/NSOperationQueue.h>

#include "tasks/support.h"

namespace {

using JVFoundation::DispatchQueue;
using JVFoundation::NSOperationQueue;
using JVFoundation::NSRunLoop;
using JVFoundation::NSTask;
using jvtest::drainUntil;
using jvtest::TaskOutcome;
using jvtest::Text;

TEST(LaunchAsync, RepliesOnTheMainThreadLater) {
  std::vector<TaskOutcome> replies;
  bool gone = false;
  {
    // All of it may go as soon as the call has returned.
    std::string path = "/bin/sh";
    std::vector<std::string> arguments{"-c", "cat; pwd >&2; exit 4"};
    std::string input = "hello";
    std::string directory = "/";
    std::shared_ptr<void> held(nullptr, [&](void*) { gone = NSRunLoop::isMainThread(); });
    NSTask::launchAsyncWithPath(
        path, arguments, input, directory,
        [keep = jvtest::keepIn(replies), held = std::move(held)](std::int32_t status, Text output, Text error) {
          EXPECT_TRUE(NSRunLoop::isMainThread());
          keep(status, std::move(output), std::move(error));
        });
    path = arguments[1] = input = directory = "overwritten";
  }
  EXPECT_TRUE(replies.empty()) << "never inline";
  ASSERT_TRUE(drainUntil([&] { return gone; })) << "what a handler holds goes where it ran";
  EXPECT_THAT(replies, testing::ElementsAre(TaskOutcome{4, "hello", "/\n"}));
}

TEST(LaunchAsync, ManyRunSideBySideOnFewThreadsAndReplyAsTheyEnd) {
  constexpr std::size_t kTools = 40;
  std::vector<std::string> ended;
  const auto begin = std::chrono::steady_clock::now();
  for (std::size_t i = 0; i < kTools; ++i) {
    const std::string time = i < kTools / 2 ? "1.5" : "0.5";
    NSTask::launchAsyncWithPath("/bin/sleep", {time},
                                [&, time](std::int32_t, const Text&, const Text&) { ended.push_back(time); });
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500)) << "the caller does not wait";
  EXPECT_LT(jvtest::entriesOf("/proc/self/task"), kTools / 2);
  ASSERT_TRUE(drainUntil([&] { return ended.size() == kTools; }));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(kTools / 2));
  EXPECT_TRUE(std::ranges::is_sorted(ended));
}

TEST(LaunchAsync, MoreToolsThanDescriptorsTakeTurns) {
  constexpr int kTools = 120;
  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  for (const bool oneAtATime : {false, true}) {
    const rlimit tight{oneAtATime ? static_cast<rlim_t>(jvtest::descriptors() + 10) : 150, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &tight);
    std::vector<int> replies;
    for (int i = 0; i < kTools; ++i) {
      NSTask::launchAsyncWithPath("/bin/sleep", {oneAtATime ? "0" : "0.1"},
                                  [&, i](std::int32_t status, const Text&, const Text& error) {
                                    EXPECT_EQ(status, 0) << error.value_or("");
                                    replies.push_back(i);
                                  });
    }
    std::ptrdiff_t most = 0;
    EXPECT_TRUE(drainUntil([&] {
      most = std::max(most, jvtest::descriptors());
      return replies.size() == kTools;
    }));
    EXPECT_LE(most, 125) << "some are left to the application";
    for (int i = 0; oneAtATime && i < kTools; ++i) {  // the threads that launch them may overtake each other
      EXPECT_LE(std::abs(replies.at(static_cast<std::size_t>(i)) - i), 8)
          << "in the order in which they were asked for";
    }
  }
  setrlimit(RLIMIT_NOFILE, &before);
}

TEST(LaunchAsync, AsksTheReplyQueueForItsQueueAfterTheRun) {
  const std::string fifo = testing::TempDir() + "jv-tasks-fifo-" + std::to_string(getpid());
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  NSOperationQueue operations;
  const DispatchQueue first = DispatchQueue::create("first");
  operations.setUnderlyingQueue(first);
  jvtest::Events called, replied, release;
  operations.addOperation([&] {
    NSTask::launchAsyncWithPath("/bin/cat", {fifo}, [&](std::int32_t, const Text& output, const Text&) {
      EXPECT_FALSE(NSRunLoop::isMainThread());
      EXPECT_EQ(output, "written");
      replied.happen();
    });
    called.happen();
  });
  ASSERT_TRUE(called.wait());

  // The tool waits for somebody to write. Meanwhile the queue that the call was made on is replaced and gets stuck.
  operations.setUnderlyingQueue(DispatchQueue::create("second"));
  first.async([&] { EXPECT_TRUE(release.wait()); });
  std::ofstream(fifo) << "written";
  EXPECT_TRUE(replied.wait());
  release.happen();
  std::remove(fifo.c_str());
  jvtest::Events over;
  first.async([&] { over.happen(); });
  EXPECT_TRUE(over.wait());
}

TEST(LaunchAsyncDeathTest, NobodyToTellEndsTheProcessAfterTheRun) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto launchElsewhere = [] {
    std::thread([] {
      NSTask::launchAsyncWithPath("/bin/true", {}, [](std::int32_t, const Text&, const Text&) {});
    }).join();
    drainUntil([] { return false; });
  };
  EXPECT_DEATH(launchElsewhere(), "nobody to tell");
}

}  // namespace
