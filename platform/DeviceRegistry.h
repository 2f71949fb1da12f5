/// What `system/` asks about the input devices: for how long nobody has touched them.
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/Value.h>

namespace JVPlatform {

/// The class of the one service that has the idle time, and the property that it is.
inline constexpr std::string_view kIOHIDSystemClass = "IOHIDSystem";
inline constexpr std::string_view kIOHIDIdleTimeKey = "HIDIdleTime";

/// A service of the registry.
class JV_EXPORT IORegistryEntry {
 public:
  IORegistryEntry() = default;
  IORegistryEntry(const IORegistryEntry&) = delete;
  IORegistryEntry& operator=(const IORegistryEntry&) = delete;
  virtual ~IORegistryEntry();

  /// A dictionary with all properties of the service, or none. "HIDIdleTime" counts nanoseconds since the last input: a
  /// signed 64-bit number, or data whose first eight bytes hold one in host order.
  virtual std::optional<JVFoundation::Value> IORegistryEntryCreateCFProperties() = 0;
};

/// Services, one after the other.
class JV_EXPORT IOIterator {
 public:
  IOIterator() = default;
  IOIterator(const IOIterator&) = delete;
  IOIterator& operator=(const IOIterator&) = delete;
  virtual ~IOIterator();

  /// The next service; null behind the last one.
  virtual std::unique_ptr<IORegistryEntry> IOIteratorNext() = 0;
};

/// Any thread. What it gives is used on one thread at a time, and given back by being destroyed.
class JV_EXPORT DeviceRegistry {
 public:
  DeviceRegistry() = default;
  DeviceRegistry(const DeviceRegistry&) = delete;
  DeviceRegistry& operator=(const DeviceRegistry&) = delete;
  virtual ~DeviceRegistry();

  /// The services of the class @p name; null when there is none of that class. Blocks for 100 ms at most, as far as it
  /// waits for other programs.
  virtual std::unique_ptr<IOIterator> IOServiceGetMatchingServices(std::string_view name) = 0;
};

/// The implementation in use: at first one that asks the display server and the session manager.
JV_EXPORT std::shared_ptr<DeviceRegistry> deviceRegistry();

/// Puts @p other in its place and gives back the one before; none brings back the first one.
JV_EXPORT std::shared_ptr<DeviceRegistry> installDeviceRegistry(std::shared_ptr<DeviceRegistry> other);

}  // namespace JVPlatform
