// What a question about the screens costs, next to one bare round trip to the window system that the environment names.
//
//   bench_geometry [--short]
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#ifdef WITH_XCB
#include <xcb/xcb.h>
#endif
#ifdef WITH_WAYLAND
#include <wayland-client.h>
#endif

#include <JorvaneFoundation/geometry/screen_lookup.h>
#include <JorvaneFoundation/platform/Screens.h>

#include "support/report.h"

namespace {

using jv::bench::microsecondsOf;
using jv::bench::Who;
using Work = std::function<void()>;

struct Floor {
  const char* system;
  Work work;
};

/// A connection of its own, and one round trip on it each time; none when there is no window system.
Floor floorOfOneRoundTrip() {
#ifdef WITH_WAYLAND
  if (std::getenv("WAYLAND_DISPLAY")) {
    if (wl_display* const display = wl_display_connect(nullptr)) {
      return {"a Wayland compositor", [display] {
                if (wl_display_roundtrip(display) < 0) std::abort();
              }};
    }
  }
#endif
#ifdef WITH_XCB
  if (std::getenv("DISPLAY")) {
    xcb_connection_t* const server = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(server) == 0) {
      return {"an X server", [server] {
                const auto reply = xcb_get_input_focus_reply(server, xcb_get_input_focus(server), nullptr);
                if (!reply) std::abort();
                std::free(reply);
              }};
    }
  }
#endif
  return {};
}

void compareThreads(int questions) {
  for (const int number : {1, 4}) {
    const double taken = *microsecondsOf([&] {
      std::vector<std::thread> threads;
      for (int i = 0; i < number; ++i) {
        threads.emplace_back([&] {
          for (int asked = 0; asked < questions / number; ++asked) JVPlatform::screens()->screens();
        });
      }
      for (std::thread& thread : threads) thread.join();
    })();
    std::printf("- %d thread%s: %.0f questions a second.\n", number, number == 1 ? "" : "s", questions / taken * 1e6);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bool isShort = argc > 1 && std::string_view(argv[1]) == "--short";
  const Floor floor = floorOfOneRoundTrip();
  if (!floor.work) {
    std::puts("\nNot measured: there is no window system here.");
    return 0;
  }
  const auto ask = [] {
    if (JVPlatform::screens()->screens().empty()) std::abort();
  };
  const auto askForPoint = [] {
    if (!JVScreenForPoint({10, 10})) std::abort();
  };
  const double first = *microsecondsOf(ask)();
  jv::bench::Subject(std::string("Screens of ") + floor.system, "µs")
      .compare("one question",
               {
                   {Who::kFloor, "one round trip", microsecondsOf(floor.work)},
                   {Who::kOurs, "the list of screens", microsecondsOf(ask)},
                   {Who::kOurs, "JVScreenForPoint", microsecondsOf(askForPoint)},
               },
               isShort ? 500 : 5000);

  std::printf("\n- The first question, which loads a module and connects: %.0f µs.\n", first);
  const auto screens = JVPlatform::screens()->screens();
  constexpr int kTimes = 1'000'000;
  volatile bool found = false;
  const double lookUps = *microsecondsOf([&] {
    for (int i = 0; i < kTimes; ++i) found = JVScreenForPoint({10, 10}, screens) != nullptr;
  })();
  std::printf("- JVScreenForPoint in a list that one has: %.1f ns.\n", lookUps * 1e3 / kTimes);
  compareThreads(isShort ? 2000 : 20000);
}
