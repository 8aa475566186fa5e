#ifndef CORVANE_LOG_TIME_HELPERS_H_
#define CORVANE_LOG_TIME_HELPERS_H_

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>
#include <time.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// The current local time in whole seconds. The record is the process's one shared record of the C
/// library's local-time conversion: the next conversion on any thread, and so the next log line or
/// station message, overwrites it. Never freed. Null when the clock cannot be converted.
CORVANE_EXPORT struct tm* getTime(void);

/// A new string such as "2026-03-05 07:08:09", from the record's six fields as they stand. Null
/// only when no string can be made.
CORVANE_EXPORT CFStringRef stringForTime(const struct tm* time);

/// A new string such as "01:30:15": end minus start, field by field. An hour, minute or second that
/// ends below its start borrows from the field above only, so that a minute or hour can come out as
/// -1 ("01:-1:20"). The readings carry no date: a difference of a day or more cannot be expressed.
CORVANE_EXPORT CFStringRef getTimeDifference(int32_t startHour, int32_t startMinute,
                                             int32_t startSecond, int32_t endHour,
                                             int32_t endMinute, int32_t endSecond);

CORVANE_EXTERN_C_END

#endif  // CORVANE_LOG_TIME_HELPERS_H_
