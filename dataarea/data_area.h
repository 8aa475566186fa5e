#ifndef CORVANE_DATAAREA_DATA_AREA_H_
#define CORVANE_DATAAREA_DATA_AREA_H_

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// The registry's master port and the data area service "VelmoDiagnosticDataAccess", kept for the
/// life of the process; 0 until `getMasterPort` and `getDataArea` set them, never released.
extern CORVANE_EXPORT uint32_t gMasterPort;
extern CORVANE_EXPORT uint32_t gDataArea;

/// Fills `gMasterPort` from the task's bootstrap port. 0, or 1 after a line on standard error when
/// the platform refuses.
CORVANE_EXPORT uint32_t getMasterPort(void);

/// Waits up to 20 seconds for the registry to settle and fills `gDataArea` with the first data area
/// service; a `gMasterPort` of 0 stands for the platform's default port. 0, the platform's return
/// code when it fails, or 5 after a system-log line, with `gDataArea` 0, when there is no such
/// service. A handle from an earlier call is overwritten, not released.
CORVANE_EXPORT uint32_t getDataArea(void);

/// The current contents of the data set named `set`: the data area's property of that name. Stores
/// the bytes, which stay valid until the next call, and their number. 1, or 0 when there is no such
/// property or it is not data; nothing is stored then.
CORVANE_EXPORT uint32_t getDataAreaBytePtr(const uint8_t** bytes, uint32_t* length,
                                           CFStringRef set);

CORVANE_EXTERN_C_END

#endif  // CORVANE_DATAAREA_DATA_AREA_H_
