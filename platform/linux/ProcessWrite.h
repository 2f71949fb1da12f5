/// Writing to a pipe that nobody may be left to read.
#pragma once

#include <string_view>

#include <sys/types.h>

namespace jv {

/// As write(2), but started again after a signal, and EPIPE comes without SIGPIPE. Any thread.
ssize_t writeWithoutSignal(int descriptor, std::string_view data);

/// The same on kernels before Linux 6.18: holds SIGPIPE back on this thread alone and takes away the one that its own
/// write raised.
ssize_t writeWithSignalHeldBack(int descriptor, std::string_view data);

}  // namespace jv
