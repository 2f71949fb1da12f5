#include "platform/modules/x11/connect.h"

#include <signal.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace jv {
namespace {

/// What the thread that connects and the one that waits for it have in common.
struct Attempt {
  std::mutex mutex;
  std::condition_variable ended;
  bool isOver = false;  ///< there is a result, or nobody waits for one any more
  xcb_connection_t* connection = nullptr;
  int screen = 0;
};

std::atomic<bool> aThreadWaits = false;

void attempt(const std::string& display, Attempt& shared) {
  int screen = 0;
  xcb_connection_t* connection = xcb_connect(display.c_str(), &screen);
  if (xcb_connection_has_error(connection) != 0) xcb_disconnect(std::exchange(connection, nullptr));
  const std::lock_guard lock(shared.mutex);
  aThreadWaits = false;
  if (shared.isOver) {
    if (connection) xcb_disconnect(connection);
    return;
  }
  shared.connection = connection;
  shared.screen = screen;
  shared.isOver = true;
  shared.ended.notify_one();
}

/// Signals are the business of the application's own threads.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() noexcept {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

}  // namespace

xcb_connection_t* connectToX11(const char* display, int& screen, std::chrono::milliseconds patience) {
  const auto shared = std::make_shared<Attempt>();
  if (aThreadWaits.exchange(true)) return nullptr;
  try {
    const AllSignalsBlocked blocked;
    std::thread([shared, name = std::string(display)] { attempt(name, *shared); }).detach();
  } catch (...) {
    aThreadWaits = false;
    throw;
  }
  std::unique_lock lock(shared->mutex);
  shared->ended.wait_for(lock, patience, [&] { return shared->isOver; });
  shared->isOver = true;
  screen = shared->screen;
  return shared->connection;
}

}  // namespace jv
