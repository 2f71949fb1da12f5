#include "platform/linux/event_stream/Gate.h"

namespace jv::watching {

bool Gate::enter() {
  const std::lock_guard lock(mutex_);
  if (closed_) return false;
  inside_ = std::this_thread::get_id();
  return true;
}

void Gate::leave() {
  const std::lock_guard lock(mutex_);
  inside_ = {};
  left_.notify_all();
}

void Gate::close() {
  std::unique_lock lock(mutex_);
  closed_ = true;
  if (inside_ == std::this_thread::get_id()) return;
  left_.wait(lock, [this] { return inside_ == std::thread::id(); });
}

}  // namespace jv::watching
