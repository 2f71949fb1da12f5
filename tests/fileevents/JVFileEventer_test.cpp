// The watcher on streams of paper: what it asks of them, and what it does with what they deliver.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "fakes/FakeEventStream.h"
#include "fileevents/support.h"

using JVFoundation::DispatchQueue;
using JVFoundation::NSException;
using jvtest::InstalledEventStream;
using jvtest::Recorder;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/// Waits for what @p queue holds.
void finish(const DispatchQueue& queue) {
  std::mutex mutex;
  std::condition_variable changed;
  bool done = false;
  queue.async([&] {
    const std::lock_guard lock(mutex);
    done = true;
    changed.notify_all();
  });
  std::unique_lock lock(mutex);
  ASSERT_TRUE(changed.wait_for(lock, jvtest::kBound, [&] { return done; }));
}

TEST(JVFileEventer, AsksForAStream) {
  const struct {
    const char* why;
    std::vector<std::string> paths;
    bool watchFiles;
    std::uint32_t flags;
  } cases[] = {
      {"folders", {"/a", "/b"}, false, 1},
      {"files", {"/a"}, true, 17},
      {"paths unchanged, in their order, twice", {"/b/", "a/../c", "", "/b/", "no such"}, false, 1},
      {"no paths", {}, false, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const InstalledEventStream installed;
    {
      const JVFileEventer watcher(std::make_shared<Recorder>(), c.paths, c.watchFiles);
      ASSERT_EQ(installed.fake->streams.size(), 1);
      const auto& stream = *installed.fake->streams.front();
      EXPECT_EQ(watcher.eventStream(), &stream);
      EXPECT_EQ(stream.paths, c.paths);
      EXPECT_EQ(stream.flags, c.flags);
      EXPECT_EQ(stream.latency, 0.1);
      EXPECT_EQ(stream.sinceWhen, 0xFFFFFFFFFFFFFFFF);
      EXPECT_THAT(installed.fake->steps, ElementsAre("create", "queue", "start"));
      installed.fake->steps.clear();
    }
    EXPECT_THAT(installed.fake->steps, ElementsAre("stop", "invalidate", "release"));
  }
}

TEST(JVFileEventer, TellsTheDelegateOnItsOwnQueue) {
  const InstalledEventStream installed;
  const auto wrongThreads = std::make_shared<std::atomic<int>>(0);
  const auto delegate = std::make_shared<Recorder>([wrongThreads](const auto&) {
    if (JVFoundation::NSRunLoop::isMainThread()) ++*wrongThreads;
  });
  const JVFileEventer watcher(delegate, {"/a"}, false);
  EXPECT_EQ(watcher.eventQueue().label(), "event_queue");
  EXPECT_EQ(watcher.delegate(), delegate);

  installed.fake->streams.front()->deliver({"/a/b", "/a", "/a/\xFF\n"});
  installed.fake->streams.front()->deliver({"/a"});
  finish(watcher.eventQueue());
  EXPECT_THAT(delegate->batches(), ElementsAre(ElementsAre("/a/b", "/a", "/a/\xFF\n"), ElementsAre("/a")));
  EXPECT_EQ(*wrongThreads, 0);
}

TEST(JVFileEventer, PropertiesAreFieldsAndNoMore) {
  const InstalledEventStream installed;
  const auto told = std::make_shared<Recorder>();
  const auto other = std::make_shared<Recorder>();
  {
    JVFileEventer watcher(told, {"/a"}, false);
    const DispatchQueue queue = watcher.eventQueue();
    watcher.setDelegate(other);
    EXPECT_EQ(watcher.delegate(), other);
    watcher.setEventQueue(DispatchQueue::create("another"));
    EXPECT_EQ(watcher.eventQueue().label(), "another");

    auto* const stream = installed.fake->streams.front();
    stream->deliver({"/a"});
    finish(queue);
    EXPECT_EQ(told->batches().size(), 1) << "the delegate at creation, on the queue at creation";
    EXPECT_EQ(other->batches().size(), 0);

    // The stream that was replaced goes on; what is stored at the end is what is released.
    const auto replacement = installed.fake->FSEventStreamCreate(nullptr, {}, 0, 0, 0);
    watcher.setEventStream(replacement);
    EXPECT_EQ(watcher.eventStream(), replacement);
    EXPECT_THAT(installed.fake->streams, ElementsAre(stream, replacement));
  }
  ASSERT_EQ(installed.fake->streams.size(), 1);
  JVPlatform::FSEventStreamRef left = installed.fake->streams.front();
  left->FSEventStreamRelease();
  {
    JVFileEventer watcher(told, {"/a"}, false);
    left = watcher.eventStream();
    watcher.setEventStream(nullptr);
  }
  EXPECT_EQ(installed.fake->streams.size(), 1) << "nothing was stored, nothing is released";
  left->FSEventStreamRelease();
}

TEST(JVFileEventer, KeepsNoDelegateAlive) {
  const InstalledEventStream installed;
  auto delegate = std::make_shared<Recorder>();
  const JVFileEventer watcher(delegate, {"/a"}, false);
  EXPECT_EQ(delegate.use_count(), 1);
  delegate = nullptr;
  EXPECT_EQ(watcher.delegate(), nullptr);
  installed.fake->streams.front()->deliver({"/a"});  // dropped
  finish(watcher.eventQueue());
  const JVFileEventer nobody(nullptr, {"/a"}, false);
  EXPECT_EQ(nobody.delegate(), nullptr);
  installed.fake->streams.back()->deliver({"/a"});
  finish(nobody.eventQueue());
}

class Derived : public JVFileEventer {
 public:
  Derived() : JVFileEventer(JVFoundation::PlainInitializer{"Derived"}) {}
};

TEST(JVFileEventer, PlainInitializerRaisesAfterTheDesignatedOne) {
  const InstalledEventStream installed;
  const auto raisedBy = [&](auto make) -> std::string {
    installed.fake->steps.clear();
    try {
      make();
    } catch (const NSException& exception) {
      EXPECT_EQ(exception.name(), JVFoundation::JVBadInitializerException);
      EXPECT_THAT(installed.fake->steps, ElementsAre("create", "queue", "start", "stop", "invalidate", "release"));
      return exception.reason();
    }
    return "nothing";
  };
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  EXPECT_THAT(raisedBy([] { const JVFileEventer watcher; }), HasSubstr("JVFileEventer"));
#pragma GCC diagnostic pop
  EXPECT_THAT(raisedBy([] { const Derived watcher; }), HasSubstr("Derived"));
}

TEST(JVFileEventer, LivesWithAStreamThatFails) {
  const InstalledEventStream installed;
  installed.fake->starts = false;
  installed.fake->trouble = "why";
  EXPECT_EQ(JVFileEventer(nullptr, {"/a"}, false).problem(), "why");
  EXPECT_EQ(installed.fake->steps.back(), "release");
  installed.fake->makes = false;
  const JVFileEventer watcher(nullptr, {"/a"}, false);
  EXPECT_EQ(watcher.eventStream(), nullptr);
  EXPECT_EQ(watcher.problem(), std::nullopt);
}

}  // namespace
