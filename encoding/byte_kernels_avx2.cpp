// For x86-64 processors with AVX2.
#include <immintrin.h>

#include <bit>
#include <cstdint>
#include <cstring>

#include "encoding/byte_kernels.h"
#include "foundation/prefetch.h"
#include "foundation/processor.h"

#define JV_VECTOR_BYTES 32
#define JV_KERNEL_NAME "avx2"

JV_BEGIN_AVX2
#include "encoding/byte_kernels.inl"
JV_END_AVX2

namespace jv {
extern const ByteKernels kAVX2ByteKernels;
const ByteKernels kAVX2ByteKernels = kKernels;
}  // namespace jv
