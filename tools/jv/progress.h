/// What a user at a terminal sees of long work.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace jv {

/// A line on standard error that counts files, when standard error is a terminal and standard output is not: results
/// that run over the screen are progress enough. Appears after a moment, changes ten times a second, and goes at the
/// end. One thread at a time.
class Progress {
 public:
  /// @param total  how many files there are, where that is known
  explicit Progress(std::optional<std::uint64_t> total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { clear(); }

  void countOne();

  /// Takes the line away, to make room for a message; it comes back by itself.
  void clear();

 private:
  using Clock = std::chrono::steady_clock;

  void draw() const;

  std::optional<std::uint64_t> total_;
  std::uint64_t count_ = 0;
  Clock::time_point next_;
  bool wanted_;
  bool visible_ = false;
};

}  // namespace jv
