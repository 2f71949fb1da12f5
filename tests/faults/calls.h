/// The system calls, and the errors with which each may fail although the caller did nothing wrong.
#pragma once

#include <span>
#include <string_view>
#include <vector>

namespace faults {

struct Call {
  long number;
  const char* name;
  std::vector<int> errors;
};

/// Those that are made to fail.
std::span<const Call> failingCalls();

/// Those that cannot fail, or not without leaving behind what the caller took for gone: to close and to unmap.
std::span<const long> sureCalls();

/// Null for one that is not made to fail.
const Call* callOf(long number);
const Call* callOf(std::string_view name);

/// 0 for a name that stands for no error of any call.
int errorOf(std::string_view name);

}  // namespace faults
