/// A descriptor of ours that a run waits for, on the spot or in the background.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

#include "platform/linux/Descriptor.h"

namespace jv {

class EventThread;

/// Used by one thread at a time; once it has been waited for in the background, by the event thread alone.
class Watch {
 public:
  enum class For : std::uint8_t { reading, writing };

  /// How much a pipe holds that was never enlarged.
  static constexpr std::size_t kUsualPipe = 64 * 1024;
  /// The most that the system allows anyone unless it is told otherwise.
  static constexpr std::size_t kLargestPipe = 1024 * 1024;

  Watch(Descriptor descriptor, For purpose) : descriptor_(std::move(descriptor)), purpose_(purpose) {}
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch() { close(); }

  [[nodiscard]] int descriptor() const { return descriptor_.get(); }
  void close();

  void wait();
  void whenReady(std::function<void()> then);

  /// From now on, a wait for this one looks out for @p pipe, which is read later and outlives it: as soon as anything
  /// arrives there, it is enlarged, so that it does not fill up and stop what is waited for here.
  void mind(Watch& pipe);

  enum class Why : std::uint8_t {
    need,  ///< a tool may stand still otherwise
    speed,
  };

  /// Makes the pipe behind this descriptor hold at least @p size bytes, or as much as the system allows. The system
  /// counts such pipes by user and has little to spare: only some of a process are large at the same time. Tried once.
  void enlarge(std::size_t size, Why why);

 private:
  friend class EventThread;

  Descriptor descriptor_;
  For purpose_;
  bool inPoll_ = false;  // known to the event thread's poll set
  bool armed_ = false;   // the poll set will report it, once
  bool enlargeTried_ = false;
  bool enlarged_ = false;
  std::array<Watch*, 2> minded_{};
  std::function<void()> then_;
};

}  // namespace jv
