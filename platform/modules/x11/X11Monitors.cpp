#include "platform/modules/x11/X11Monitors.h"

#include <xcb/randr.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/modules/x11/BrokenPipeGuard.h"
#include "platform/modules/x11/X11Connection.h"

namespace jv {
namespace {

/// What the server's RandR extension knows of.
enum class RandR : std::uint8_t {
  none,
  outputs,        ///< 1.2: outputs, and the parts of the root window that they show
  primaryOutput,  ///< 1.3: the primary one among them, and all of it without looking at the hardware
  monitors,       ///< 1.5: what window managers take for monitors, which need not be single outputs
};

std::string textOf(const char* text, int length) { return {text, static_cast<std::size_t>(std::max(length, 0))}; }

NSRect frameOf(double x, double y, double width, double height) { return {{x, y}, {width, height}}; }

class X11Monitors final : public MonitorSource {
 public:
  explicit X11Monitors(const char* display) : server_(display) {
    if (!server_.isLost()) randr_ = askForRandR();
  }

  [[nodiscard]] bool isLost() const { return server_.isLost(); }

  std::optional<std::vector<Monitor>> monitors() noexcept override try {
    const BrokenPipeGuard guard;
    server_.dropEvents();
    std::vector<Monitor> found;
    if (randr_ == RandR::monitors) found = namedMonitors();
    if (found.empty() && randr_ != RandR::none) found = shownOutputs();
    if (found.empty()) found = rootWindow();
    if (server_.isLost()) return std::nullopt;
    return found;
  } catch (...) {
    return std::nullopt;
  }

 private:
  RandR askForRandR() {
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(server_.get(), &xcb_randr_id);
    if (!extension || !extension->present) return RandR::none;
    const auto version = server_.reply<xcb_randr_query_version_reply_t>(xcb_randr_query_version(server_.get(), 1, 5));
    if (!version) return RandR::none;
    const std::pair known(version->major_version, version->minor_version);
    if (known >= std::pair(1U, 5U)) return RandR::monitors;
    if (known >= std::pair(1U, 3U)) return RandR::primaryOutput;
    return known >= std::pair(1U, 2U) ? RandR::outputs : RandR::none;
  }

  std::vector<Monitor> namedMonitors() {
    const auto reply =
        server_.reply<xcb_randr_get_monitors_reply_t>(xcb_randr_get_monitors(server_.get(), server_.root(), 1));
    if (!reply) return {};
    std::vector<xcb_randr_monitor_info_t> infos;
    for (auto each = xcb_randr_get_monitors_monitors_iterator(reply.get()); each.rem > 0;
         xcb_randr_monitor_info_next(&each)) {
      infos.push_back(*each.data);
    }
    learnNames(infos);
    std::vector<Monitor> found;
    for (const auto& info : infos) {
      found.push_back({.name = names_[info.name],
                       .frame = frameOf(info.x, info.y, info.width, info.height),
                       .primary = info.primary != 0});
    }
    return found;
  }

  /// A name that was seen once costs no round trip any more: atoms stay what they are as long as the server runs.
  void learnNames(const std::vector<xcb_randr_monitor_info_t>& infos) {
    std::vector<std::pair<xcb_atom_t, xcb_get_atom_name_cookie_t>> asked;
    for (const auto& info : infos) {
      if (!names_.contains(info.name)) asked.emplace_back(info.name, xcb_get_atom_name(server_.get(), info.name));
    }
    for (const auto& [atom, cookie] : asked) {
      if (const auto name = server_.reply<xcb_get_atom_name_reply_t>(cookie)) {
        names_[atom] = textOf(xcb_get_atom_name_name(name.get()), xcb_get_atom_name_name_length(name.get()));
      }
    }
  }

  std::vector<Monitor> shownOutputs() {
    if (randr_ == RandR::outputs) {
      using Reply = xcb_randr_get_screen_resources_reply_t;
      const auto all = server_.reply<Reply>(xcb_randr_get_screen_resources(server_.get(), server_.root()));
      if (!all) return {};
      return shownOutputs(xcb_randr_get_screen_resources_crtcs(all.get()), all->num_crtcs, all->config_timestamp,
                          XCB_NONE);
    }
    using Reply = xcb_randr_get_screen_resources_current_reply_t;
    const auto primaryAsked = xcb_randr_get_output_primary(server_.get(), server_.root());
    const auto all = server_.reply<Reply>(xcb_randr_get_screen_resources_current(server_.get(), server_.root()));
    const auto primary = server_.reply<xcb_randr_get_output_primary_reply_t>(primaryAsked);
    if (!all) return {};
    return shownOutputs(xcb_randr_get_screen_resources_current_crtcs(all.get()), all->num_crtcs, all->config_timestamp,
                        primary ? primary->output : XCB_NONE);
  }

  std::vector<Monitor> shownOutputs(const xcb_randr_crtc_t* crtcs, int count, xcb_timestamp_t time,
                                    xcb_randr_output_t primary) {
    std::vector<xcb_randr_get_crtc_info_cookie_t> asked;
    for (int i = 0; i < count; ++i) asked.push_back(xcb_randr_get_crtc_info(server_.get(), crtcs[i], time));
    std::vector<Monitor> found;
    std::vector<xcb_randr_get_output_info_cookie_t> namesAsked;
    for (const auto cookie : asked) {
      const auto info = server_.reply<xcb_randr_get_crtc_info_reply_t>(cookie);
      if (!info || info->mode == XCB_NONE) continue;
      const std::span outputs(xcb_randr_get_crtc_info_outputs(info.get()), info->num_outputs);
      if (outputs.empty()) continue;
      found.push_back({.name = {},
                       .frame = frameOf(info->x, info->y, info->width, info->height),
                       .primary = primary != XCB_NONE && std::ranges::find(outputs, primary) != outputs.end()});
      namesAsked.push_back(xcb_randr_get_output_info(server_.get(), outputs.front(), time));
    }
    for (std::size_t i = 0; i < found.size(); ++i) {
      if (const auto info = server_.reply<xcb_randr_get_output_info_reply_t>(namesAsked[i])) {
        found[i].name = textOf(reinterpret_cast<const char*>(xcb_randr_get_output_info_name(info.get())),
                               xcb_randr_get_output_info_name_length(info.get()));
      }
    }
    return found;
  }

  std::vector<Monitor> rootWindow() {
    // Not the size that the server told at the beginning: it may have changed.
    const auto root = server_.reply<xcb_get_geometry_reply_t>(xcb_get_geometry(server_.get(), server_.root()));
    if (!root) return {};
    return {{.name = {}, .frame = frameOf(0, 0, root->width, root->height), .primary = true}};
  }

  X11Connection server_;
  RandR randr_ = RandR::none;
  std::map<xcb_atom_t, std::string> names_;
};

}  // namespace

std::unique_ptr<MonitorSource> openX11Monitors(const char* display) noexcept try {
  const BrokenPipeGuard guard;
  auto monitors = std::make_unique<X11Monitors>(display);
  return monitors->isLost() ? nullptr : std::move(monitors);
} catch (...) {
  return nullptr;
}

}  // namespace jv
