/// What `system/` asks about the computer's name and its network, and how it hears of changes of both.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/Value.h>
#include <JorvaneFoundation/platform/RunLoopSource.h>

namespace JVPlatform {

/// Parts of the keys of the store, and keys of the dictionaries in it.
inline constexpr std::string_view kSCDynamicStoreDomainState = "State:";
inline constexpr std::string_view kSCCompAnyRegex = "[^/]+";
inline constexpr std::string_view kSCEntNetLink = "Link";
inline constexpr std::string_view kSCEntNetIPv4 = "IPv4";
inline constexpr std::string_view kSCDynamicStorePropNetInterfaces = "Interfaces";  ///< an array of texts
inline constexpr std::string_view kSCPropNetLinkActive = "Active";                  ///< a boolean
inline constexpr std::string_view kSCPropNetIPv4Addresses = "Addresses";            ///< an array of texts

/// What has happened to the preferences, as bits.
inline constexpr std::uint32_t kSCPreferencesNotificationCommit = 1;
inline constexpr std::uint32_t kSCPreferencesNotificationApply = 2;

/// A connection to the store of what is the case now. Used on one thread at a time.
class JV_EXPORT SCDynamicStore {
 public:
  SCDynamicStore() = default;
  SCDynamicStore(const SCDynamicStore&) = delete;
  SCDynamicStore& operator=(const SCDynamicStore&) = delete;
  virtual ~SCDynamicStore();
};

/// An open handle on the preferences of the system.
class JV_EXPORT SCPreferences {
 public:
  SCPreferences() = default;
  SCPreferences(const SCPreferences&) = delete;
  SCPreferences& operator=(const SCPreferences&) = delete;
  virtual ~SCPreferences();
};

using SCDynamicStoreRef = std::shared_ptr<SCDynamicStore>;
using SCPreferencesRef = std::shared_ptr<SCPreferences>;
using SCDynamicStoreCallBack = std::function<void()>;
/// Told which of the notification bits are set.
using SCPreferencesCallBack = std::function<void(std::uint32_t kinds)>;

/// Any thread. No operation waits for another program. Stores and handles go back to the implementation that made them,
/// and close themselves when the last reference goes.
class JV_EXPORT SystemConfiguration {
 public:
  SystemConfiguration() = default;
  SystemConfiguration(const SystemConfiguration&) = delete;
  SystemConfiguration& operator=(const SystemConfiguration&) = delete;
  virtual ~SystemConfiguration();

  /// The name of the computer that users see; none when it has none.
  virtual std::optional<std::string> SCDynamicStoreCopyComputerName() = 0;

  /// Connects to the store.
  /// @param name      of whoever asks, for support; may be none.
  /// @param callBack  called on the main thread when a watched key changes; empty when none will be watched.
  /// @return null when there is no store.
  virtual SCDynamicStoreRef SCDynamicStoreCreate(std::optional<std::string_view> name,
                                                 SCDynamicStoreCallBack callBack) = 0;
  /// The key of the list of interfaces.
  virtual std::string SCDynamicStoreKeyCreateNetworkInterface(std::string_view domain) = 0;
  /// The key of one interface's entity.
  virtual std::string SCDynamicStoreKeyCreateNetworkInterfaceEntity(std::string_view domain, std::string_view interface,
                                                                    std::string_view entity) = 0;
  /// The key, or pattern, of a service's entity; none when it cannot be built.
  virtual std::optional<std::string> SCDynamicStoreKeyCreateNetworkServiceEntity(std::string_view domain,
                                                                                 std::string_view service,
                                                                                 std::string_view entity) = 0;
  /// The dictionary under @p key, or none. What a store says of interfaces is what was the case when it gave its list.
  virtual std::optional<JVFoundation::Value> SCDynamicStoreCopyValue(const SCDynamicStoreRef& store,
                                                                     std::string_view key) = 0;
  /// Watches what matches one of @p keys, or one of the regular expressions @p patterns, from now on.
  virtual bool SCDynamicStoreSetNotificationKeys(const SCDynamicStoreRef& store, std::span<const std::string> keys,
                                                 std::span<const std::string> patterns) = 0;
  /// What the main run loop performs so that the store calls back; it keeps the store alive. Null when there is nothing
  /// to watch, or it cannot be watched.
  virtual std::shared_ptr<RunLoopSource> SCDynamicStoreCreateRunLoopSource(const SCDynamicStoreRef& store) = 0;

  /// Opens the preferences of the system; null when that fails.
  /// @param name  of whoever asks, for support; may be none.
  virtual SCPreferencesRef SCPreferencesCreate(std::optional<std::string_view> name) = 0;
  /// Calls @p callBack on the main thread when the preferences change, once they are scheduled. Nothing without a
  /// handle.
  virtual bool SCPreferencesSetCallback(const SCPreferencesRef& preferences, SCPreferencesCallBack callBack) = 0;
  /// What the main run loop performs so that the handle calls back. Null without a handle, and when the preferences
  /// cannot be watched.
  virtual std::shared_ptr<RunLoopSource> SCPreferencesScheduleWithRunLoop(const SCPreferencesRef& preferences) = 0;
  /// Ends that: the source calls nobody any more. Nothing without a handle.
  virtual bool SCPreferencesUnscheduleFromRunLoop(const SCPreferencesRef& preferences) = 0;
};

/// The implementation in use: at first one that asks the kernel and reads the system's files.
JV_EXPORT std::shared_ptr<SystemConfiguration> systemConfiguration();

/// Puts @p other in its place and gives back the one before; none brings back the first one.
JV_EXPORT std::shared_ptr<SystemConfiguration> installSystemConfiguration(std::shared_ptr<SystemConfiguration> other);

}  // namespace JVPlatform
