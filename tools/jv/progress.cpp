#include "progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace jv {
namespace {
constexpr std::chrono::milliseconds kUnnoticed{500};
constexpr std::chrono::milliseconds kBetween{100};
constexpr std::uint64_t kWidth = 30;

std::string barOf(std::uint64_t count, std::uint64_t total) {
  const std::uint64_t done = total == 0 ? kWidth : kWidth * std::min(count, total) / total;
  std::string bar(kWidth, '.');
  bar.replace(0, done, done, '#');
  return '[' + bar + "] ";
}
}  // namespace

Progress::Progress(std::optional<std::uint64_t> total)
    : total_(total), wanted_(isatty(STDERR_FILENO) == 1 && isatty(STDOUT_FILENO) == 0) {
  if (wanted_) next_ = Clock::now() + kUnnoticed;
}

void Progress::countOne() {
  ++count_;
  if (!wanted_) return;
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + kBetween;
  draw();
  visible_ = true;
}

void Progress::draw() const {
  std::string line = "\r";
  if (total_) line += barOf(count_, *total_);
  line += std::to_string(count_);
  if (total_) line += " of " + std::to_string(*total_);
  line += count_ == 1 && !total_ ? " file" : " files";
  std::fputs(line.c_str(), stderr);
}

void Progress::clear() {
  if (visible_) std::fputs("\r\x1B[K", stderr);
  visible_ = false;
}

}  // namespace jv
