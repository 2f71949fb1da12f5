/// Tells when the computer's name or its network address changes.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/platform/SystemConfiguration.h>
#include <JorvaneFoundation/system/notification_names.h>

/// Posts, on the default notification centre, with itself as the object:
///
/// - `JVComputerNameChangedNotification` when `JVUtilities::computerName()` has become another one;
/// - `JVIPAddressChangedNotification` when the interface or the address of `JVUtilities::ipAddress()` has. The first
///   change of the network after the start is always told, even if both are the same as before.
///
/// A property has its new value before its notification is posted. Both come on the main thread while it runs or drains
/// `JVFoundation::NSRunLoop`; a program that does neither gets none. What happens meanwhile is told once, with the
/// latest value.
///
///     auto& listener = JVSystemConfigListener::sharedListener();
///     const auto token = JVFoundation::NSNotificationCenter::defaultCenter().addObserver(
///         JVIPAddressChangedNotification, &listener, [&](const auto&) { show(*listener.networkState()); });
///
/// It watches the kernel and two files. It takes no thread, and nothing while nothing changes. What cannot be watched
/// is not told of, silently.
class JV_EXPORT JVSystemConfigListener {
 public:
  /// The process's own, made by the first call, which starts the watching. Never destroyed. Any thread.
  static JVSystemConfigListener& sharedListener();

  /// Another one, which watches as well. Any thread; destroyed on the main thread. What was opened for watching the
  /// network stays open for the life of the process.
  JVSystemConfigListener();
  JVSystemConfigListener(const JVSystemConfigListener&) = delete;
  JVSystemConfigListener& operator=(const JVSystemConfigListener&) = delete;
  virtual ~JVSystemConfigListener();

  // The properties belong to the main thread.

  /// The handle on the preferences of the system; null when they could not be opened.
  [[nodiscard]] const JVPlatform::SCPreferencesRef& prefsRef() const noexcept;
  void setPrefsRef(JVPlatform::SCPreferencesRef preferences) noexcept;

  /// The last name known. Another than this counts as a change; to an empty or missing one, any does.
  [[nodiscard]] const std::optional<std::string>& computerName() const noexcept;
  void setComputerName(std::optional<std::string_view> name);

  /// Interface and address as last told, "eth0:192.0.2.10"; none before the first change. To an empty or missing one,
  /// any state counts as a change.
  [[nodiscard]] const std::optional<std::string>& networkState() const noexcept;
  void setNetworkState(std::optional<std::string_view> state);

 private:
  struct JV_HIDDEN State;

  std::shared_ptr<State> state_;  // the callbacks have weak references: the watching of the network outlives this
};
