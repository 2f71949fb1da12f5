#include <JorvaneFoundation/dispatch/NSRunLoop.h>

#include <algorithm>
#include <utility>

#include "dispatch/MainLoop.h"
#include "platform/threads.h"

namespace JVFoundation {
namespace {

constexpr std::chrono::nanoseconds kShortestInterval = std::chrono::microseconds(100);
constexpr std::chrono::nanoseconds kLongestInterval = std::chrono::hours(24 * 365 * 100);

}  // namespace

NSRunLoop& NSRunLoop::mainRunLoop() noexcept {
  static constinit NSRunLoop loop;
  return loop;
}

bool NSRunLoop::isMainThread() noexcept { return jv::isMainThread(); }

void NSRunLoop::run() { jv::MainLoop::shared().run(); }
void NSRunLoop::stop() noexcept { jv::MainLoop::shared().stop(); }
int NSRunLoop::fileDescriptor() { return jv::MainLoop::shared().descriptor(); }
void NSRunLoop::drain() { jv::MainLoop::shared().drain(); }

NSRunLoop::Timer NSRunLoop::addTimer(std::chrono::nanoseconds delay, Handler handler) {
  return Timer(jv::MainLoop::shared().addTimer(delay, std::chrono::nanoseconds::zero(), std::move(handler)));
}

NSRunLoop::Timer NSRunLoop::addRepeatingTimer(std::chrono::nanoseconds interval, Handler handler) {
  interval = interval > interval.zero() ? std::min(interval, kLongestInterval) : kShortestInterval;
  return Timer(jv::MainLoop::shared().addTimer(interval, interval, std::move(handler)));
}

void NSRunLoop::removeTimer(Timer timer) noexcept {
  jv::MainLoop::shared().removeTimer(static_cast<std::uint64_t>(timer));
}

NSRunLoop::Source NSRunLoop::addSource(int descriptor, Handler handler) {
  return Source(jv::MainLoop::shared().addSource(descriptor, std::move(handler)));
}

void NSRunLoop::removeSource(Source source) noexcept {
  jv::MainLoop::shared().removeSource(static_cast<std::uint64_t>(source));
}

}  // namespace JVFoundation
