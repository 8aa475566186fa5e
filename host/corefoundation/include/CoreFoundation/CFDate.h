#ifndef __COREFOUNDATION_CFDATE__
#define __COREFOUNDATION_CFDATE__

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

/// Seconds since 2001-01-01 00:00 UTC.
typedef double CFAbsoluteTime;
typedef const struct __CFDate* CFDateRef;

CF_EXPORT CFTypeID CFDateGetTypeID(void);
CF_EXPORT CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime at);

CF_EXTERN_C_END

#endif  // __COREFOUNDATION_CFDATE__
