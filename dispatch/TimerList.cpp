#include "dispatch/TimerList.h"

namespace jv {

void TimerList::add(std::uint64_t id, Time due, Interval repeat, Handler handler) {
  timers_.emplace(std::pair(due, id), Timer{repeat, std::move(handler)});
  due_[id] = due;
}

TimerList::Handler TimerList::remove(std::uint64_t id) noexcept {
  const auto due = due_.find(id);
  if (due == due_.end()) return nullptr;
  auto timer = timers_.extract({due->second, id});
  due_.erase(due);
  return std::move(timer.mapped().handler);
}

std::optional<TimerList::Time> TimerList::next() const noexcept {
  if (timers_.empty()) return std::nullopt;
  return timers_.begin()->first.first;
}

TimerList::Handler TimerList::takeDue(Time now) {
  if (timers_.empty() || timers_.begin()->first.first > now) return nullptr;
  auto timer = timers_.extract(timers_.begin());
  auto& [due, id] = timer.key();
  Handler handler = timer.mapped().handler;
  const Interval repeat = timer.mapped().repeat;
  if (repeat > Interval::zero()) {
    due += repeat * ((now - due) / repeat + 1);
    due_[id] = due;
    timers_.insert(std::move(timer));
  } else {
    due_.erase(id);
  }
  return handler;
}

}  // namespace jv
