#include <JorvaneFoundation/fileevents/JVFileEventer.h>

#include <cstdint>
#include <functional>
#include <utility>

#include <JorvaneFoundation/foundation/NSException.h>

using JVFoundation::DispatchQueue;

namespace {

constexpr double kLatency = 0.1;  // seconds

std::uint32_t flagsFor(bool watchFiles) {
  const std::uint32_t fileEvents = watchFiles ? JVPlatform::kFSEventStreamCreateFlagFileEvents : 0;
  return JVPlatform::kFSEventStreamCreateFlagUseCFTypes | fileEvents;
}

class Handler final : public JVFileEventerDelegate {
 public:
  explicit Handler(std::function<void(const std::vector<std::string>&)> handler) : handler_(std::move(handler)) {}

  void fileSystemEventHappenedAtPaths(const std::vector<std::string>& paths) override { handler_(paths); }

 private:
  const std::function<void(const std::vector<std::string>&)> handler_;
};

}  // namespace

JVFileEventerDelegate::~JVFileEventerDelegate() = default;

std::shared_ptr<JVFileEventerDelegate> JVFileEventerDelegate::create(
    std::function<void(const std::vector<std::string>&)> handler) {
  return std::make_shared<Handler>(std::move(handler));
}

struct JVFileEventer::State {
  std::weak_ptr<JVFileEventerDelegate> delegate;
  DispatchQueue eventQueue = DispatchQueue::create("event_queue");
  JVPlatform::FSEventStreamRef eventStream = nullptr;

  State() = default;
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  /// Before queue and delegate, and also when a constructor does not come to its end.
  ~State() {
    if (!eventStream) return;
    eventStream->FSEventStreamStop();
    eventStream->FSEventStreamInvalidate();
    eventStream->FSEventStreamRelease();
  }
};

JVFileEventer::JVFileEventer(const std::shared_ptr<JVFileEventerDelegate>& delegate,
                             const std::vector<std::string>& pathsToWatch, bool watchFiles)
    : state_(std::make_unique<State>()) {
  state_->delegate = delegate;
  // The stream has a reference of its own: what the property says later does not redirect it.
  const auto tell = [told = std::weak_ptr(delegate)](const std::vector<std::string>& paths) {
    if (const auto alive = told.lock()) alive->fileSystemEventHappenedAtPaths(paths);
  };
  const JVPlatform::FSEventStreamRef stream = JVPlatform::eventStream()->FSEventStreamCreate(
      tell, pathsToWatch, JVPlatform::kFSEventStreamEventIdSinceNow, kLatency, flagsFor(watchFiles));
  state_->eventStream = stream;
  if (!stream) return;
  stream->FSEventStreamSetDispatchQueue(
      [queue = state_->eventQueue](std::function<void()> work) { queue.async(std::move(work)); });
  stream->FSEventStreamStart();
}

JVFileEventer::JVFileEventer() : JVFileEventer(JVFoundation::PlainInitializer{"JVFileEventer"}) {}

JVFileEventer::JVFileEventer(const JVFoundation::PlainInitializer& initializer) : JVFileEventer(nullptr, {}, false) {
  JVFoundation::NSException::raiseBadInitializerForClass(initializer.className);
}

JVFileEventer::~JVFileEventer() = default;

std::shared_ptr<JVFileEventerDelegate> JVFileEventer::delegate() const { return state_->delegate.lock(); }
void JVFileEventer::setDelegate(const std::shared_ptr<JVFileEventerDelegate>& delegate) { state_->delegate = delegate; }

DispatchQueue JVFileEventer::eventQueue() const { return state_->eventQueue; }
void JVFileEventer::setEventQueue(const DispatchQueue& queue) { state_->eventQueue = queue; }

JVPlatform::FSEventStreamRef JVFileEventer::eventStream() const { return state_->eventStream; }
void JVFileEventer::setEventStream(JVPlatform::FSEventStreamRef stream) { state_->eventStream = stream; }

std::optional<std::string> JVFileEventer::problem() const {
  return state_->eventStream ? state_->eventStream->problem() : std::nullopt;
}
