// For every processor of the architecture: SSE2 on x86-64, NEON on 64-bit Arm, whatever the compiler makes elsewhere.
#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

#include "encoding/byte_kernels.h"
#include "foundation/prefetch.h"

#define JV_VECTOR_BYTES 16
#define JV_KERNEL_NAME "baseline"
#include "encoding/byte_kernels.inl"

namespace jv {
extern const ByteKernels kBaselineByteKernels;
const ByteKernels kBaselineByteKernels = kKernels;
}  // namespace jv
