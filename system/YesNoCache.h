/// The answer to a yes-or-no question that is asked once in the process.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

namespace jv {

/// Threads that ask at the same time may each find the answer, which is the same. It is stored in one piece, so that
/// nobody reads one that is still being made.
class YesNoCache {
 public:
  [[nodiscard]] std::optional<bool> answer() const noexcept {
    const std::int64_t word = word_.load(std::memory_order_relaxed);
    return word == kUnknown ? std::nullopt : std::optional(word == 1);
  }
  void set(bool yes) noexcept { word_.store(yes ? 1 : 0, std::memory_order_relaxed); }

 private:
  static constexpr std::int64_t kUnknown = -1;

  std::atomic<std::int64_t> word_{kUnknown};
};

}  // namespace jv
