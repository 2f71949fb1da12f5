#include "input.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace jv {

int readToEnd(int descriptor, std::string& bytes) {
  constexpr std::size_t kAtOnce = std::size_t{1} << 20;
  for (;;) {
    const std::size_t size = bytes.size();
    bytes.resize(size + kAtOnce);
    ssize_t got = -1;
    do {
      got = read(descriptor, bytes.data() + size, kAtOnce);
    } while (got < 0 && errno == EINTR);
    const int error = got < 0 ? errno : 0;
    bytes.resize(size + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got <= 0) return error;
  }
}

int readFile(const std::string& name, std::string& bytes) {
  if (name == "-") return readToEnd(STDIN_FILENO, bytes);
  int descriptor = -1;
  do {
    descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0) return errno;
  const int error = readToEnd(descriptor, bytes);
  close(descriptor);
  return error;
}

}  // namespace jv
