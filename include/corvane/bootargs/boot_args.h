#ifndef CORVANE_BOOTARGS_BOOT_ARGS_H_
#define CORVANE_BOOTARGS_BOOT_ARGS_H_

/// @file
/// The kernel's boot arguments, words separated by blanks: the NVRAM variable "boot-args". Nothing
/// is cached: calls read it from the registry entry "IODeviceTree:/options" and write it to the
/// service "IODTNVRAM". Changes take effect at the next boot. A word is searched for as plain,
/// case-sensitive text and is also found inside longer words. The editing functions report no
/// failure; of two callers that edit at once, one can lose its edit.

#include <CoreFoundation/CoreFoundation.h>
#include <stdbool.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// Returns a new reference to the boot arguments. Returns null when the variable is not set, and,
/// after a line in the system log, when there is no registry entry.
CORVANE_EXPORT CFStringRef copyBootArgs(void);

/// Returns whether `word`, which must not be null, occurs anywhere in the boot arguments; false
/// when the variable is not set.
CORVANE_EXPORT bool hasBootArg(CFStringRef word);

/// Makes `value` the boot arguments. What a null `value` does depends on the platform: off the
/// device it is refused and the variable stays as it is; on the device it may end the process.
CORVANE_EXPORT void setBootArgs(CFStringRef value);

/// Appends a blank and `word`, without the white space at its ends, to the boot arguments. Does
/// nothing when `word` is null, when it occurs anywhere in the boot arguments, or when the variable
/// is not set.
CORVANE_EXPORT void addBootArg(CFStringRef word);

/// Removes every occurrence of `word`, which must not be null, from the boot arguments, from left
/// to right and also inside longer words. Blanks next to it stay. The result is written in any
/// case; when the variable is not set that is `setBootArgs` of null, which may end the process on
/// the device: call `hasBootArg` first.
CORVANE_EXPORT void removeBootArg(CFStringRef word);

CORVANE_EXTERN_C_END

#endif  // CORVANE_BOOTARGS_BOOT_ARGS_H_
