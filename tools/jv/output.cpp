#include "output.h"

#include <unistd.h>

#include <cerrno>

namespace jv {

bool Output::write(std::string_view text) {
  constexpr std::size_t kEnough = std::size_t{32} << 10;
  if (error_ != 0) return false;
  waiting_ += text;
  return waiting_.size() < kEnough || flush();
}

bool Output::flush() {
  std::string_view left = waiting_;
  while (error_ == 0 && !left.empty()) {
    const ssize_t written = ::write(STDOUT_FILENO, left.data(), left.size());
    if (written >= 0) left.remove_prefix(static_cast<std::size_t>(written));
    if (written < 0 && errno != EINTR) error_ = errno;
  }
  waiting_.clear();
  return error_ == 0;
}

}  // namespace jv
