#ifndef CORVANE_BOOTARGS_BOOT_ARGS_H_
#define CORVANE_BOOTARGS_BOOT_ARGS_H_

#include <CoreFoundation/CoreFoundation.h>
#include <stdbool.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// The kernel's boot arguments, words separated by blanks: the NVRAM variable "boot-args", read
/// afresh each time at the registry entry "IODeviceTree:/options" and written at the service
/// "IODTNVRAM". They take effect at the next boot. Words are found as plain text, case-sensitive,
/// also within other words. The editing functions report no failure; two callers that edit at once
/// can lose one of the edits.

/// A new reference to the boot arguments. Null when the variable is not set, and after a system-log
/// line when there is no registry entry.
CORVANE_EXPORT CFStringRef copyBootArgs(void);

/// Whether `word`, which must be given, occurs anywhere in the boot arguments. False when there are
/// none.
CORVANE_EXPORT bool hasBootArg(CFStringRef word);

/// Makes `value` the boot arguments. Of an absent value the platform decides; off the device it is
/// refused and the variable stays as it is.
CORVANE_EXPORT void setBootArgs(CFStringRef value);

/// Puts a blank and `word`, without the white space at its ends, behind the boot arguments. Nothing
/// is written when `word` is absent, when it occurs anywhere in the boot arguments already, or when
/// the variable is not set.
CORVANE_EXPORT void addBootArg(CFStringRef word);

/// Takes every occurrence of `word`, which must be given, out of the boot arguments, left to right,
/// also out of other words; blanks beside it stay. The result is written in any case.
CORVANE_EXPORT void removeBootArg(CFStringRef word);

CORVANE_EXTERN_C_END

#endif  // CORVANE_BOOTARGS_BOOT_ARGS_H_
