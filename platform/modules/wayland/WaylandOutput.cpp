#include "platform/modules/wayland/WaylandOutput.h"

#include <algorithm>
#include <utility>

namespace jv {
namespace {

bool isEmpty(NSSize size) { return size.width <= 0 || size.height <= 0; }

}  // namespace

// Called by C code, which no exception may pass: where memory runs out, the process ends.
struct WaylandOutput::Listeners {
  static WaylandOutput& self(void* data) noexcept { return *static_cast<WaylandOutput*>(data); }

  // clang-format off
  static constexpr wl_output_listener kOutput = {
      .geometry = [](void* data, wl_output*, std::int32_t x, std::int32_t y, std::int32_t, std::int32_t, std::int32_t,
                     const char*, const char*, std::int32_t transform) noexcept {
        self(data).coming().origin = {static_cast<double>(x), static_cast<double>(y)};
        self(data).coming().sideways = (transform & WL_OUTPUT_TRANSFORM_90) != 0;  // so are 270 and both mirrored ones
      },
      .mode = [](void* data, wl_output*, std::uint32_t flags, std::int32_t width, std::int32_t height,
                 std::int32_t) noexcept {
        if ((flags & WL_OUTPUT_MODE_CURRENT) == 0) return;
        self(data).coming().mode = {static_cast<double>(width), static_cast<double>(height)};
      },
      .done = [](void* data, wl_output*) noexcept { self(data).settle(); },
      .scale = [](void* data, wl_output*, std::int32_t factor) noexcept {
        self(data).coming().scale = std::max(factor, 1);
      },
      .name = [](void* data, wl_output*, const char* name) noexcept { self(data).coming().name = name; },
      .description = [](void*, wl_output*, const char*) noexcept {},
  };

  static constexpr zxdg_output_v1_listener kPlace = {
      .logical_position = [](void* data, zxdg_output_v1*, std::int32_t x, std::int32_t y) noexcept {
        self(data).coming().place = NSPoint{static_cast<double>(x), static_cast<double>(y)};
      },
      .logical_size = [](void* data, zxdg_output_v1*, std::int32_t width, std::int32_t height) noexcept {
        self(data).coming().size = NSSize{static_cast<double>(width), static_cast<double>(height)};
      },
      .done = [](void* data, zxdg_output_v1*) noexcept { self(data).settle(); },
      .name = [](void* data, zxdg_output_v1*, const char* name) noexcept { self(data).coming().name = name; },
      .description = [](void*, zxdg_output_v1*, const char*) noexcept {},
  };
  // clang-format on
};

WaylandOutput::WaylandOutput(wl_registry* registry, std::uint32_t number, std::uint32_t version) noexcept
    : number_(number),
      output_(static_cast<wl_output*>(
          wl_registry_bind(registry, number, &wl_output_interface, std::min(version, kOutputVersion)))) {
  if (output_) wl_output_add_listener(output_.get(), &Listeners::kOutput, this);
}

void WaylandOutput::askForPlace(zxdg_output_manager_v1* manager) noexcept {
  if (placed_ || !output_) return;
  placed_.reset(zxdg_output_manager_v1_get_xdg_output(manager, output_.get()));
  if (placed_) zxdg_output_v1_add_listener(placed_.get(), &Listeners::kPlace, this);
  settled_ = false;
}

WaylandOutput::Facts& WaylandOutput::coming() noexcept {
  settled_ = false;
  return coming_;
}

void WaylandOutput::settle() {
  // In older versions of the protocol, each of the two objects has its own end, and one comes before the other begins.
  if (placed_ && !(coming_.place && coming_.size)) return;
  facts_ = coming_;
  settled_ = true;
}

std::optional<Monitor> WaylandOutput::monitor() const {
  const NSSize pixels = facts_.sideways ? NSSize{facts_.mode.height, facts_.mode.width} : facts_.mode;
  const NSSize size = facts_.size.value_or(NSSize{pixels.width / facts_.scale, pixels.height / facts_.scale});
  if (isEmpty(size)) return std::nullopt;
  return Monitor{.name = facts_.name,
                 .frame = {facts_.place.value_or(facts_.origin), size},
                 .scale = isEmpty(pixels) ? facts_.scale : pixels.width / size.width};
}

}  // namespace jv
