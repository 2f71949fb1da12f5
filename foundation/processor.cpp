#include "foundation/processor.h"

#include <atomic>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace jv {
namespace {

enum Ability : unsigned { kAsked = 1, kAVX2 = 2, kAVX512 = 4 };

// The compiler's own test is not used: it brings a constructor that runs when the library is loaded.
unsigned askProcessor() {
  unsigned abilities = kAsked;
#if defined(__x86_64__)
  constexpr unsigned kAVXState = 0x06;     // the SSE and AVX parts of the state that the system saves
  constexpr unsigned kAVX512State = 0xE6;  // and the three of AVX-512
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & bit_OSXSAVE) == 0) return abilities;
  unsigned saved = 0;
  unsigned high = 0;
  __asm__("xgetbv" : "=a"(saved), "=d"(high) : "c"(0));
  if (__get_cpuid_count(7, 0, &a, &b, &c, &d) == 0) return abilities;
  if ((saved & kAVXState) == kAVXState && (b & bit_AVX2) != 0) {
    abilities |= kAVX2;
    const bool hasAll = (b & bit_AVX512F) != 0 && (b & bit_AVX512BW) != 0 && (c & bit_AVX512VBMI) != 0;
    if ((saved & kAVX512State) == kAVX512State && hasAll) abilities |= kAVX512;
  }
#endif
  return abilities;
}

bool processorHas(Ability ability) {
  static std::atomic<unsigned> answer = 0;  // every thread that asks first stores the same
  unsigned known = answer.load(std::memory_order_relaxed);
  if (known == 0) {
    known = askProcessor();
    answer.store(known, std::memory_order_relaxed);
  }
  return (known & ability) != 0;
}

}  // namespace

bool processorHasAVX2() { return processorHas(kAVX2); }

bool processorHasAVX512() { return processorHas(kAVX512); }

}  // namespace jv
