/// What the processor at hand can do, where code chooses by it.
#pragma once

namespace jv {

/// Whether AVX2 instructions may run, the operating system's consent included. Asked of the processor once; afterwards
/// a load and a test. Any thread.
bool processorHasAVX2();

/// Whether those of AVX-512 for bytes may (F, BW and VBMI), and AVX2 as well. Cost and threads as above.
bool processorHasAVX512();

}  // namespace jv

// Between the first and the second of these, functions are compiled for such processors; only such functions, and only
// after all headers, so that no inline function of a header is compiled in a form that other processors cannot run.
#define JV_BEGIN_AVX2 JV_BEGIN_TARGET("avx2")
#define JV_END_AVX2 JV_END_TARGET
#define JV_BEGIN_AVX512 JV_BEGIN_TARGET("avx2,avx512f,avx512bw,avx512vbmi,popcnt,bmi")
#define JV_END_AVX512 JV_END_TARGET

#define JV_PRAGMA(text) _Pragma(#text)
#if defined(__clang__)
#define JV_BEGIN_TARGET(features) \
  JV_PRAGMA(clang attribute push(__attribute__((target(features))), apply_to = function))
#define JV_END_TARGET _Pragma("clang attribute pop")
#else
#define JV_BEGIN_TARGET(features) _Pragma("GCC push_options") JV_PRAGMA(GCC target(features))
#define JV_END_TARGET _Pragma("GCC pop_options")
#endif
