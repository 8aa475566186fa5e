#ifndef CORVANE_DATAAREA_BITS_H_
#define CORVANE_DATAAREA_BITS_H_

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// Copies `length` bytes from `offset` of the data set named `set` to `destination`. 0, or 5 when
/// the set cannot be read or the range does not lie within it; `destination` is untouched then.
/// Says nothing. Needs `getDataArea` to have been called.
CORVANE_EXPORT uint32_t readBits(uint32_t offset, uint32_t length, void* destination,
                                 CFStringRef set);

/// Writes `length` bytes to `offset` of the data set named `set`, made permanent when `commit` is
/// not 0, reads them back and compares. Each failure is logged with the test name "Control Bits" or
/// none. Returns 0, also when the bytes read back differ (which is only logged); 5 when the request
/// cannot be made, `set` is null or the bytes cannot be read back; or the platform's return code
/// when the data area refuses the request.
CORVANE_EXPORT uint32_t writeBits(uint32_t offset, uint32_t length, const void* bytes,
                                  int32_t commit, CFStringRef set);

CORVANE_EXTERN_C_END

#endif  // CORVANE_DATAAREA_BITS_H_
