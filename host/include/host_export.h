#ifndef CORVANE_HOST_EXPORT_H_
#define CORVANE_HOST_EXPORT_H_

/// A function or a datum of the device's API that the host platform gives to programs.
#define CORVANE_HOST_EXPORT extern __attribute__((visibility("default")))

#ifdef __cplusplus
#define CORVANE_HOST_EXTERN_C_BEGIN extern "C" {
#define CORVANE_HOST_EXTERN_C_END }
#else
#define CORVANE_HOST_EXTERN_C_BEGIN
#define CORVANE_HOST_EXTERN_C_END
#endif

#endif  // CORVANE_HOST_EXPORT_H_
