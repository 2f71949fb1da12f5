// Answers questions about the screens, a line each, as long as somebody asks. It is the same process all along, so that
// whoever asks can change things between two questions.
//
//   list             the screens: NAME X Y WIDTH HEIGHT SCALE, separated by semicolons
//   at X Y           the name of the screen at a point; "none" without screens
//   threads N COUNT  whether N threads that each ask COUNT times all see what the first question showed
//   modules          the modules that were loaded, and "!" in front of those that could not be
//   descriptors      how many the process has open
//   mapped           the libraries of window systems that are in the process
#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <JorvaneFoundation/JorvaneFoundation.h>

namespace {

std::string list() {
  std::ostringstream line;
  line.precision(17);
  const char* separator = "";
  for (const auto& screen : JVScreens()) {
    const NSRect frame = screen->frame();
    line << separator << screen->name() << ' ' << frame.origin.x << ' ' << frame.origin.y << ' ' << frame.size.width
         << ' ' << frame.size.height << ' ' << screen->scale();
    separator = ";";
  }
  return line.str();
}

std::string at(NSPoint point) {
  const auto screen = JVScreenForPoint(point);
  return screen ? screen->name() : "none";
}

std::string onThreads(int number, int count) {
  const std::string expected = list();
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < number; ++i) {
    threads.emplace_back([&] {
      for (int asked = 0; asked < count; ++asked) wrong += list() != expected;
    });
  }
  for (std::thread& thread : threads) thread.join();
  return std::to_string(wrong) + " wrong";
}

std::string modules() {
  std::string line;
  for (const auto& module : JVPlatform::modules()) line += (module.problem.empty() ? " " : " !") + module.name;
  return line;
}

std::string descriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::to_string(std::distance(begin(all), end(all)));
}

std::string mapped() {
  std::ifstream maps("/proc/self/maps");
  std::string found;
  for (std::string line; std::getline(maps, line);) {
    for (const char* library : {"libxcb", "libwayland"}) {
      if (line.find(library) != std::string::npos && found.find(library) == std::string::npos) {
        found += ' ' + std::string(library);
      }
    }
  }
  return found;
}

}  // namespace

int main() {
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string what;
    words >> what;
    if (what == "list") std::cout << list();
    if (what == "at") {
      NSPoint point{};
      words >> point.x >> point.y;
      std::cout << at(point);
    }
    if (what == "threads") {
      int number = 0, count = 0;
      words >> number >> count;
      std::cout << onThreads(number, count);
    }
    if (what == "modules") std::cout << modules();
    if (what == "descriptors") std::cout << descriptors();
    if (what == "mapped") std::cout << mapped();
    std::cout << std::endl;
  }
}
