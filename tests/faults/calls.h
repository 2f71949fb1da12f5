/// The system calls, and the errors with which each may fail although the caller did nothing wrong.
#pragma once

#include <span>
#include <vector>

namespace faults {

struct Call {
  long number;
  const char* name;
  std::vector<int> errors;
};

/// Those that cannot fail, or not without leaving behind what the caller took for gone: to close and to unmap.
std::span<const long> sureCalls();

/// Null for one that is not made to fail.
const Call* callOf(long number);

}  // namespace faults
