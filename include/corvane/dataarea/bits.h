#ifndef CORVANE_DATAAREA_BITS_H_
#define CORVANE_DATAAREA_BITS_H_

/// @file
/// Bytes of the data area's data sets. Both functions need `getDataArea` to have been called. They
/// are not locked; callers serialise their calls.

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// Copies `length` bytes from `offset` of the data set named `set` to `destination`. Returns 0, or
/// 5 when the set cannot be read or the range does not lie within it; `destination` is untouched
/// then. Logs nothing.
CORVANE_EXPORT uint32_t readBits(uint32_t offset, uint32_t length, void* destination,
                                 CFStringRef set);

/// Writes the `length` bytes at `bytes` to `offset` of the data set named `set`, reads them back
/// and compares. With a `commit` other than 0 the bytes are permanent; otherwise a restart of the
/// unit undoes them. Returns
///
///     0        the bytes were written. Also when they read back differently, as a worn cell does:
///              that is only logged.
///     5        `set` is null or the request could not be made: nothing was written. Or the bytes
///              could not be read back: they were written.
///     other    the platform's code: the data area refused the request.
///
/// Each failure, and a difference, leaves one line in the test log. Those about the read-back have
/// no test name, the others "Control Bits". A refused request is also printed on standard error,
/// with all its bytes. A `length` of 0 sends the request and reads nothing back.
CORVANE_EXPORT uint32_t writeBits(uint32_t offset, uint32_t length, const void* bytes,
                                  int32_t commit, CFStringRef set);

CORVANE_EXTERN_C_END

#endif  // CORVANE_DATAAREA_BITS_H_
