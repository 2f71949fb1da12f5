// What the watcher asks of its stream, and what its properties are for.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "fileevents/support.h"
#include "support/installed.h"

using jvtest::Paths;
using jvtest::Recorder;

namespace {

/// Streams that write down what is asked of them.
struct Streams final : JVPlatform::EventStream {
  struct Stream final : JVPlatform::FSEventStream {
    explicit Stream(Streams& itsMaker) : maker(itsMaker) {}
    void FSEventStreamSetDispatchQueue(JVFoundation::Executor) override { maker.steps += "queue "; }
    bool FSEventStreamStart() override {
      maker.steps += "start ";
      return false;
    }
    void FSEventStreamStop() override { maker.steps += "stop "; }
    void FSEventStreamInvalidate() override { maker.steps += "invalidate "; }
    void FSEventStreamRelease() override {
      maker.steps += "release ";
      delete this;
    }
    [[nodiscard]] std::optional<std::string> problem() const override { return "why"; }
    Streams& maker;
  };

  JVPlatform::FSEventStreamRef FSEventStreamCreate(JVPlatform::FSEventStreamCallback,
                                                   std::span<const std::string> paths, std::uint64_t sinceWhen,
                                                   double latency, std::uint32_t flags) override {
    EXPECT_EQ(sinceWhen, 0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(latency, 0.1);
    steps.clear();
    for (const std::string& path : paths) steps += path + " ";
    steps += std::to_string(flags) + " ";
    return new Stream(*this);
  }

  std::string steps;
};

struct Derived : JVFileEventer {
  Derived() : JVFileEventer(JVFoundation::PlainInitializer{"Derived"}) {}
};

TEST(JVFileEventer, AsksForAStreamAndReleasesTheOneThatIsStored) {
  const jvtest::Installed<Streams, JVPlatform::installEventStream> streams;
  EXPECT_EQ(JVFileEventer(nullptr, {"/b/", "a/../c", "", "/b/"}, false).problem(), "why");
  EXPECT_EQ(streams->steps, "/b/ a/../c  /b/ 1 queue start stop invalidate release ");
  JVPlatform::FSEventStreamRef replaced = nullptr;
  {
    JVFileEventer watcher(nullptr, {}, true);
    replaced = watcher.eventStream();
    watcher.setEventStream(nullptr);
  }
  EXPECT_EQ(streams->steps, "17 queue start ");
  replaced->FSEventStreamRelease();
  try {
    Derived();
    ADD_FAILURE();
  } catch (const JVFoundation::NSException& exception) {
    EXPECT_EQ(exception.name(), JVFoundation::JVBadInitializerException);
    EXPECT_THAT(exception.reason(), testing::HasSubstr("Derived"));
    EXPECT_EQ(streams->steps, "1 queue start stop invalidate release ");
  }
}

TEST(JVFileEventer, TellsTheDelegateAtCreationOnTheQueueAtCreationAsLongAsItLives) {
  const jvtest::Place place;
  JVFileEventer watcher(place.recorder, {place.base}, true);
  const auto queue = watcher.eventQueue();
  EXPECT_EQ(queue.label(), "event_queue");
  auto other = std::make_shared<Recorder>();
  JVFileEventer second(other, {place.base}, true);
  watcher.setDelegate(other);
  EXPECT_EQ(watcher.delegate(), other);
  watcher.setEventQueue(JVFoundation::DispatchQueue::create("another"));

  jvtest::Events released;
  queue.async([&] { EXPECT_TRUE(released.wait()); });
  jvtest::write(place / "file");
  EXPECT_TRUE(other->waitFor(place / "file"));
  EXPECT_TRUE(place.recorder->batches().empty()) << "the other queue";
  released.happen();
  EXPECT_TRUE(place.tells("file"));
  EXPECT_EQ(other->batches().size(), 1);
  const std::weak_ptr<Recorder> weak = other;
  other = nullptr;
  EXPECT_TRUE(weak.expired());
}

}  // namespace
