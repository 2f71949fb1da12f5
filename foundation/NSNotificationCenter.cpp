#include <JorvaneFoundation/foundation/NSNotificationCenter.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>
#include <utility>
#include <vector>

namespace JVFoundation {

struct NSNotificationCenter::Observer {
  bool wants(const NSNotification& notification) const {
    return (!name || *name == notification.name) && (!object || object == notification.object);
  }

  const std::optional<std::string> name;
  const void* const object;
  const Handler handler;
  std::atomic<bool> registered{true};
};

struct NSNotificationCenter::State {
  std::mutex mutex;
  std::vector<std::shared_ptr<Observer>> observers;
};

NSNotificationCenter& NSNotificationCenter::defaultCenter() {
  static auto* const center = new NSNotificationCenter;
  return *center;
}

NSNotificationCenter::NSNotificationCenter() : state_(std::make_shared<State>()) {}
NSNotificationCenter::~NSNotificationCenter() = default;

NSNotificationCenter::Token NSNotificationCenter::addObserver(std::optional<std::string_view> name, const void* object,
                                                              Handler handler) {
  const auto observer = std::shared_ptr<Observer>(
      new Observer{name ? std::optional<std::string>(*name) : std::nullopt, object, std::move(handler)});
  const std::lock_guard lock(state_->mutex);
  state_->observers.push_back(observer);
  return Token(state_, observer);
}

void NSNotificationCenter::post(std::string_view name, const void* object) const {
  const NSNotification notification{name, object};
  std::vector<std::shared_ptr<Observer>> wanted;  // an observer that removes itself lives until it has returned
  {
    const std::lock_guard lock(state_->mutex);
    std::ranges::copy_if(state_->observers, std::back_inserter(wanted),
                         [&](const auto& observer) { return observer->wants(notification); });
  }
  for (const auto& observer : wanted) {
    if (observer->registered) observer->handler(notification);
  }
}

NSNotificationCenter::Token::Token() noexcept = default;
NSNotificationCenter::Token::Token(std::weak_ptr<State> state, std::shared_ptr<Observer> observer) noexcept
    : state_(std::move(state)), observer_(std::move(observer)) {}
NSNotificationCenter::Token::Token(Token&& other) noexcept = default;

NSNotificationCenter::Token& NSNotificationCenter::Token::operator=(Token&& other) noexcept {
  if (this == &other) return *this;
  remove();
  state_ = std::move(other.state_);
  observer_ = std::move(other.observer_);
  return *this;
}

NSNotificationCenter::Token::~Token() { remove(); }

void NSNotificationCenter::Token::remove() noexcept {
  const std::shared_ptr<Observer> observer = std::move(observer_);  // the handler may go with it: not under the lock
  if (!observer) return;
  observer->registered = false;
  const auto state = state_.lock();
  if (!state) return;
  const std::lock_guard lock(state->mutex);
  std::erase(state->observers, observer);
}

}  // namespace JVFoundation
