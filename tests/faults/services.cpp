#include "services.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>
#include <thread>

#include <unistd.h>

#include <JorvaneFoundation/JorvaneFoundation.h>
#include <JorvaneFoundation/platform/Keychain.h>
#include <JorvaneFoundation/platform/KeychainVault.h>
#include <JorvaneFoundation/platform/Screens.h>

#include "fileevents/Recorder.h"

namespace faults {
namespace {

using namespace std::chrono_literals;
using JVFoundation::NSFont;
using JVFoundation::NSRunLoop;
using JVFoundation::NSString;
using JVFoundation::NSTask;
using Error = std::optional<JVFoundation::NSError>;

/// For what ought to happen by itself.
constexpr auto kBound = 30s;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// Runs the main loop until @p done, which handlers bring about. The loop itself may be without a descriptor.
template <class Condition>
void runLoopUntil(Condition done) {
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  while (!done()) {
    try {
      loop.run();
    } catch (const std::system_error&) {
    }
  }
}

/// Asks again and again in an undisturbed run: where a program did not answer in time, the next question may go well.
template <class Condition>
bool holds(const Answers& answers, Condition condition) {
  const auto end = std::chrono::steady_clock::now() + (answers.disturbed ? 0s : kBound);
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(50ms);
  }
  return true;
}

// ---------------------------------------------------------------------------------------------------------------------
// Encoding

void prepareEncoding(const std::string& folder) {
  std::ofstream(folder + "/small", std::ios::binary) << "\x93\xFA\x96\x7B\x8C\xEA\r\n";
  std::ofstream(folder + "/large") << "plain\n";
  std::filesystem::resize_file(folder + "/large", 40 << 20);  // so large that it is mapped
}

void runEncoding(Answers& answers) {
  const std::string small = answers.folder + "/small";
  constexpr std::uint64_t kASCII = 1;
  constexpr std::uint64_t kShiftJIS = 8;
  for (const auto& [path, right] : {std::pair(small, kShiftJIS),
                                    {answers.folder + "/large", kASCII},
                                    {"/proc/version", kASCII}}) {  // the last says that it is empty
    const auto found = JVFoundation::detectEncodingOfFile(path);
    answers.expect(found.encoding == right, found.rule == JVFoundation::EncodingRule::unreadable,
                   path + ": encoding " + std::to_string(found.encoding));
  }
  const std::uint64_t found = JVEncodingDetector().encodingForFileAtURL(JVFoundation::NSURL::fileURLWithPath(small));
  answers.expect(found == kShiftJIS, found == JVUnknownStringEncoding, "detector: " + std::to_string(found));
}

// ---------------------------------------------------------------------------------------------------------------------
// Tools

using Text = std::optional<std::string>;

struct Ending {
  std::int32_t status = 0;
  Text output;
  Text error;
};

Ending launchSync(const char* path, const std::string& input) {
  const auto result = NSTask::launchSyncWithPath(path, {}, input, "/");
  const auto text = [&](const char* key) { return result.text(key) ? Text(*result.text(key)) : std::nullopt; };
  return {result.number("JVTaskStatus")->intValue(), text("JVTaskOutput"), text("JVTaskError")};
}

Ending launchAsync(const char* path, const std::string& input) {
  std::optional<Ending> ending;
  NSTask::launchAsyncWithPath(path, {}, input, "/", [&](std::int32_t status, auto output, auto error) {
    if (ending) std::abort();  // called twice
    ending = Ending{status, std::move(output), std::move(error)};
    NSRunLoop::mainRunLoop().stop();
  });
  runLoopUntil([&] { return ending.has_value(); });
  return *ending;
}

template <auto launch>
void runTasks(Answers& answers) {
  const std::string input(200'000, 'x');
  const Ending cat = launch("/bin/cat", input);
  answers.expect(cat.status == 0 && cat.output == input, cat.status == -666 && cat.error,
                 "cat: " + std::to_string(cat.status) + ", " + cat.error.value_or("no error"));
  const Ending missing = launch("/no/such/tool", input);
  answers.expect(missing.status == -666 && missing.error, false, "missing tool: " + std::to_string(missing.status));
}

// ---------------------------------------------------------------------------------------------------------------------
// Dispatch

void runDispatch(Answers& answers) {
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  constexpr int kPieces = 3;
  std::atomic<int> handled = 0;
  bool facts[4] = {};  // completed, replied, timed, over
  const auto note = [&](int fact) {
    return [&loop, &noted = facts[fact]] {
      noted = true;
      loop.stop();
    };
  };
  JVDispatch dispatcher("faults");
  const JVDispatch unused("unused");
  for (int i = 0; i < kPieces; ++i) dispatcher.dispatchHandler([&] { ++handled; }, note(0));
  JVFoundation::DispatchQueue::globalQueue().async([&] { JVFoundation::DispatchQueue::mainQueue().async(note(1)); });
  try {
    loop.addTimer(1ms, note(2));
  } catch (const std::system_error&) {
    answers.expect(false, true, "no timer");
    facts[2] = true;
  }
  runLoopUntil([&] { return facts[0] && facts[1] && facts[2]; });
  dispatcher.dispatchHandler([] {}, note(3));  // nothing may be left that knows of this frame
  runLoopUntil([&] { return facts[3]; });
  answers.expect(handled == kPieces, false, std::to_string(handled) + " pieces were run");
}

// ---------------------------------------------------------------------------------------------------------------------
// Keychain

/// What a password may be: what was stored last, and what was tried since.
struct Stored {
  void saved(bool stored, const std::string& password) {
    if (stored) possible.emplace().clear();
    if (possible) possible->insert(password);
  }
  bool read(const Text& password) {
    if (possible && !possible->contains(password)) return false;
    possible.emplace({password});
    return true;
  }
  std::optional<std::set<Text>> possible{};  // none: what an earlier process has left
};

std::string codeOf(const Error& error) { return error ? std::to_string(error->code()) : "none"; }

/// The codes of the guide for times when the system fails; none of them says that the user did something wrong.
bool isDocumented(const Error& error) {
  constexpr auto kCodes = std::to_array<long>({-25291, -67585, -25292, -25308, -34, -36, -108});
  return error && std::ranges::find(kCodes, error->code()) != kCodes.end();
}

void useKeychain(Answers& answers) {
  static Stored internet;  // known from the disturbed run to the undisturbed one
  static Stored generic;
  static int number = 0;
  constexpr char kHost[] = "faults.example.org";
  Error error;
  const auto saved = [&](bool stored, Stored& known, const std::string& password) {
    known.saved(stored, password);
    answers.expect(stored, isDocumented(error), "save: " + codeOf(error));
  };
  const auto read = [&](bool answered, Stored& known, const Text& password) {
    if (!answered) return answers.expect(false, isDocumented(error), "read: " + codeOf(error));
    answers.expect(known.read(password), false, "lost, " + password.value_or("nothing"));
  };
  for (int i = 0; i < 3; ++i) {
    const Text found = JVKeychain::passwordForHost(kHost, "me", JVKeychainProtocolFTP, &error);
    read(!error, internet, found);
    if (i == 2) break;
    const std::string password = answers.secret + std::to_string(getpid()) + "-" + std::to_string(++number);
    saved(JVKeychain::savePassword(password, kHost, "me", JVKeychainProtocolFTP, &error), internet, password);
    saved(JVKeychain::saveGenericPassword(bytesOf(password), "faults", "me", "/", &error), generic, password);
    const auto all = JVKeychain::genericPasswordsWithService("faults", &error);
    const auto* const mine = all ? all->find("me") : nullptr;
    read(all.has_value(), generic, mine ? Text(std::string(mine->data()->begin(), mine->data()->end())) : std::nullopt);
  }
}

void runVault(Answers& answers) {
  static constexpr std::array<std::uint8_t, 32> kKey{1, 2, 3};
  Error error;
  auto vault = JVPlatform::openVault(answers.folder + "/private/vault", std::span(kKey),
                                     JVPlatform::VaultFile::createIfMissing, &error);
  answers.expect(vault != nullptr, isDocumented(error), "openVault: " + codeOf(error));
  if (!vault) return;
  JVPlatform::installKeychain(std::move(vault));
  useKeychain(answers);
  JVPlatform::installKeychain(nullptr);
}

// ---------------------------------------------------------------------------------------------------------------------
// Watching

void prepareWatching(const std::string& folder) { std::filesystem::create_directories(folder + "/watched/a/b"); }

void runWatching(Answers& answers) {
  static int number = 0;
  const std::string root = answers.folder + "/watched";
  const std::string name = std::to_string(++number);
  const auto told = std::make_shared<jvtest::Recorder>();
  const JVFileEventer watcher(told, {root}, true);
  const auto change = [&](const std::string& path) {
    if (!std::ofstream(path)) return;  // that may fail too
    constexpr auto kUsual = 1s;        // longer than the two seconds between two looks only where there is a problem
    const bool seen = told->waitFor(path, kUsual) || (!watcher.problem() && told->waitFor(path));
    answers.expect(seen, watcher.problem().has_value(), "a change was not told, and no problem either: " + path);
  };
  change(root + "/a/b/" + name);
  std::error_code failed;
  std::filesystem::create_directories(root + "/new" + name + "/in", failed);
  if (!failed) change(root + "/new" + name + "/in/file");
}

// ---------------------------------------------------------------------------------------------------------------------
// System

void runFacts(Answers& answers) {
  std::string interface;
  const bool right = holds(answers, [&] {
    const std::string address = JVUtilities::ipAddress(&interface);
    return interface == "soak0" && address.starts_with("192.0.2.");
  });
  answers.expect(right, interface == "soak0" || interface == "en0", "ipAddress: " + interface);
  answers.expect(holds(answers, [] { return JVUtilities::userName() == "Ada Lovelace"; }), true, "userName");
  answers.expect(holds(answers, [] { return JVUtilities::userEmail() == "ada@example.org"; }), true, "userEmail");
  answers.expect(!JVUtilities::computerName().empty(), false, "computerName");
  answers.expect(JVUtilities::computerModel().size() < 1000, false, "computerModel");
  answers.expect(!JVUtilities::isMachineIdleForMinutes(100'000), false, "isMachineIdleForMinutes");
  answers.expect(!JVUtilities::isSIPEnabled(), false, "isSIPEnabled");
}

void runListeners(Answers& answers) {
  static int number = 0;
  bool heard = false;
  bool over = false;
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  const JVUser user;
  answers.expect(user.isActive(), false, "JVUser");
  JVSystemConfigListener listener;
  const auto token = JVFoundation::NSNotificationCenter::defaultCenter().addObserver(
      JVComputerNameChangedNotification, &listener, [&](const auto&) { loop.stop(), heard = true; });
  std::ofstream("/etc/machine-info.new") << "PRETTY_HOSTNAME=\"faults " << ++number << " " << getpid() << "\"\n";
  std::error_code failed;
  std::filesystem::rename("/etc/machine-info.new", "/etc/machine-info", failed);
  try {
    const auto bound = loop.addTimer(answers.disturbed ? 200ms : 30s, [&] { loop.stop(), over = true; });
    runLoopUntil([&] { return heard || over; });
    loop.removeTimer(bound);
  } catch (const std::system_error&) {
    answers.expect(false, true, "no timer");
  }
  answers.expect(heard, true, "the name's change was not heard");
}

// ---------------------------------------------------------------------------------------------------------------------
// Screens and fonts

void runScreens(Answers& answers) {
  answers.expect(holds(answers, [] { return JVPlatform::screens()->screens().size() == 2; }), true, "two screens");
  const bool found = holds(answers, [] {
    const auto screen = JVScreenForPoint({1500, 500});
    return screen && screen->frame().origin.x == 1440;
  });
  answers.expect(found, true, "a screen");
}

void runScreensX11(Answers& answers) {
  unsetenv("WAYLAND_DISPLAY");
  runScreens(answers);
}

void runScreensWayland(Answers& answers) {
  unsetenv("DISPLAY");
  setenv("WAYLAND_DISPLAY", getenv("JV_TEST_WAYLAND_DISPLAY"), 1);
  setenv("XDG_RUNTIME_DIR", getenv("JV_TEST_XDG_RUNTIME_DIR"), 1);
  runScreens(answers);
}

void runFonts(Answers& answers) {
  const NSFont::Pointer font = NSFont::fontWithName("DejaVu Sans", 14);
  answers.expect(font != nullptr, true, "DejaVu Sans");
  const NSFont::Pointer system = NSFont::systemFontOfSize(12);
  answers.expect(system != nullptr, true, "the system font");
  if (!font) return;
  const NSFont::Pointer bold = font->boldFont();
  answers.expect(bold && bold->fontName() == "DejaVuSans-Bold", true, "the bold variant");
  answers.expect(font->lineHeight() > 14, false, "lineHeight");
}

void runText(Answers& answers) {
  const NSSize size = NSString::sizeWithWidth("A paragraph that has to fit into a column.", 80);
  answers.expect(size.height > 30, size.height >= 0, "sizeWithWidth: " + std::to_string(size.height));
}

constexpr Service kServices[] = {
    {"encoding", runEncoding, prepareEncoding},
    {"tasks", runTasks<launchSync>},
    {"background", runTasks<launchAsync>},
    {"dispatch", runDispatch},
    {"vault", runVault},
    {"keychain", useKeychain},
    {"fileevents", runWatching, prepareWatching},
    {"facts", runFacts},
    {"listeners", runListeners},
    {"screens-x11", runScreensX11},
    {"screens-wayland", runScreensWayland},
    {"fonts", runFonts},
    {"text", runText},
};

}  // namespace

std::span<const Service> services() { return kServices; }

}  // namespace faults
