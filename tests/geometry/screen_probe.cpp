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
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
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

std::string at(std::istream& words) {
  NSPoint point{};
  words >> point.x >> point.y;
  const auto screen = JVScreenForPoint(point);
  return screen ? screen->name() : "none";
}

std::string onThreads(std::istream& words) {
  int number = 0, count = 0;
  words >> number >> count;
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
  const std::string all(std::istreambuf_iterator<char>(maps), {});
  std::string found;
  for (const char* library : {" libxcb", " libwayland"}) {
    if (all.find(library + 1) != std::string::npos) found += library;
  }
  return found;
}

}  // namespace

int main() {
  const std::map<std::string, std::function<std::string(std::istream&)>> answers = {
      {"list", [](auto&) { return list(); }},
      {"at", at},
      {"threads", onThreads},
      {"modules", [](auto&) { return modules(); }},
      {"descriptors", [](auto&) { return descriptors(); }},
      {"mapped", [](auto&) { return mapped(); }},
  };
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string what;
    words >> what;
    std::cout << answers.at(what)(words) << std::endl;
  }
}
