#ifndef CORVANE_CONTROLBITS_CONVENTIONS_H_
#define CORVANE_CONTROLBITS_CONVENTIONS_H_

#include <cstdint>

#include "log/log.h"

/// What the operations of ControlBits have in common.
namespace corvane {

/// Offsets of the two control-bit bytes that have a fixed use.
inline constexpr uint32_t kLogCollectionOffset = 9;
inline constexpr uint32_t kSuiteStatusOffset = 18;

/// Writes a line to the test log under the test name of the operations of ControlBits.
inline void logLine(CFStringRef message) { Log::write(message, CFSTR("Control Bits"), 0); }

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_CONVENTIONS_H_
