// What a question about the screens costs, next to one bare round trip to the window system that the environment names.
// Both take turns; a row is the median and the best time, each with its ratio to the first row.
//
//   bench_geometry [--short]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
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

namespace {

using Clock = std::chrono::steady_clock;
using Work = std::function<void()>;

double microsecondsOf(const Work& work, int times = 1) {
  const auto begin = Clock::now();
  for (int i = 0; i < times; ++i) work();
  return std::chrono::duration<double, std::micro>(Clock::now() - begin).count() / times;
}

/// A connection of its own, and one round trip on it each time; none when there is no window system.
Work floorOfOneRoundTrip() {
#ifdef WITH_WAYLAND
  if (std::getenv("WAYLAND_DISPLAY")) {
    if (wl_display* const display = wl_display_connect(nullptr)) {
      return [display] {
        if (wl_display_roundtrip(display) < 0) std::abort();
      };
    }
  }
#endif
#ifdef WITH_XCB
  if (std::getenv("DISPLAY")) {
    xcb_connection_t* const server = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(server) == 0) {
      return [server] {
        const auto reply = xcb_get_input_focus_reply(server, xcb_get_input_focus(server), nullptr);
        if (!reply) std::abort();
        std::free(reply);
      };
    }
  }
#endif
  return {};
}

void compare(const Work& floor, int rounds) {
  struct Row {
    const char* name;
    Work work;
    std::vector<double> times{};
  };
  Row rows[] = {
      {"one round trip", floor},
      {"the list of screens",
       [] {
         if (JVPlatform::screens()->screens().empty()) std::abort();
       }},
      {"JVScreenForPoint",
       [] {
         if (!JVScreenForPoint({10, 10})) std::abort();
       }},
  };
  for (int round = 0; round < rounds; ++round) {
    for (Row& row : rows) row.times.push_back(microsecondsOf(row.work));
  }
  for (Row& row : rows) std::ranges::sort(row.times);
  const auto middle = rows[0].times.size() / 2;
  for (const Row& row : rows) {
    std::printf("  %-28s %8.1f us %6.2f %8.1f us %6.2f\n", row.name, row.times[middle],
                row.times[middle] / rows[0].times[middle], row.times.front(),
                row.times.front() / rows[0].times.front());
  }
}

void compareThreads(int questions) {
  for (const int number : {1, 4}) {
    const double each = microsecondsOf([&] {
      std::vector<std::thread> threads;
      for (int i = 0; i < number; ++i) {
        threads.emplace_back([&] {
          for (int asked = 0; asked < questions / number; ++asked) JVPlatform::screens()->screens();
        });
      }
      for (std::thread& thread : threads) thread.join();
    });
    std::printf("  %d thread%s %21.0f questions a second\n", number, number == 1 ? " " : "s", questions / each * 1e6);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bool isShort = argc > 1 && std::string_view(argv[1]) == "--short";
  const Work floor = floorOfOneRoundTrip();
  if (!floor) {
    std::puts("no window system");
    return 0;
  }
  const double first = microsecondsOf([] { JVPlatform::screens()->screens(); });
  std::printf("  %-28s %8.1f us\n", "the first question", first);
  compare(floor, isShort ? 500 : 5000);
  const auto screens = JVPlatform::screens()->screens();
  volatile bool found = false;
  const double lookup = microsecondsOf([&] { found = JVScreenForPoint({10, 10}, screens) != nullptr; }, 1'000'000);
  std::printf("  %-28s %8.4f us\n", "JVScreenForPoint in a list", lookup);
  compareThreads(isShort ? 2000 : 20000);
}
