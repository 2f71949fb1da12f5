/// Keeps calls out once it is closed.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

namespace jv::watching {

/// One call at a time goes through. Any thread.
class Gate {
 public:
  /// @return whether the call may be made; `leave` follows it then.
  bool enter();
  void leave();
  /// Lets nothing through any more, and waits for the call that is in progress unless this is part of it.
  void close();

 private:
  std::mutex mutex_;
  std::condition_variable left_;
  std::thread::id inside_;
  bool closed_ = false;
};

}  // namespace jv::watching
