/// Results that are wanted for the latest request alone.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include <JorvaneFoundation/dispatch/JVDispatch.h>

namespace JVFoundation {

/// Computes results in the background, one after another, and hands over that of the latest request: a request
/// supersedes those before it, whether they wait, run, or are done and not handed over yet.
///
///     LatestResult<std::vector<Place>> search("search", [this](std::vector<Place> places) { show(places); });
///     …
///     search.request([text, wanted](const JVDispatch& asked) {
///       std::vector<Place> places;
///       while (!asked.isStopped() && findNext(text, wanted, places)) {}
///       return places;
///     });
///
/// What `JVDispatch` leaves to its users is done here: work that is superseded while it waits is skipped, and a result
/// that nobody wants any more is dropped. @p Result is any type that can be moved.
///
/// Belongs to the main thread, which must run or drain `NSRunLoop`: all members are called there, and so is the
/// receiver. Once the object is gone, the receiver is not called any more, and what it had captured is gone too, unless
/// the object went inside its very call: then with that call's end.
template <class Result>
class LatestResult {
 public:
  /// Returns early, with whatever it likes, once `isStopped()` of what it is given holds.
  using Work = std::function<Result(const JVDispatch& asked)>;
  using Receiver = std::function<void(Result result)>;

  /// @param label     names the serial queue that the work runs on, UTF-8, copied
  /// @param receiver  not empty
  LatestResult(std::string_view label, Receiver receiver)
      : dispatch_(label), wanted_(std::make_shared<Wanted>(std::move(receiver))) {}
  LatestResult(const LatestResult&) = delete;
  LatestResult& operator=(const LatestResult&) = delete;
  ~LatestResult() {
    wanted_->receiver.reset();
    try {
      withdraw();
    } catch (const std::bad_alloc&) {
      // The work is not asked to stop, and runs to its end for nobody.
    }
  }

  /// Returns at once. @p work runs on the queue, is destroyed there, and must not let an exception out: that ends the
  /// process. @throws std::bad_alloc
  void request(Work work) {
    const std::uint64_t number = ++wanted_->newest;
    const auto result = std::make_shared<std::optional<Result>>();
    dispatch_.dispatchHandler(
        [dispatch = dispatch_, wanted = wanted_, number, result, work = std::move(work)] {
          if (wanted->newest == number) result->emplace(work(dispatch));
        },
        [wanted = wanted_, number, result] {
          if (wanted->newest != number || !result->has_value()) return;
          const auto receiver = wanted->receiver;  // it may destroy this object
          (*receiver)(std::move(**result));
        });
  }

  /// Takes the latest request back: its work is asked to stop, and no result comes of it.
  void withdraw() {
    ++wanted_->newest;
    dispatch_.setStopped(true);
  }

 private:
  struct Wanted {
    explicit Wanted(Receiver receive) : receiver(std::make_shared<const Receiver>(std::move(receive))) {}

    std::atomic<std::uint64_t> newest = 0;
    std::shared_ptr<const Receiver> receiver;  // of the main thread alone; none once the owner is gone
  };

  JVDispatch dispatch_;
  const std::shared_ptr<Wanted> wanted_;
};

}  // namespace JVFoundation
