#include <JorvaneFoundation/tasks/NSTask.h>

#include <gmock/gmock.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <future>
#include <memory>
#include <thread>

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
using jvtest::program;
using jvtest::TaskOutcome;
using Text = std::optional<std::string>;

TEST(LaunchAsync, RepliesOnTheMainThreadLater) {
  std::vector<TaskOutcome> replies;
  {
    // All of it may go as soon as the call has returned.
    std::string path = "/bin/sh";
    std::vector<std::string> arguments{"-c", "cat; pwd >&2; exit 4"};
    std::string input = "hello";
    std::string directory = "/";
    NSTask::launchAsyncWithPath(path, arguments, input, directory,
                                [keep = jvtest::keepIn(replies)](std::int32_t status, Text output, Text error) {
                                  EXPECT_TRUE(NSRunLoop::isMainThread());
                                  keep(status, std::move(output), std::move(error));
                                });
    path = arguments[1] = input = directory = "overwritten";
  }
  NSTask::launchAsyncWithPath("/no/such/tool", {}, std::string(4 << 20, 'x'), jvtest::keepIn(replies));
  EXPECT_TRUE(replies.empty()) << "never inline";
  ASSERT_TRUE(drainUntil([&] { return replies.size() == 2; }));
  EXPECT_THAT(replies, testing::UnorderedElementsAre(
                           TaskOutcome{4, "hello", "/\n"},
                           TaskOutcome{-666, {}, "Cannot launch /no/such/tool: No such file or directory"}));
}

TEST(LaunchAsync, RepliesInTheOrderInWhichToolsEnd) {
  std::vector<int> ended;
  for (const int tenths : {9, 5, 1}) {
    NSTask::launchAsyncWithPath("/bin/sleep", {"0." + std::to_string(tenths)},
                                [&, tenths](std::int32_t, const Text&, const Text&) { ended.push_back(tenths); });
  }
  ASSERT_TRUE(drainUntil([&] { return ended.size() == 3; }));
  EXPECT_THAT(ended, testing::ElementsAre(1, 5, 9));
}

TEST(LaunchAsync, AHandlerMayLaunchTheNext) {
  int replies = 0;
  NSTask::CompletionHandler next = [&](std::int32_t status, const Text&, const Text&) {
    EXPECT_EQ(status, 0);
    if (++replies < 5) NSTask::launchAsyncWithPath("/bin/true", {}, next);
  };
  NSTask::launchAsyncWithPath("/bin/true", {}, next);
  ASSERT_TRUE(drainUntil([&] { return replies == 5; }));
}

TEST(LaunchAsync, WhatAHandlerHoldsGoesWhereItRan) {
  std::atomic<bool> gone{false};
  std::atomic<bool> onMainThread{false};
  {
    std::shared_ptr<int> held(new int, [&](const int* number) {
      delete number;
      onMainThread = NSRunLoop::isMainThread();
      gone = true;
    });
    NSTask::launchAsyncWithPath("/bin/true", {}, [held](std::int32_t, const Text&, const Text&) {});
  }
  ASSERT_TRUE(drainUntil([&] { return gone.load(); }));
  EXPECT_TRUE(onMainThread);
}

TEST(LaunchAsync, ManyRunSideBySideOnFewThreads) {
  constexpr int kTools = 40;
  int replies = 0;
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < kTools; ++i) {
    NSTask::launchAsyncWithPath("/bin/sleep", {"1"}, [&](std::int32_t, const Text&, const Text&) { ++replies; });
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1)) << "the caller does not wait";
  EXPECT_LT(jvtest::entriesOf("/proc/self/task"), kTools / 2);
  ASSERT_TRUE(drainUntil([&] { return replies == kTools; }));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(kTools / 2));
}

TEST(LaunchAsync, LargeStreamsInBothDirections) {
  constexpr int kTools = 4;
  const std::string input(600'000, 'i');
  int replies = 0;
  const auto expect = [&](bool isRight) {
    EXPECT_TRUE(isRight);
    ++replies;
  };
  for (int i = 0; i < kTools; ++i) {
    NSTask::launchAsyncWithPath("/bin/cat", {}, input,
                                [&](std::int32_t, const Text& output, const Text&) { expect(output == input); });
    NSTask::launchAsyncWithPath(
        program("write_bytes"), {"1", "5000000"},
        [&](std::int32_t, const Text& output, const Text&) { expect(output && output->size() == 5'000'000); });
  }
  NSTask::launchAsyncWithPath(
      program("write_bytes"), {"2", "900000"},  // while the output is still open
      [&](std::int32_t, const Text&, const Text& error) { expect(error && error->size() == 900'000); });
  ASSERT_TRUE(drainUntil([&] { return replies == 2 * kTools + 1; }));
}

TEST(LaunchAsync, MoreToolsThanDescriptorsTakeTurns) {
  const jvtest::DescriptorLimit tight(150);
  constexpr std::size_t kTools = 120;
  std::vector<TaskOutcome> replies;
  for (std::size_t i = 0; i < kTools; ++i) NSTask::launchAsyncWithPath("/bin/sleep", {"0.1"}, jvtest::keepIn(replies));
  EXPECT_TRUE(drainUntil([&] { return replies.size() == kTools; }));
  EXPECT_THAT(replies, testing::Each(TaskOutcome{}));
}

TEST(LaunchAsync, AsksTheReplyQueueForItsQueueAfterTheRun) {
  const std::string fifo = testing::TempDir() + "jv-tasks-fifo-" + std::to_string(getpid());
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  NSOperationQueue operations;
  const DispatchQueue first = DispatchQueue::create("first");
  const DispatchQueue second = DispatchQueue::create("second");
  operations.setUnderlyingQueue(first);

  std::promise<void> called;
  std::promise<Text> replied;
  operations.addOperation([&] {
    NSTask::launchAsyncWithPath("/bin/cat", {fifo}, [&](std::int32_t, Text output, const Text&) {
      EXPECT_FALSE(NSRunLoop::isMainThread());
      replied.set_value(std::move(output));
    });
    called.set_value();
  });
  called.get_future().wait();

  // The tool waits for somebody to write. Meanwhile the queue that the call was made on is replaced and gets stuck.
  operations.setUnderlyingQueue(second);
  std::promise<void> release;
  first.async([held = release.get_future().share()] { held.wait(); });
  std::ofstream(fifo) << "written";
  auto reply = replied.get_future();
  EXPECT_EQ(reply.wait_for(jvtest::kBound), std::future_status::ready);
  release.set_value();
  EXPECT_EQ(reply.get(), "written");
  std::remove(fifo.c_str());
}

TEST(LaunchAsync, LeavesNothingBehind) {
  const auto launchMany = [] {
    std::vector<TaskOutcome> replies;
    for (int i = 0; i < 30; ++i) {
      NSTask::launchAsyncWithPath("/bin/sh", {"-c", "echo output; echo error >&2"}, jvtest::keepIn(replies));
      NSTask::launchAsyncWithPath("/no/such/tool", {}, "input", jvtest::keepIn(replies));
    }
    return drainUntil([&] { return replies.size() == 60; });
  };
  ASSERT_TRUE(launchMany());
  const auto descriptors = jvtest::descriptors();
  const auto threads = jvtest::entriesOf("/proc/self/task");
  ASSERT_TRUE(launchMany());
  EXPECT_EQ(jvtest::descriptors(), descriptors) << "released before the handlers were called";
  EXPECT_LE(jvtest::entriesOf("/proc/self/task"), threads);
  EXPECT_FALSE(jvtest::hasChildren());
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
