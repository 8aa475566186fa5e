#ifndef CORVANE_PLATFORM_FILES_H_
#define CORVANE_PLATFORM_FILES_H_

#include <string>

#include "platform/cf_ref.h"

namespace corvane {

/// Makes the directory `path` and what is missing above it, with default attributes. False when it
/// could not be made.
bool createDirectories(const std::string& path);

/// Whether anything is at `path`.
bool fileExists(const std::string& path);

/// The dictionary at the top of the property-list file at `path`; null when the file cannot be read
/// or holds something else.
CFRef<CFDictionaryRef> copyDictionaryFromFile(const std::string& path);

}  // namespace corvane

#endif  // CORVANE_PLATFORM_FILES_H_
