#include "encoding/floor.h"

#include <cstddef>
#include <cstring>

namespace jv::bench {
namespace {

constexpr std::size_t kWidth = 32;  // a register of AVX2, two of the baseline
using Vector = std::uint64_t __attribute__((vector_size(kWidth)));

}  // namespace

// The accumulators are variables of their own, not an array, which compilers would keep in memory.
#if defined(__x86_64__)
__attribute__((target_clones("avx2", "default")))
#endif
std::uint8_t
readOnce(std::span<const std::uint8_t> text) {
  constexpr std::size_t kStride = 4 * kWidth;
  Vector a = {};
  Vector b = {};
  Vector c = {};
  Vector d = {};
  Vector vector;
  std::size_t at = 0;
  for (; text.size() - at >= kStride; at += kStride) {
    const std::uint8_t* here = text.data() + at;
    std::memcpy(&vector, here, kWidth);
    a |= vector;
    std::memcpy(&vector, here + kWidth, kWidth);
    b |= vector;
    std::memcpy(&vector, here + 2 * kWidth, kWidth);
    c |= vector;
    std::memcpy(&vector, here + 3 * kWidth, kWidth);
    d |= vector;
  }
  a |= b | c | d;
  std::uint64_t words = a[0] | a[1] | a[2] | a[3];
  for (; at < text.size(); ++at) words |= text[at];
  for (unsigned shift = 32; shift >= 8; shift /= 2) words |= words >> shift;
  return static_cast<std::uint8_t>(words);
}

}  // namespace jv::bench
