#ifndef CORVANE_HOST_UNIT_ATOMIC_FILE_H_
#define CORVANE_HOST_UNIT_ATOMIC_FILE_H_

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <system_error>

#include "host/file_descriptor.h"
#include "platform/cf_ref.h"
#include "platform/export.h"

namespace corvane::host {

/// The whole contents of the file; null, with `error` set, when it cannot be read.
CFRef<CFMutableDataRef> readFile(const std::string& file, std::error_code& error);

enum class Durability { kDurable, kVolatile };

/// Puts `contents` in the place of the file's, whole or not at all: whoever reads it, and whatever
/// stops the process, there is the old file or the new one. When a durable replacement returns
/// without an error, no power cut takes the new contents away. Callers hold the unit's lock.
std::error_code replaceFile(const std::filesystem::path& file, std::span<const uint8_t> contents,
                            Durability durability);

/// Makes a rename, creation or removal in `folder` durable.
std::error_code syncFolder(const std::filesystem::path& folder);

/// Called with the name of each step of a replacement once it is done. Null, except in tests that
/// stop the process there.
extern CORVANE_EXPORT void (*gReplaceStepDone)(const char* step);

}  // namespace corvane::host

#endif  // CORVANE_HOST_UNIT_ATOMIC_FILE_H_
