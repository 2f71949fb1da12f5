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
  writeNow(waiting_);
  waiting_.clear();
  return error_ == 0;
}

bool Output::writeSecret(std::string_view secret) {
  flush();
  writeNow(secret);
  return error_ == 0;
}

void Output::writeNow(std::string_view text) {
  while (error_ == 0 && !text.empty()) {
    const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
    if (written >= 0) text.remove_prefix(static_cast<std::size_t>(written));
    if (written < 0 && errno != EINTR) error_ = errno;
  }
}

}  // namespace jv
