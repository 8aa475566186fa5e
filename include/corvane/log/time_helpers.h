#ifndef CORVANE_LOG_TIME_HELPERS_H_
#define CORVANE_LOG_TIME_HELPERS_H_

/// @file
/// Local times and their differences, as texts.

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>
#include <time.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// Returns the current local time in whole seconds, or null when the clock cannot be converted. The
/// record is the one that the C library's `localtime` shares among all threads: the next conversion
/// by anything, a log line and a station message included, overwrites it. Copy it at once; do not
/// free it.
CORVANE_EXPORT struct tm* getTime(void);

/// Returns a new string such as "2026-03-05 07:08:09" from six fields of `time`, which must not be
/// null and is not checked. Returns null only when no string can be made.
CORVANE_EXPORT CFStringRef stringForTime(const struct tm* time);

/// Returns a new string such as "01:30:15": the end (`endHour`, `endMinute`, `endSecond`) minus the
/// start (`startHour`, `startMinute`, `startSecond`), field by field. The readings carry no date,
/// so an end hour below the start hour is taken as the next day's and gets 24 added: 23:50:00 to
/// 00:10:00 is "00:20:00". A minute or second below its start borrows from the field above, which
/// is not normalised again: 10:30:50 to 11:30:10 is "01:-1:20", and 10:50:00 to 10:10:00 is
/// "-1:20:00". Returns null only when no string can be made.
CORVANE_EXPORT CFStringRef getTimeDifference(int32_t startHour, int32_t startMinute,
                                             int32_t startSecond, int32_t endHour,
                                             int32_t endMinute, int32_t endSecond);

CORVANE_EXTERN_C_END

#endif  // CORVANE_LOG_TIME_HELPERS_H_
