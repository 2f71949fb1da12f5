// jv listen: prints each notification as it is posted.

#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <JorvaneFoundation/dispatch/NSRunLoop.h>
#include <JorvaneFoundation/foundation/NSNotificationCenter.h>
#include <JorvaneFoundation/system/JVSystemConfigListener.h>
#include <JorvaneFoundation/system/JVUser.h>

#include "commands.h"
#include "ending_signals.h"
#include "output.h"
#include "text_forms.h"

namespace {

using Json = nlohmann::ordered_json;
using JVFoundation::NSNotification;
using JVFoundation::NSNotificationCenter;
using JVFoundation::NSRunLoop;

struct Row {
  const char* notification;
  const char* label;
  std::function<Json()> value;
};

std::vector<Row> rows() {
  auto& listener = JVSystemConfigListener::sharedListener();
  auto& user = JVUser::sharedUser();
  return {
      {JVComputerNameChangedNotification, "computer name", [&] { return listener.computerName().value_or(""); }},
      {JVIPAddressChangedNotification, "network", [&] { return listener.networkState().value_or(""); }},
      {JVUserDidBecomeActiveNotification, "session", [&] { return user.isActive() ? "active" : "inactive"; }},
  };
}

std::string lineOf(const Row& row, bool json) {
  const Json value = row.value();
  if (!json) return row.label + std::string(": ") + jv::printableName(value.get<std::string>()) + "\n";
  const Json line = {{"notification", row.notification}, {"value", value}};
  return line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

/// Has the signals that end a program end the main run loop instead. From here on, so before any thread is started.
void stopOnSignals() {
  const sigset_t ending = jv::blockEndingSignals();
  const int signals = signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK);  // open to the end
  NSRunLoop::mainRunLoop().addSource(signals, [signals] {
    signalfd_siginfo taken;
    while (read(signals, &taken, sizeof taken) > 0) {
    }
    NSRunLoop::mainRunLoop().stop();
  });
}

int listen(bool json) {
  stopOnSignals();
  jv::Output output;
  std::vector<NSNotificationCenter::Token> tokens;
  for (const Row& row : rows()) {
    tokens.push_back(NSNotificationCenter::defaultCenter().addObserver(row.notification, nullptr,
                                                                       [&output, row, json](const NSNotification&) {
                                                                         output.write(lineOf(row, json));
                                                                         if (!output.flush())
                                                                           NSRunLoop::mainRunLoop().stop();
                                                                       }));
  }
  std::cerr << "jv listen: waiting for changes\n";
  NSRunLoop::mainRunLoop().run();
  if (output.error() == 0) return jv::kDone;
  std::cerr << "jv listen: cannot write: " << std::strerror(output.error()) << '\n';
  return jv::kFailed;
}

constexpr const char* kFooter = R"(Prints a line for each change of the computer's name, of the network interface or
its address, and each time that the user's session becomes the active one, until
it is interrupted. The first change of the network is shown even if interface and
address are the same as before.)";

}  // namespace

void jv::addListenCommand(CLI::App& app, int& exitStatus) {
  CLI::App* const command = app.add_subcommand("listen", "Changes of names, network and session, as they are posted");
  command->footer(kFooter);
  const auto json = std::make_shared<bool>(false);
  command->add_flag("--json", *json, "A line of JSON for each: notification, value");
  command->callback([json, &exitStatus] { exitStatus = listen(*json); });
}
