/// Owners of what libsystemd hands out.
#pragma once

#include <memory>

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

namespace jv {

/// Gives an object back with @p release, which says nothing of interest.
template <auto release>
struct SdRelease {
  template <class Object>
  void operator()(Object* object) const noexcept {
    release(object);
  }
};

using SdBus = std::unique_ptr<sd_bus, SdRelease<sd_bus_close_unref>>;
using SdMessage = std::unique_ptr<sd_bus_message, SdRelease<sd_bus_message_unref>>;
using SdSlot = std::unique_ptr<sd_bus_slot, SdRelease<sd_bus_slot_unref>>;
using SdEvent = std::unique_ptr<sd_event, SdRelease<sd_event_unref>>;
using SdEventSource = std::unique_ptr<sd_event_source, SdRelease<sd_event_source_unref>>;

/// Hands a smart pointer to a function that gives an object back through a pointer to a pointer:
/// `sd_bus_open_user(OutPointer(bus))`.
template <class Pointer>
class OutPointer {
 public:
  explicit OutPointer(Pointer& pointer) : pointer_(pointer) {}
  OutPointer(const OutPointer&) = delete;
  OutPointer& operator=(const OutPointer&) = delete;
  ~OutPointer() { pointer_.reset(raw_); }
  operator typename Pointer::pointer *() { return &raw_; }

 private:
  Pointer& pointer_;
  typename Pointer::pointer raw_ = nullptr;
};

}  // namespace jv
