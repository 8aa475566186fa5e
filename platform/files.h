#ifndef CORVANE_PLATFORM_FILES_H_
#define CORVANE_PLATFORM_FILES_H_

#include <cstddef>
#include <string>

#include "platform/cf_ref.h"

namespace corvane {

/// Makes the directory `path` and those missing above it, with default attributes. Returns whether
/// it exists.
bool createDirectories(const std::string& path);

/// Returns whether anything is at `path`.
bool fileExists(const std::string& path);

/// Returns whether the file at `path` ends inside a line that no process is appending at the
/// moment: its last byte is not a line feed.
bool endsInsideLine(const std::string& path);

/// Writes all of the bytes to the open file. Returns false when they cannot be written, with the
/// reason in `errno`.
bool writeAll(int file, const void* bytes, size_t size);

/// Returns the dictionary at the top of the property-list file at `path`. Returns null when that is
/// not a regular file, is larger than 16 MiB, cannot be read to its end, does
/// not fit into memory, or holds something else.
CFRef<CFDictionaryRef> copyDictionaryFromFile(const std::string& path);

}  // namespace corvane

#endif  // CORVANE_PLATFORM_FILES_H_
