#ifndef __COREFOUNDATION_CFDATE__
#define __COREFOUNDATION_CFDATE__

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

/// Seconds.
typedef double CFTimeInterval;
/// Seconds since 2001-01-01 00:00 UTC.
typedef CFTimeInterval CFAbsoluteTime;
typedef const struct __CFDate* CFDateRef;

CF_EXPORT CFTypeID CFDateGetTypeID(void);
CF_EXPORT CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime at);
CF_EXPORT CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date);
/// Returns the time of the system's clock.
CF_EXPORT CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);

CF_EXTERN_C_END

#endif  // __COREFOUNDATION_CFDATE__
