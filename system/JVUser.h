/// Follows whether the user of this process is the one at the machine.
#pragma once

#include <memory>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSNotificationCenter.h>
#include <JorvaneFoundation/system/notification_names.h>

/// Several users may be logged in at once; one of them has the screen. Each time that the user's session becomes the
/// active one, `JVUserDidBecomeActiveNotification` is posted on the default notification centre with this as the
/// object. When it no longer is, the property changes and nothing is posted.
///
/// All of it happens on the main thread while it runs or drains `JVFoundation::NSRunLoop`; a program that does neither
/// hears nothing, and neither does one on a machine without a session manager.
class JV_EXPORT JVUser {
 public:
  /// The process's own, made by the first call, which starts the watching. Never destroyed. Any thread.
  [[nodiscard]] static JVUser& sharedUser();

  /// Another one, which watches as well. Any thread; destroyed on the main thread.
  JVUser();
  JVUser(const JVUser&) = delete;
  JVUser& operator=(const JVUser&) = delete;
  virtual ~JVUser();

  /// Whether the session is the active one, as far as changes tell: yes at first, whatever it is then. Any thread.
  [[nodiscard]] bool isActive() const noexcept;
  void setActive(bool active) noexcept;

  /// Handles a notification of the workspace: that the session has resigned makes it inactive, any other makes it
  /// active and is announced, also when it was active before. The main thread.
  virtual void userSwitched(const JVFoundation::NSNotification& notification);

 private:
  struct State;

  std::unique_ptr<State> state_;
};
