/// Owners for sd-bus objects.
#pragma once

#include <systemd/sd-bus.h>

#include <memory>

namespace jv {

struct CloseBus {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
using BusPointer = std::unique_ptr<sd_bus, CloseBus>;

struct UnrefMessage {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using MessagePointer = std::unique_ptr<sd_bus_message, UnrefMessage>;

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
