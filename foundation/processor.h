/// What the processor at hand can do, where code chooses by it.
#pragma once

namespace jv {

/// Whether AVX2 instructions may run, the operating system's consent included. Asked of the processor once; afterwards
/// a load and a test. Any thread.
bool processorHasAVX2();

}  // namespace jv

// Between these two, functions are compiled for processors with AVX2; only such functions, and only after all headers,
// so that no inline function of a header is compiled in a form that other processors cannot run.
#if defined(__clang__)
#define JV_BEGIN_AVX2 _Pragma("clang attribute push(__attribute__((target(\"avx2\"))), apply_to = function)")
#define JV_END_AVX2 _Pragma("clang attribute pop")
#else
#define JV_BEGIN_AVX2 _Pragma("GCC push_options") _Pragma("GCC target(\"avx2\")")
#define JV_END_AVX2 _Pragma("GCC pop_options")
#endif
