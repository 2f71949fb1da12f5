/// Marks what clients of the library may use, in C and C++.
#pragma once

#if defined(__GNUC__)
#define JV_EXPORT __attribute__((visibility("default")))
#else
#define JV_EXPORT
#endif

// Opens and closes the declarations that have C linkage.
#ifdef __cplusplus
#define JV_BEGIN_C extern "C" {
#define JV_END_C }
#define JV_NOEXCEPT noexcept
#else
#define JV_BEGIN_C
#define JV_END_C
#define JV_NOEXCEPT
#endif
