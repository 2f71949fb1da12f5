/// Owns a file descriptor.
#pragma once

#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace jv {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      close();
      descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
  }
  ~Descriptor() { close(); }

  [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }
  [[nodiscard]] int get() const { return descriptor_; }

  /// Gives it away.
  int release() { return std::exchange(descriptor_, -1); }

  void close() {
    if (isOpen()) ::close(std::exchange(descriptor_, -1));  // not again after EINTR: Linux has closed it all the same
  }

  /// Moves it to 3 or above, out of the way of a program that was started without standard streams and counts on what
  /// it opens next. @return false when there is no room; it is where it was.
  bool leaveStandardStreams() {
    if (!isOpen() || descriptor_ > STDERR_FILENO) return true;
    const int above = fcntl(descriptor_, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (above >= 0) *this = Descriptor(above);
    return above >= 0;
  }

 private:
  int descriptor_ = -1;
};

}  // namespace jv
