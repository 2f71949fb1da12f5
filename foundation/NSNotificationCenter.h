/// Notifications: who is told what, by name and object.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVFoundation {

/// What an observer is told; valid during the call.
struct NSNotification {
  std::string_view name;
  const void* object = nullptr;  ///< who posted it, or none; only the address counts
};

/// Tells observers of what is posted, on the thread that posts, before `post` returns.
///
/// Any thread. No lock is held while an observer is called: it may post, add and remove observers, itself included.
class JV_EXPORT NSNotificationCenter {
 private:
  struct Observer;
  struct State;

 public:
  using Handler = std::function<void(const NSNotification&)>;

  /// Keeps an observer registered; it may outlive the centre.
  class JV_EXPORT Token {
   public:
    Token() noexcept;  ///< of no observer
    Token(Token&& other) noexcept;
    Token& operator=(Token&& other) noexcept;
    /// Removes the observer. It is not called any more, not even for a notification that is being posted; only a call
    /// that another thread is in the middle of goes on.
    ~Token();

   private:
    friend class NSNotificationCenter;
    Token(std::weak_ptr<State> state, std::shared_ptr<Observer> observer) noexcept;
    void remove() noexcept;

    std::weak_ptr<State> state_;
    std::shared_ptr<Observer> observer_;
  };

  /// The process's, never destroyed. The library posts its notifications there.
  [[nodiscard]] static NSNotificationCenter& defaultCenter();

  NSNotificationCenter();
  NSNotificationCenter(const NSNotificationCenter&) = delete;
  NSNotificationCenter& operator=(const NSNotificationCenter&) = delete;
  ~NSNotificationCenter();

  /// Calls @p handler for each notification that is posted from now on with this name and object.
  /// @param name    none for any name.
  /// @param object  none for any object.
  /// @return what keeps the observer registered.
  [[nodiscard]] Token addObserver(std::optional<std::string_view> name, const void* object, Handler handler);

  /// Calls the observers of @p name and @p object, in the order in which they were added. Those added meanwhile are
  /// left out. An exception from an observer goes to the caller; the observers after it are not called. Cost: in
  /// proportion to the number of observers.
  void post(std::string_view name, const void* object = nullptr) const;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace JVFoundation
