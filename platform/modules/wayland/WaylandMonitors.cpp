#include "platform/modules/wayland/WaylandMonitors.h"

#include <wayland-client.h>
#include <xdg-output-unstable-v1.h>

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/modules/wayland/WaylandDisplay.h"
#include "platform/modules/wayland/WaylandObject.h"
#include "platform/modules/wayland/WaylandOutput.h"

namespace jv {
namespace {

/// Wayland has no primary output: it is the one at the origin here, or else the one nearest to it.
void choosePrimary(std::vector<Monitor>& monitors) {
  const auto fromOrigin = [](const Monitor& monitor) {
    const NSPoint at = monitor.frame.origin;
    return at.x * at.x + at.y * at.y;
  };
  const auto nearest = std::ranges::min_element(monitors, {}, fromOrigin);
  if (nearest != monitors.end()) nearest->primary = true;
}

class WaylandMonitors final : public MonitorSource {
 public:
  explicit WaylandMonitors(const char* display) : display_(display) {
    if (!display_.isConnected()) return;
    registry_.reset(wl_display_get_registry(display_.get()));
    if (registry_) wl_registry_add_listener(registry_.get(), &kRegistryListener, this);
  }

  [[nodiscard]] bool isConnected() const { return registry_ != nullptr; }

  std::optional<std::vector<Monitor>> monitors() noexcept override try {
    if (!catchUp()) return std::nullopt;
    std::vector<Monitor> found;
    for (const auto& output : outputs_) {
      if (auto monitor = output->monitor()) found.push_back(std::move(*monitor));
    }
    choosePrimary(found);
    return found;
  } catch (...) {
    return std::nullopt;
  }

 private:
  /// Hears all that has changed. News of an output that has just come are asked for when it does, and so come a round
  /// trip later. So may the rest of news that the compositor has not yet ended.
  bool catchUp() noexcept {
    constexpr int kMostRoundTrips = 4;
    for (int made = 0; made < kMostRoundTrips; ++made) {
      if (!display_.roundTrip()) return false;
      if (std::ranges::all_of(outputs_, &WaylandOutput::isSettled)) break;
    }
    return true;
  }

  void add(std::uint32_t number, std::string_view interface, std::uint32_t version) {
    if (interface == wl_output_interface.name && version >= WaylandOutput::kLeastOutputVersion) {
      outputs_.push_back(std::make_unique<WaylandOutput>(registry_.get(), number, version));
      if (manager_) outputs_.back()->askForPlace(manager_.get());
    } else if (interface == zxdg_output_manager_v1_interface.name && !manager_) {
      manager_.reset(static_cast<zxdg_output_manager_v1*>(
          wl_registry_bind(registry_.get(), number, &zxdg_output_manager_v1_interface,
                           std::min(version, WaylandOutput::kManagerVersion))));
      if (!manager_) return;
      for (const auto& output : outputs_) output->askForPlace(manager_.get());
    }
  }

  void remove(std::uint32_t number) {
    std::erase_if(outputs_, [number](const auto& output) { return output->number() == number; });
  }

  // Called by C code, which no exception may pass: where memory runs out, the process ends.
  static void onGlobal(void* self, wl_registry*, std::uint32_t number, const char* interface,
                       std::uint32_t version) noexcept {
    static_cast<WaylandMonitors*>(self)->add(number, interface, version);
  }
  static void onGlobalRemove(void* self, wl_registry*, std::uint32_t number) noexcept {
    static_cast<WaylandMonitors*>(self)->remove(number);
  }
  static constexpr wl_registry_listener kRegistryListener = {.global = onGlobal, .global_remove = onGlobalRemove};

  WaylandDisplay display_;
  WaylandObject<wl_registry> registry_;
  WaylandObject<zxdg_output_manager_v1> manager_;
  std::vector<std::unique_ptr<WaylandOutput>> outputs_;
};

}  // namespace

std::unique_ptr<MonitorSource> openWaylandMonitors(const char* display) noexcept try {
  auto monitors = std::make_unique<WaylandMonitors>(display);
  return monitors->isConnected() ? std::move(monitors) : nullptr;
} catch (...) {
  return nullptr;
}

}  // namespace jv
