#ifndef CORVANE_PLATFORM_EXPORT_H_
#define CORVANE_PLATFORM_EXPORT_H_

/// Everything is compiled with hidden visibility; only what carries this macro leaves the library.
#define CORVANE_EXPORT __attribute__((visibility("default")))

/// Plain functions and data have C linkage, so that C, C++ and Objective-C callers share them.
#ifdef __cplusplus
#define CORVANE_EXTERN_C_BEGIN extern "C" {
#define CORVANE_EXTERN_C_END }
#else
#define CORVANE_EXTERN_C_BEGIN
#define CORVANE_EXTERN_C_END
#endif

#endif  // CORVANE_PLATFORM_EXPORT_H_
