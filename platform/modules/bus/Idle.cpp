#include "platform/modules/bus/Idle.h"

#include <chrono>
#include <string>
#include <utility>

#include "platform/modules/bus/BusQuestions.h"
#include "platform/modules/bus/OwnSession.h"
#include "platform/modules/bus/login.h"

namespace jv {
namespace {

constexpr std::uint64_t kNanosecondsOfMillisecond = 1'000'000;
constexpr std::uint64_t kNanosecondsOfMicrosecond = 1'000;

/// The path of the own session; empty when there is none.
std::string ownSession(const BusQuestions& bus) {
  OwnSession search(bus.bus());
  while (SdMessage question = search.question()) search.take(bus.answerTo(std::move(question)).get());
  return search.path();
}

}  // namespace

std::optional<std::int64_t> compositorIdle(std::uint64_t longestWait) noexcept try {
  const BusQuestions bus(BusQuestions::Bus::session, longestWait);
  SdMessage call = bus.call("org.gnome.Mutter.IdleMonitor", "/org/gnome/Mutter/IdleMonitor/Core",
                            "org.gnome.Mutter.IdleMonitor", "GetIdletime");
  if (!call) return std::nullopt;
  sd_bus_message_set_auto_start(call.get(), 0);  // a compositor that has to be started first has seen nothing
  const SdMessage answer = bus.answerTo(std::move(call));
  std::uint64_t milliseconds = 0;
  if (!answer || sd_bus_message_read(answer.get(), "t", &milliseconds) <= 0) return std::nullopt;
  return static_cast<std::int64_t>(milliseconds * kNanosecondsOfMillisecond);
} catch (...) {
  return std::nullopt;
}

std::optional<std::int64_t> sessionIdle(std::uint64_t longestWait) noexcept try {
  const BusQuestions bus(BusQuestions::Bus::system, longestWait);
  const std::string session = ownSession(bus);
  if (session.empty()) return std::nullopt;
  // The moment is that of the last change in either direction, so alone it says nothing.
  const SdMessage hint = bus.property(login::kService, session.c_str(), login::kSession, "IdleHint", "b");
  int isIdle = 0;
  if (!hint || sd_bus_message_read(hint.get(), "b", &isIdle) <= 0 || isIdle == 0) return std::nullopt;
  const SdMessage since =
      bus.property(login::kService, session.c_str(), login::kSession, "IdleSinceHintMonotonic", "t");
  std::uint64_t microseconds = 0;
  if (!since || sd_bus_message_read(since.get(), "t", &microseconds) <= 0) return std::nullopt;
  const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
  const auto time =
      static_cast<std::int64_t>(static_cast<std::uint64_t>(now.count()) - microseconds * kNanosecondsOfMicrosecond);
  return time >= 0 ? std::optional(time) : std::nullopt;
} catch (...) {
  return std::nullopt;
}

}  // namespace jv
