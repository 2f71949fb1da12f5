/// What `system/` asks about the user's session: to be told when it becomes the active one, and when no more.
#pragma once

#include <memory>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSNotificationCenter.h>
#include <JorvaneFoundation/platform/RunLoopSource.h>

namespace JVPlatform {

/// What the workspace posts.
inline constexpr std::string_view NSWorkspaceSessionDidBecomeActiveNotification =
    "NSWorkspaceSessionDidBecomeActiveNotification";
inline constexpr std::string_view NSWorkspaceSessionDidResignActiveNotification =
    "NSWorkspaceSessionDidResignActiveNotification";

/// Any thread.
class JV_EXPORT Workspace {
 public:
  Workspace() = default;
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;
  virtual ~Workspace();

  /// The workspace's own; it lives as long as the workspace. Posted to on the main thread alone.
  virtual JVFoundation::NSNotificationCenter& notificationCenter() = 0;

  /// What the main run loop performs so that the centre hears of the session; it keeps the workspace alive. A new one
  /// for each call; none when the session cannot be watched. Waits for nobody.
  virtual std::shared_ptr<RunLoopSource> createRunLoopSource() = 0;
};

/// The implementation in use: at first one that asks the session manager.
JV_EXPORT std::shared_ptr<Workspace> workspace();

/// Puts @p other in its place and gives back the one before; none brings back the first one.
JV_EXPORT std::shared_ptr<Workspace> installWorkspace(std::shared_ptr<Workspace> other);

}  // namespace JVPlatform
