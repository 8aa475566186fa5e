#ifndef CORVANE_DATAAREA_DATA_AREA_H_
#define CORVANE_DATAAREA_DATA_AREA_H_

/// @file
/// The handles of the data area. A C++ program fills them with `ControlBits::getReady`; a C program
/// calls `getMasterPort` and then `getDataArea`, once, before it reads or writes:
///
///     uint8_t byte = 0;
///     if (getMasterPort() != 0 || getDataArea() != 0) return 1;
///     if (readBits(18, 1, &byte, CFSTR("VelmoDiagnosticData")) != 0) return 2;

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// The registry's master port and the data area service "VelmoDiagnosticDataAccess", kept for the
/// life of the process; 0 until `getMasterPort` and `getDataArea` set them, never released.
/// @{
extern CORVANE_EXPORT uint32_t gMasterPort;
extern CORVANE_EXPORT uint32_t gDataArea;
/// @}

/// Fills `gMasterPort` from the task's bootstrap port. Returns 0, or 1 after a line on standard
/// error when the platform refuses.
CORVANE_EXPORT uint32_t getMasterPort(void);

/// Waits up to 20 seconds for the registry to settle and fills `gDataArea` with the first data area
/// service. A `gMasterPort` of 0 means the platform's default port. Returns 0; the platform's code
/// when one of its calls fails; or 5 after a line in the system log when there is no such service,
/// with `gDataArea` 0. A handle from an earlier call is overwritten and stays referenced.
CORVANE_EXPORT uint32_t getDataArea(void);

/// Stores the address of the current contents of the data set named `set` in `*bytes` and their
/// length in `*length`. The contents are the value of the data area's property of that name.
/// Returns 1, or 0 when there is no such property or it is not data; nothing is stored then.
///
/// The bytes belong to the library and are valid until the next read or write of the data area by
/// anything: this function, `readBits`, `writeBits`, any operation of `ControlBits`, and
/// `Device::hasBaseband`. Copy them at once, or use `readBits`.
CORVANE_EXPORT uint32_t getDataAreaBytePtr(const uint8_t** bytes, uint32_t* length,
                                           CFStringRef set);

CORVANE_EXTERN_C_END

#endif  // CORVANE_DATAAREA_DATA_AREA_H_
