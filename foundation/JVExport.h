/// Marks what clients of the library may use, in C and C++, and what is not for them inside of that.
#pragma once

#if defined(__GNUC__)
#define JV_EXPORT __attribute__((visibility("default")))
#define JV_HIDDEN __attribute__((visibility("hidden")))
#else
#define JV_EXPORT
#define JV_HIDDEN
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
