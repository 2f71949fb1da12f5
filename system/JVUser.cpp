#include <JorvaneFoundation/system/JVUser.h>

#include <atomic>
#include <optional>

#include <JorvaneFoundation/dispatch/NSRunLoop.h>
#include <JorvaneFoundation/platform/Workspace.h>

#include "system/main_loop_source.h"

using JVFoundation::NSNotification;
using JVFoundation::NSNotificationCenter;
using JVFoundation::NSRunLoop;

struct JVUser::State {
  std::atomic<bool> active{true};
  const std::shared_ptr<JVPlatform::Workspace> workspace = JVPlatform::workspace();
  NSNotificationCenter::Token becameActive;
  NSNotificationCenter::Token resignedActive;
  std::optional<NSRunLoop::Source> source;
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
  state_->source = jv::addToMainRunLoop(state_->workspace->createRunLoopSource());
}

JVUser::~JVUser() {
  if (state_->source) NSRunLoop::mainRunLoop().removeSource(*state_->source);
}

bool JVUser::isActive() const noexcept { return state_->active.load(std::memory_order_relaxed); }
void JVUser::setActive(bool active) noexcept { state_->active.store(active, std::memory_order_relaxed); }

void JVUser::userSwitched(const NSNotification& notification) {
  const bool resigned = notification.name == JVPlatform::NSWorkspaceSessionDidResignActiveNotification;
  setActive(!resigned);
  if (!resigned) NSNotificationCenter::defaultCenter().post(JVUserDidBecomeActiveNotification, this);
}
