// The watcher on streams of paper: what it asks of them, and what it does with what they deliver.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

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
  jvtest::Flag done;
  queue.async([&] { done.raise(); });
  ASSERT_TRUE(done.wait());
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
    const InstalledEventStream streams;
    {
      const JVFileEventer watcher(std::make_shared<Recorder>(), c.paths, c.watchFiles);
      ASSERT_EQ(streams->present.size(), 1);
      const auto& stream = *streams->present.front();
      EXPECT_EQ(watcher.eventStream(), &stream);
      EXPECT_EQ(stream.paths, c.paths);
      EXPECT_EQ(stream.flags, c.flags);
      EXPECT_EQ(stream.latency, 0.1);
      EXPECT_EQ(stream.sinceWhen, 0xFFFFFFFFFFFFFFFF);
      EXPECT_THAT(streams->steps, ElementsAre("create", "queue", "start"));
      streams->steps.clear();
    }
    EXPECT_THAT(streams->steps, ElementsAre("stop", "invalidate", "release"));
  }
}

TEST(JVFileEventer, TellsTheDelegateOnItsOwnQueue) {
  const InstalledEventStream streams;
  const auto delegate =
      std::make_shared<Recorder>([](const auto&) { EXPECT_FALSE(JVFoundation::NSRunLoop::isMainThread()); });
  const JVFileEventer watcher(delegate, {"/a"}, false);
  EXPECT_EQ(watcher.eventQueue().label(), "event_queue");
  EXPECT_EQ(watcher.delegate(), delegate);

  streams->present.front()->deliver({"/a/b", "/a", "/a/\xFF\n"});
  streams->present.front()->deliver({"/a"});
  finish(watcher.eventQueue());
  EXPECT_THAT(delegate->batches(), ElementsAre(ElementsAre("/a/b", "/a", "/a/\xFF\n"), ElementsAre("/a")));
}

TEST(JVFileEventer, PropertiesAreFieldsAndNoMore) {
  const InstalledEventStream streams;
  const auto told = std::make_shared<Recorder>();
  const auto other = std::make_shared<Recorder>();
  JVPlatform::FSEventStreamRef left = nullptr;
  {
    JVFileEventer watcher(told, {"/a"}, false);
    const DispatchQueue queue = watcher.eventQueue();
    watcher.setDelegate(other);
    EXPECT_EQ(watcher.delegate(), other);
    watcher.setEventQueue(DispatchQueue::create("another"));
    EXPECT_EQ(watcher.eventQueue().label(), "another");

    auto* const stream = streams->present.front();
    stream->deliver({"/a"});
    finish(queue);
    EXPECT_EQ(told->batches().size(), 1) << "the delegate at creation, on the queue at creation";
    EXPECT_EQ(other->batches().size(), 0);

    // The stream that was replaced goes on; what is stored at the end is what is released.
    const auto replacement = streams->FSEventStreamCreate(nullptr, {}, 0, 0, 0);
    watcher.setEventStream(replacement);
    EXPECT_EQ(watcher.eventStream(), replacement);
    EXPECT_THAT(streams->present, ElementsAre(stream, replacement));
    left = stream;
  }
  EXPECT_THAT(streams->present, ElementsAre(left));
  left->FSEventStreamRelease();
  {
    JVFileEventer watcher(told, {"/a"}, false);
    left = watcher.eventStream();
    watcher.setEventStream(nullptr);
  }
  EXPECT_THAT(streams->present, ElementsAre(left)) << "nothing was stored, nothing is released";
  left->FSEventStreamRelease();
}

TEST(JVFileEventer, KeepsNoDelegateAlive) {
  const InstalledEventStream streams;
  auto delegate = std::make_shared<Recorder>();
  const JVFileEventer watcher(delegate, {"/a"}, false);
  EXPECT_EQ(delegate.use_count(), 1);
  delegate = nullptr;
  const JVFileEventer nobody(nullptr, {"/a"}, false);
  for (const JVFileEventer* const one : {&watcher, &nobody}) {
    EXPECT_EQ(one->delegate(), nullptr);
    static_cast<jvtest::FakeEventStream::Stream*>(one->eventStream())->deliver({"/a"});  // dropped
    finish(one->eventQueue());
  }
}

class Derived : public JVFileEventer {
 public:
  Derived() : JVFileEventer(JVFoundation::PlainInitializer{"Derived"}) {}
};

TEST(JVFileEventer, PlainInitializerRaisesAfterTheDesignatedOne) {
  const InstalledEventStream streams;
  const auto raisedBy = [&](auto make) -> std::string {
    streams->steps.clear();
    try {
      make();
    } catch (const NSException& exception) {
      EXPECT_EQ(exception.name(), JVFoundation::JVBadInitializerException);
      EXPECT_THAT(streams->steps, ElementsAre("create", "queue", "start", "stop", "invalidate", "release"));
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
  const InstalledEventStream streams;
  streams->starts = false;
  streams->trouble = "why";
  EXPECT_EQ(JVFileEventer(nullptr, {"/a"}, false).problem(), "why");
  EXPECT_EQ(streams->steps.back(), "release");
  streams->makes = false;
  const JVFileEventer watcher(nullptr, {"/a"}, false);
  EXPECT_EQ(watcher.eventStream(), nullptr);
  EXPECT_EQ(watcher.problem(), std::nullopt);
}

}  // namespace
