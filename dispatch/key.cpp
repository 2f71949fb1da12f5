#include <JorvaneFoundation/dispatch/key.h>

#include "dispatch/stop_flag_key.h"

#include <atomic>

#include "platform/exported_data.h"

const char* key = "stopped";

namespace jv {

const void* stopFlagKey() noexcept {
  static const char** const variable = static_cast<const char**>(exportedData("key", &key));
  return std::atomic_ref(*variable).load(std::memory_order_relaxed);
}

}  // namespace jv
