#ifndef _MACH_ERROR_
#define _MACH_ERROR_

#include <mach/kern_return.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef kern_return_t mach_error_t;

/// The platform's text for a return code, such as "(os/kern) failure". Never freed.
extern __attribute__((visibility("default"))) char* mach_error_string(mach_error_t error_value);

#ifdef __cplusplus
}
#endif

#endif  // _MACH_ERROR_
