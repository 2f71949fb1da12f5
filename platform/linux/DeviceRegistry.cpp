#include <JorvaneFoundation/platform/DeviceRegistry.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "platform/BusModule.h"
#include "platform/Defaults.h"
#include "platform/fact_origins.h"
#include "platform/linux/ModuleLoader.h"
#include "platform/X11Module.h"

namespace jv {
namespace {

using Clock = std::chrono::steady_clock;

std::string_view environment(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

bool isWaylandSession() {
  return !environment("WAYLAND_DISPLAY").empty() || environment("XDG_SESSION_TYPE") == "wayland";
}

/// Nanoseconds since the last input, as whoever sees all of it counts them.
///
/// Under Wayland that is the compositor: the X server there sees what goes to its own clients alone. Elsewhere it is
/// the X server. The hint that the session manager keeps comes last, since many desktops never set it.
std::optional<std::int64_t> idleTime() {
  constexpr std::chrono::microseconds kLongestWait{100'000};
  const Clock::time_point end = Clock::now() + kLongestWait;
  const auto left = [end] {
    const auto time = std::chrono::duration_cast<std::chrono::microseconds>(end - Clock::now()).count();
    return static_cast<std::uint64_t>(time > 0 ? time : 0);
  };
  const auto from = [](const char* origin, std::optional<std::int64_t> time) {
    if (time) noteOrigin(JVPlatform::Fact::idleTime, origin);
    return time;
  };

  const bool wayland = isWaylandSession();
  const BusModule* const bus = module<BusModule>("bus");
  if (wayland && bus) {
    if (auto time = from("compositor's idle monitor", bus->compositorIdle(left()))) return time;
  }
  if (!wayland && !environment("DISPLAY").empty()) {
    const X11Module* const x11 = module<X11Module>("x11");
    if (x11) {
      if (auto time = from("X server", x11->idle(left()))) return time;
    }
  }
  return from("session manager's idle hint", bus ? bus->sessionIdle(left()) : std::nullopt);
}

class Service final : public JVPlatform::IORegistryEntry {
 public:
  explicit Service(std::int64_t idleTime) : idleTime_(idleTime) {}
  std::optional<JVFoundation::Value> IORegistryEntryCreateCFProperties() override {
    return JVFoundation::Dictionary{{std::string(JVPlatform::kIOHIDIdleTimeKey), idleTime_}};
  }

 private:
  std::int64_t idleTime_;
};

class Services final : public JVPlatform::IOIterator {
 public:
  explicit Services(std::unique_ptr<Service> only) : only_(std::move(only)) {}
  std::unique_ptr<JVPlatform::IORegistryEntry> IOIteratorNext() override { return std::move(only_); }

 private:
  std::unique_ptr<Service> only_;
};

class LinuxDeviceRegistry final : public JVPlatform::DeviceRegistry {
 public:
  std::unique_ptr<JVPlatform::IOIterator> IOServiceGetMatchingServices(std::string_view name) override {
    if (name != JVPlatform::kIOHIDSystemClass) return nullptr;
    noteOrigin(JVPlatform::Fact::idleTime, nullptr);
    const auto time = idleTime();
    return time ? std::make_unique<Services>(std::make_unique<Service>(*time)) : nullptr;
  }
};

}  // namespace

std::shared_ptr<JVPlatform::DeviceRegistry> makeDeviceRegistry() { return std::make_shared<LinuxDeviceRegistry>(); }

}  // namespace jv
