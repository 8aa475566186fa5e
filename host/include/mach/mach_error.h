#ifndef _MACH_ERROR_
#define _MACH_ERROR_

#include <host_export.h>
#include <mach/kern_return.h>

CORVANE_HOST_EXTERN_C_BEGIN

typedef kern_return_t mach_error_t;

/// Returns the platform's text for a return code, such as "(os/kern) failure". The text is never
/// freed.
CORVANE_HOST_EXPORT char* mach_error_string(mach_error_t error_value);

CORVANE_HOST_EXTERN_C_END

#endif  // _MACH_ERROR_
