/// Holds the implementation of one platform interface that is in use.
#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace jv {

/// Empty at first; the first question fills it with what @p makeDefault makes.
/// Any thread. A caller that holds the pointer may go on using it while another is put in its place.
template <class Interface>
class Facility {
 public:
  using Pointer = std::shared_ptr<Interface>;

  constexpr explicit Facility(Pointer (*makeDefault)()) : makeDefault_(makeDefault) {}
  Facility(const Facility&) = delete;
  Facility& operator=(const Facility&) = delete;

  Pointer inUse() {
    const std::lock_guard lock(mutex_);
    return filled();
  }

  Pointer install(Pointer other) {
    const std::lock_guard lock(mutex_);
    Pointer before = filled();
    inUse_ = std::move(other);
    return before;
  }

 private:
  const Pointer& filled() {
    if (!inUse_) inUse_ = makeDefault_();
    return inUse_;
  }

  Pointer (*makeDefault_)();
  std::mutex mutex_;
  Pointer inUse_;
};

}  // namespace jv
