#ifndef CORVANE_UNIT_POISON_BYTE_H_
#define CORVANE_UNIT_POISON_BYTE_H_

#include <cstdint>

#include "../platform/export.h"
#include "lock.h"
#include "status_byte.h"

/// Poison bytes: a station marks a unit as failed in a byte at 0 to 255 of "VelmoDiagnosticData",
/// and later stations refuse the unit.
namespace corvane::unit {

/// Returns whether `byte` at `offset` marks the unit as failed.
CORVANE_EXPORT bool isPoisoned(uint8_t offset, uint8_t byte);
/// Returns whether `byte` at `offset` is a mark that can be neither set again nor cleared.
CORVANE_EXPORT bool isPoisonFinal(uint8_t offset, uint8_t byte);

/// Marks the unit as failed in the byte at `offset`, with 0xFE, under `lock`. Returns the change. A
/// byte below offset 128 whose status is failed already stays as it is. Throws Error; a mark that
/// was written is never taken back.
CORVANE_EXPORT ByteChange setPoison(Lock& lock, uint8_t offset);

/// Clears the mark in the byte at `offset` under `lock`, with 0xFC, and from 128 on with 0xFF.
/// Returns the change. Throws Error; kFinal, with nothing written, for a byte below offset 128
/// whose status is failed.
CORVANE_EXPORT ByteChange clearPoison(Lock& lock, uint8_t offset);

}  // namespace corvane::unit

#endif  // CORVANE_UNIT_POISON_BYTE_H_
