/// The displays of the session that the process runs in, whatever its window system.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include <JorvaneFoundation/platform/Screens.h>

#include "platform/Monitors.h"

namespace jv {

/// Turns monitors around into the one space of all displays: the primary one is first and has its lower left corner in
/// the origin, the others keep their order, and y grows upwards. Without a primary one, the first one is.
JVPlatform::Screens::List screensOf(std::vector<Monitor> monitors);

/// Asks the first window system that answers, stays with it while it does, and looks for another one afterwards: at
/// once when the connection was lost, by the next question a second later when the answer was waited for in vain. One
/// question is on its way at a time; threads that come meanwhile share the answer to the next one.
class SessionScreens final : public JVPlatform::Screens {
 public:
  using Clock = std::chrono::steady_clock;
  /// Gives a connection, or null when there is no such window system.
  using Opener = std::function<std::unique_ptr<MonitorSource>()>;

  /// No window system is looked for while the last search that found none is younger than this.
  static constexpr std::chrono::seconds kPause{1};

  /// @param openers  preferred ones first
  explicit SessionScreens(std::vector<Opener> openers, std::function<Clock::time_point()> now = Clock::now);

  List screens() override;

 private:
  void ask(std::unique_lock<std::mutex>& lock);
  std::optional<std::vector<Monitor>> monitors();
  std::optional<std::vector<Monitor>> firstAnswer();

  std::vector<Opener> openers_;
  std::function<Clock::time_point()> now_;

  // Used by the thread that asks, without the lock.
  std::unique_ptr<MonitorSource> source_;
  std::optional<Clock::time_point> lastVain_;

  std::mutex mutex_;
  std::condition_variable answered_;
  bool asking_ = false;
  std::uint64_t questions_ = 0;  ///< begun so far
  std::uint64_t answeredQuestion_ = 0;
  List answer_;  ///< to that one
};

}  // namespace jv
