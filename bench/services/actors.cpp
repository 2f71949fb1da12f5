#include "actors.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <span>
#include <thread>

#include <JorvaneFoundation/JorvaneFoundation.h>
#include <JorvaneFoundation/platform/Keychain.h>
#include <JorvaneFoundation/platform/KeychainVault.h>

namespace soak {
namespace {

namespace fs = std::filesystem;
using JVFoundation::NSFont;
using JVFoundation::NSString;
using JVFoundation::NSTask;

constexpr std::chrono::seconds kBound{30};

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// ---------------------------------------------------------------------------------------------------------------------
// Encoding

struct Sample {
  const char* name;
  std::string text;
  std::size_t repeat;
  std::uint64_t encoding;
};

std::vector<Sample> samples() {
  return {{"ascii", "plain\n", 1000, 1},
          {"utf-8", "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\n", 1000, 4},
          {"shift-jis", "\x93\xFA\x96\x7B\x8C\xEA\r\n", 1000, 8},
          {"euc-jp", "\xC6\xFC\xCB\xDC\xB8\xEC\n", 1000, 3},
          {"mapped", "plain\n", 6'000'000, 1}};
}

std::function<void()> detecting(const std::string& folder) {
  for (const Sample& sample : samples()) {
    std::ofstream file(folder + "/" + sample.name, std::ios::binary);
    for (std::size_t i = 0; i < sample.repeat; ++i) file << sample.text;
  }
  return [folder] {
    for (const Sample& sample : samples()) {
      const auto found = JVFoundation::detectEncodingOfFile(folder + "/" + sample.name, {.lineBreaks = true});
      expect(found.encoding == sample.encoding, sample.name);
    }
    expect(JVFoundation::detectEncodingOfFile(folder + "/missing").rule == JVFoundation::EncodingRule::unreadable,
           "a missing file");
  };
}

// ---------------------------------------------------------------------------------------------------------------------
// Tools

void runTools() {
  const auto statusOf = [](const auto& result) { return result.number("JVTaskStatus")->intValue(); };
  expect(statusOf(NSTask::launchSyncWithPath("/bin/true", {})) == 0, "true");
  const std::string input(100'000, 'x');
  expect(*NSTask::launchSyncWithPath("/bin/cat", {}, input).text("JVTaskOutput") == input, "cat");
  expect(statusOf(NSTask::launchSyncWithPath("/no", {})) == -666, "a tool that is not there");
}

// ---------------------------------------------------------------------------------------------------------------------
// Keychain: the desktop's and a vault in turns, on one thread, which is the only one to replace it

void saveAndRead(int number) {
  const std::string user = std::to_string(number % 10);
  const std::string password = "password " + std::to_string(number);
  std::optional<JVFoundation::NSError> error;
  expect(JVKeychain::savePassword(password, "soak.example.org", user, JVKeychainProtocolFTP, &error), "savePassword");
  expect(JVKeychain::passwordForHost("soak.example.org", user, JVKeychainProtocolFTP) == password, "passwordForHost");
  expect(JVKeychain::saveGenericPassword(bytesOf(password), "soak", user, "/"), "saveGenericPassword");
  const auto all = JVKeychain::genericPasswordsWithService("soak", &error);
  expect(all && !error && all->find(user) != nullptr, "genericPasswordsWithService");
  expect(!JVKeychain::passwordForHost("nobody.example.org", user, JVKeychainProtocolAny, &error) && !error, "nothing");
}

std::function<void()> keepingPasswords(const std::string& folder) {
  static constexpr std::array<std::uint8_t, 32> kKey{1, 2, 3};
  return [path = folder + "/private/vault", number = 0]() mutable {
    auto vault = JVPlatform::openVault(path, std::span(kKey), JVPlatform::VaultFile::createIfMissing);
    expect(vault != nullptr, "openVault");
    JVPlatform::installKeychain(std::move(vault));
    saveAndRead(++number);
    JVPlatform::installKeychain(nullptr);
    saveAndRead(number);
  };
}

// ---------------------------------------------------------------------------------------------------------------------
// Watching

struct Told : JVFileEventerDelegate {
  void fileSystemEventHappenedAtPaths(const std::vector<std::string>& paths) override {
    const std::lock_guard lock(mutex);
    for (const std::string& path : paths) seen |= path == wanted;
    changed.notify_all();
  }
  void waitFor() {
    std::unique_lock lock(mutex);
    expect(changed.wait_for(lock, kBound, [this] { return seen; }), "a change of a watched folder");
  }
  void want(const std::string& path) {
    const std::lock_guard lock(mutex);
    seen = false;
    wanted = path;
  }
  std::mutex mutex;
  std::condition_variable changed;
  std::string wanted;
  bool seen = false;
};

/// One watcher stays, one comes and goes with each round; both must tell of the last change.
std::function<void()> watching(const std::string& folder) {
  struct State {
    explicit State(const std::string& path) : root(path), kept(told, {path}, true) {}
    std::string root;
    std::shared_ptr<Told> told = std::make_shared<Told>();
    JVFileEventer kept;
    int number = 0;
  };
  fs::create_directories(folder + "/watched");
  return [state = std::make_shared<State>(folder + "/watched")] {
    const std::string place = state->root + "/" + std::to_string(++state->number);
    const auto brief = std::make_shared<Told>();
    const JVFileEventer briefly(brief, {state->root}, true);
    for (int i = 0; i < 20; ++i) {
      fs::create_directories(place + "/" + std::to_string(i) + "/in");
      std::ofstream(place + "/" + std::to_string(i) + "/file") << i;
    }
    fs::rename(place + "/0", place + "/moved");
    state->told->want(place + "/last");
    brief->want(place + "/last");
    std::ofstream(place + "/last") << "here";
    state->told->waitFor();
    brief->waitFor();
    expect(!state->kept.problem(), "a watcher without problem");
    fs::remove_all(place);
  };
}

// ---------------------------------------------------------------------------------------------------------------------
// Facts, screens, fonts

void askFacts() {
  std::string interface;
  expect(!JVUtilities::ipAddress(&interface).empty() && !interface.empty(), "ipAddress");
  expect(!JVUtilities::computerName().empty(), "computerName");
  expect(JVUtilities::userName() != "", "userName");
  expect(JVUtilities::userEmail() != "", "userEmail");
  expect(JVUtilities::computerModel().size() < 1000, "computerModel");
  expect(!JVUtilities::isMachineIdleForMinutes(100'000), "isMachineIdleForMinutes");
  expect(!JVUtilities::isSIPEnabled(), "isSIPEnabled");
}

void askScreens() {
  const auto screen = JVScreenForPoint({10, 10});
  expect(screen && screen->frame().size.width > 0, "JVScreenForPoint");
}

void measureText() {
  const NSFont::Pointer font = NSFont::fontWithName("DejaVu Sans", 14);
  expect(font && font->boldFont() && font->italicFont() && font->boldItalicFont(), "the variants of a font");
  expect(NSFont::systemFontOfSize(9.5) != nullptr, "the system font");
  const auto measure = [font = font->boldFont()] {
    const NSSize size = NSString::sizeWithWidth("A paragraph that has to fit \xE6\x97\xA5\xE6\x9C\xAC into a column.",
                                                80, {{JVFoundation::NSFontAttributeName, font}});
    expect(size.height > font->lineHeight(), "the size of a text");
  };
  measure();
  std::thread(measure).join();  // with a font map that goes with its thread
}

// ---------------------------------------------------------------------------------------------------------------------
// Changes of network and name

/// Each round changes both and waits until the listener has said so on the main thread.
std::function<void()> changing() {
  struct Heard {
    std::atomic<int> addresses{0};
    std::atomic<int> names{0};
    std::array<JVFoundation::NSNotificationCenter::Token, 2> tokens;
    int number = 0;
  };
  auto heard = std::make_shared<Heard>();
  auto& centre = JVFoundation::NSNotificationCenter::defaultCenter();
  auto& listener = JVSystemConfigListener::sharedListener();
  heard->tokens[0] = centre.addObserver(JVIPAddressChangedNotification, &listener,
                                        [&heard = *heard](const auto&) { ++heard.addresses; });
  heard->tokens[1] = centre.addObserver(JVComputerNameChangedNotification, &listener,
                                        [&heard = *heard](const auto&) { ++heard.names; });
  return [heard] {
    const auto another = [](const std::atomic<int>& count, int before, const char* what) {
      const auto end = std::chrono::steady_clock::now() + kBound;
      while (count == before) {
        expect(std::chrono::steady_clock::now() < end, what);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
      }
    };
    const int number = ++heard->number % 200;
    const int addresses = heard->addresses;
    const std::string address = "192.0.2." + std::to_string(number + 1) + "/24";
    const auto set = NSTask::launchSyncWithPath(
        "/bin/sh", {"-c", "ip addr flush dev soak0 && ip addr add " + address + " dev soak0"});
    expect(set.number("JVTaskStatus")->intValue() == 0, "setting an address");
    another(heard->addresses, addresses, "a changed address");
    const int names = heard->names;
    std::ofstream("/etc/machine-info.new") << "PRETTY_HOSTNAME=soak" << number << '\n';
    fs::rename("/etc/machine-info.new", "/etc/machine-info");
    another(heard->names, names, "a changed name");
  };
}

}  // namespace

void expect(bool right, const char* what) {
  if (right) return;
  std::printf("wrong: %s\n", what);
  std::fflush(stdout);
  std::_Exit(1);
}

std::vector<Actor> actors(const std::string& folder, bool withNetwork) {
  std::vector<Actor> all = {{"encoding", detecting(folder)},
                            {"tasks", runTools},
                            {"keychain", keepingPasswords(folder)},
                            {"fileevents", watching(folder)},
                            {"facts", askFacts},
                            {"screens", askScreens},
                            {"fonts", measureText}};
  if (withNetwork) all.push_back({"changes", changing()});
  return all;
}

}  // namespace soak
