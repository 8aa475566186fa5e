#ifndef CORVANE_UNIT_STATUS_BYTE_H_
#define CORVANE_UNIT_STATUS_BYTE_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "../controlbits/control_bit_byte.h"
#include "../platform/export.h"
#include "lock.h"

/// The control-bit bytes: the test status and the fail count of each station, 0 to 127 of the data
/// set "VelmoDiagnosticData".
namespace corvane::unit {

/// The number of control-bit bytes; records follow them in the data set.
inline constexpr uint32_t kControlBits = 128;

/// A byte before and after a change.
struct ByteChange {
  uint8_t before = 0;  ///< As it was read.
  uint8_t after = 0;   ///< As it was read back.
};

/// Returns the byte at `offset` of "VelmoDiagnosticData". Throws Error (kUnreadable).
CORVANE_EXPORT uint8_t readByte(uint32_t offset);

/// Returns the whole data set "VelmoDiagnosticData". Throws Error (kUnreadable).
CORVANE_EXPORT std::vector<uint8_t> readDiagnosticData();

/// What becomes of a control-bit byte; bits 5-7 stay as they are.
struct StatusChange {
  std::optional<CorvaneControlBitStatus> status = {};  ///< Stays as it is when absent.
  std::optional<int> failCount = {};                   ///< 0 to 7; stays as it is when absent.
};

/// Returns `byte` with `change`. Throws Error (kBadArgument) for a status above 3 or a fail count
/// above 7.
CORVANE_EXPORT uint8_t withStatus(uint8_t byte, const StatusChange& change);

/// Reads the byte at `offset`, makes `change` and writes it when that makes a difference, under
/// `lock`. Returns the byte before and after. From offset 128 on lie records: the caller must mean
/// it. Throws Error; what a failed change has left is put back, except a failed status.
CORVANE_EXPORT ByteChange changeStatus(Lock& lock, uint32_t offset, const StatusChange& change);

/// Makes `change` of the byte at `offset` under `lock`, and returns the byte before and after: what
/// `changeStatus` does, with the byte `before` that the caller has read, and writes in any
/// case: what a worn byte reads as may not be what it holds. Nothing is put back: the byte could
/// then hold a verdict in place of "incomplete".
CORVANE_EXPORT ByteChange rewriteStatus(Lock& lock, uint32_t offset, uint8_t before,
                                        const StatusChange& change);

/// Throws Error (kMismatch) unless the byte at `offset` holds `meant`.
CORVANE_EXPORT void verifyByte(uint32_t offset, uint8_t meant);

}  // namespace corvane::unit

#endif  // CORVANE_UNIT_STATUS_BYTE_H_
