#include "foundation/processor.h"

#include <atomic>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace jv {
namespace {

// The compiler's own test is not used: it brings a constructor that runs when the library is loaded.
bool askProcessor() {
#if defined(__x86_64__)
  constexpr unsigned kAVXStateSaved = 1u << 1 | 1u << 2;  // the SSE and AVX bits of the saved state
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & bit_OSXSAVE) == 0) return false;
  unsigned saved = 0;
  unsigned high = 0;
  __asm__("xgetbv" : "=a"(saved), "=d"(high) : "c"(0));
  if ((saved & kAVXStateSaved) != kAVXStateSaved) return false;
  return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & bit_AVX2) != 0;
#else
  return false;
#endif
}

}  // namespace

bool processorHasAVX2() {
  static std::atomic<int> answer = -1;  // every thread that asks first stores the same
  int known = answer.load(std::memory_order_relaxed);
  if (known < 0) {
    known = askProcessor() ? 1 : 0;
    answer.store(known, std::memory_order_relaxed);
  }
  return known != 0;
}

}  // namespace jv
