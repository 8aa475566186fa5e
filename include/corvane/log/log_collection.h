#ifndef CORVANE_LOG_LOG_COLLECTION_H_
#define CORVANE_LOG_LOG_COLLECTION_H_

/// @file
/// Whether the device's logs have been collected.

#include <stdbool.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// Returns whether the device's log collection is of the new style: the value of "newLogCollection"
/// in the property list "/var/logs/CorvaneTov/Expected/logCollection.plist", which each call reads
/// again. The value is a boolean, or a number, where nonzero is true, or a string, which is true
/// when it begins with Y, y, T, t or a digit 1 to 9 after white space, a sign and zeros. Returns
/// false when the file or the key is missing or cannot be used.
CORVANE_EXPORT bool newLogCollection(void);

/// Returns whether the device's logs have been collected: whether the marker file of the selected
/// style exists, "/private/var/logs/BurnIn/.CorvaneLogsCollected" for the new one,
/// "/private/var/logs/BurnIn/.logsCollected" for the old.
CORVANE_EXPORT bool logsCollected(void);

CORVANE_EXTERN_C_END

#endif  // CORVANE_LOG_LOG_COLLECTION_H_
