#ifndef CORVANE_PLATFORM_SYSTEM_LOG_H_
#define CORVANE_PLATFORM_SYSTEM_LOG_H_

#include <CoreFoundation/CoreFoundation.h>

/// Writes an entry to the platform's system log. On the device this is Foundation's function, whose
/// own header is Objective-C; its format string is toll-free bridged.
extern "C" void NSLog(CFStringRef format, ...);

#endif  // CORVANE_PLATFORM_SYSTEM_LOG_H_
