#include "encoding/byte_kernels.h"

#include <array>

#include "foundation/processor.h"

namespace jv {

extern const ByteKernels kBaselineByteKernels;
extern const ByteKernels kAVX2ByteKernels;

std::span<const ByteKernels* const> runnableByteKernels() {
#if defined(__x86_64__)
  static constexpr std::array<const ByteKernels*, 2> kAll = {&kBaselineByteKernels, &kAVX2ByteKernels};
  return std::span(kAll).first(processorHasAVX2() ? 2 : 1);
#else
  static constexpr std::array<const ByteKernels*, 1> kAll = {&kBaselineByteKernels};
  return kAll;
#endif
}

const ByteKernels& byteKernels() { return *runnableByteKernels().back(); }

}  // namespace jv
