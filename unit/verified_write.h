#ifndef CORVANE_UNIT_VERIFIED_WRITE_H_
#define CORVANE_UNIT_VERIFIED_WRITE_H_

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "unit/error.h"
#include "unit/lock.h"
#include "unit/status_byte.h"

/// How every byte of the data sets is read and written.
namespace corvane::unit {

using ByteSpan = std::span<const uint8_t>;

/// Returns the bytes; nothing when they cannot be read.
std::optional<std::vector<uint8_t>> tryRead(CFStringRef set, uint32_t offset, size_t length);

/// A change of some bytes of a data set.
struct Write {
  CFStringRef set;
  uint32_t offset;
  ByteSpan before;
  ByteSpan meant;
  /// What is changed: "byte 20", "key OPTS".
  std::string what;
  /// The line in the test log.
  std::string line;
  /// Returns whether bytes that are held, or were meant, must not be taken back; null when all may.
  bool (*isFinal)(ByteSpan) = nullptr;
};

/// Writes and reads back `write.meant`, and puts back what a failure left. Throws Error.
void writeVerified(Lock& lock, const Write& write);

/// Writes the byte at `offset` of "VelmoDiagnosticData", which was read as `before`. Never takes a
/// failed status back, nor, when `isFinal` is given, what it returns true for.
ByteChange replaceByte(Lock& lock, uint32_t offset, uint8_t before, uint8_t meant,
                       bool (*isFinal)(ByteSpan) = nullptr);

/// Runs `work`, a whole change, and leaves a line when it throws Error.
template <typename Work>
auto logged(Lock& lock, Work work) try {
  return work();
} catch (const Error& error) {
  lock.addLine(std::string("not done: ") + error.what());
  throw;
}

}  // namespace corvane::unit

#endif  // CORVANE_UNIT_VERIFIED_WRITE_H_
