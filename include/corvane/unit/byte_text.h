#ifndef CORVANE_UNIT_BYTE_TEXT_H_
#define CORVANE_UNIT_BYTE_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "../platform/export.h"

/// What a control-bit byte says, by its offset: the bytes at 9 and 18 have a fixed use, and any
/// other may be a station's status or its poison byte.
namespace corvane::unit {

/// Returns the fixed use of the byte at `offset`: "log collection", "test suite"; empty for others.
CORVANE_EXPORT std::string useOf(size_t offset);

/// Returns the name of the status of `byte` at `offset`: "passed", "incomplete", "failed",
/// "not-tested"; at offset 9 "complete", "incomplete", and "status 2" and "status 3", which have no
/// name there.
CORVANE_EXPORT std::string statusName(size_t offset, uint8_t byte);

/// Returns whether `byte` at `offset` can be a failed test's status as well as a poison mark, whose
/// bytes are the same (0xFE). A byte of fixed use is never poison.
CORVANE_EXPORT bool mayBePoison(size_t offset, uint8_t byte);

/// Returns whether `offset` has a test's byte: the log collection's has no fail count.
CORVANE_EXPORT bool hasFailCount(size_t offset);

/// Returns the status of `byte` at `offset` in words: as `statusName` does, and "failed, or
/// poisoned" where `mayBePoison`.
CORVANE_EXPORT std::string statusText(size_t offset, uint8_t byte);

/// Returns all that `byte` at `offset` says: "test suite: failed, fail count 1", "failed, or
/// poisoned", "log collection: complete", "passed, fail count 0".
CORVANE_EXPORT std::string byteText(size_t offset, uint8_t byte);

}  // namespace corvane::unit

#endif  // CORVANE_UNIT_BYTE_TEXT_H_
