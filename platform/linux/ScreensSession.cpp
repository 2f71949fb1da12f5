#include "platform/linux/ScreensSession.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <utility>

#include "platform/Defaults.h"
#include "platform/WaylandModule.h"
#include "platform/X11Module.h"
#include "platform/linux/ModuleLoader.h"

namespace jv {
namespace {

using JVFoundation::NSScreen;

NSRect flipped(const NSRect& frame, const NSRect& primary) {
  const double bottom = frame.origin.y + frame.size.height;
  const double origin = primary.origin.y + primary.size.height;
  return {{frame.origin.x - primary.origin.x, origin - bottom}, frame.size};
}

/// A connection to the window system that the environment names under @p variable. The module is not even loaded when
/// it names none.
template <class Module>
std::unique_ptr<MonitorSource> open(const char* variable, std::string_view moduleName) {
  const char* display = std::getenv(variable);
  if (!display || !*display) return nullptr;
  const Module* factories = module<Module>(moduleName);
  return factories ? factories->openMonitors(display) : nullptr;
}

}  // namespace

JVPlatform::Screens::List screensOf(std::vector<Monitor> monitors) {
  const auto primary = std::ranges::find_if(monitors, &Monitor::primary);
  if (primary != monitors.end()) std::rotate(monitors.begin(), primary, primary + 1);
  JVPlatform::Screens::List screens;
  screens.reserve(monitors.size());
  for (Monitor& monitor : monitors) {
    const NSRect frame = flipped(monitor.frame, monitors.front().frame);
    screens.push_back(NSScreen::create(frame, std::move(monitor.name), monitor.scale));
  }
  return screens;
}

SessionScreens::SessionScreens(std::vector<Opener> openers, std::function<Clock::time_point()> now)
    : openers_(std::move(openers)), now_(std::move(now)) {}

JVPlatform::Screens::List SessionScreens::screens() {
  std::unique_lock lock(mutex_);
  // The answer to a question that is on its way may be older than this call.
  const std::uint64_t wanted = questions_ + 1;
  while (answeredQuestion_ < wanted) {
    if (asking_) {
      answered_.wait(lock);
    } else {
      ask(lock);
    }
  }
  return answer_;
}

void SessionScreens::ask(std::unique_lock<std::mutex>& lock) {
  const std::uint64_t question = ++questions_;
  asking_ = true;
  lock.unlock();
  List answer;
  std::exception_ptr failure;
  try {
    answer = screensOf(monitors().value_or(std::vector<Monitor>()));
  } catch (...) {  // out of memory; another thread may have more luck
    failure = std::current_exception();
  }
  lock.lock();
  asking_ = false;
  answered_.notify_all();
  if (failure) std::rethrow_exception(failure);
  answer_.swap(answer);
  answeredQuestion_ = question;
}

std::optional<std::vector<Monitor>> SessionScreens::monitors() {
  if (source_) {
    const Clock::time_point asked = now_();
    if (auto answer = source_->monitors()) return answer;
    source_.reset();
    // One that did not answer would be waited for again.
    if (now_() - asked >= kPause) lastVain_ = now_();
  }
  if (lastVain_ && now_() - *lastVain_ < kPause) return std::nullopt;
  auto answer = firstAnswer();
  lastVain_ = answer ? std::nullopt : std::optional(now_());
  return answer;
}

std::optional<std::vector<Monitor>> SessionScreens::firstAnswer() {
  for (const Opener& opener : openers_) {
    source_ = opener();
    if (!source_) continue;
    if (auto answer = source_->monitors()) return answer;
    source_.reset();
  }
  return std::nullopt;
}

std::shared_ptr<JVPlatform::Screens> makeScreens() {
  // A Wayland session has an X server for old programs too, which knows less.
  return std::make_shared<SessionScreens>(std::vector<SessionScreens::Opener>{
      [] { return open<WaylandModule>("WAYLAND_DISPLAY", "wayland"); },
      [] { return open<X11Module>("DISPLAY", "x11"); },
  });
}

}  // namespace jv
