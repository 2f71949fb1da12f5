#include <JorvaneFoundation/system/JVUser.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include <JorvaneFoundation/dispatch/NSRunLoop.h>
#include <JorvaneFoundation/platform/Workspace.h>

#include "system/main_loop_source.h"

using JVFoundation::NSNotification;
using JVFoundation::NSNotificationCenter;
using JVFoundation::NSRunLoop;

namespace {

/// Has the main run loop watch the session for one workspace. All users of that share it: each source would have the
/// workspace's centre post once more for the same change.
class SessionSource {
 public:
  static std::shared_ptr<SessionSource> of(const std::shared_ptr<JVPlatform::Workspace>& workspace) {
    static std::mutex mutex;
    static auto& known = *new std::vector<std::weak_ptr<SessionSource>>;
    const std::lock_guard lock(mutex);
    std::erase_if(known, [](const auto& each) { return each.expired(); });
    for (const auto& each : known) {
      if (auto source = each.lock(); source && source->workspace_ == workspace) return source;
    }
    const auto made = std::make_shared<SessionSource>(workspace);
    known.push_back(made);
    return made;
  }

  explicit SessionSource(std::shared_ptr<JVPlatform::Workspace> workspace)
      : workspace_(std::move(workspace)), source_(jv::addToMainRunLoop(workspace_->createRunLoopSource())) {}
  SessionSource(const SessionSource&) = delete;
  SessionSource& operator=(const SessionSource&) = delete;
  ~SessionSource() {
    if (source_) NSRunLoop::mainRunLoop().removeSource(*source_);
  }

 private:
  const std::shared_ptr<JVPlatform::Workspace> workspace_;
  const std::optional<NSRunLoop::Source> source_;
};

}  // namespace

struct JVUser::State {
  std::atomic<bool> active{true};
  const std::shared_ptr<JVPlatform::Workspace> workspace = JVPlatform::workspace();
  NSNotificationCenter::Token becameActive;
  NSNotificationCenter::Token resignedActive;
  std::shared_ptr<SessionSource> source;
};

JVUser& JVUser::sharedUser() {
  static auto& only = *new JVUser;
  return only;
}

JVUser::JVUser() : state_(std::make_unique<State>()) {
  NSNotificationCenter& center = state_->workspace->notificationCenter();
  const auto handler = [this](const NSNotification& notification) { userSwitched(notification); };
  state_->becameActive =
      center.addObserver(JVPlatform::NSWorkspaceSessionDidBecomeActiveNotification, nullptr, handler);
  state_->resignedActive =
      center.addObserver(JVPlatform::NSWorkspaceSessionDidResignActiveNotification, nullptr, handler);
  state_->source = SessionSource::of(state_->workspace);
}

JVUser::~JVUser() = default;

bool JVUser::isActive() const noexcept { return state_->active.load(std::memory_order_relaxed); }
void JVUser::setActive(bool active) noexcept { state_->active.store(active, std::memory_order_relaxed); }

void JVUser::userSwitched(const NSNotification& notification) {
  const bool resigned = notification.name == JVPlatform::NSWorkspaceSessionDidResignActiveNotification;
  setActive(!resigned);
  if (!resigned) NSNotificationCenter::defaultCenter().post(JVUserDidBecomeActiveNotification, this);
}
