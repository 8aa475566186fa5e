#ifndef CORVANE_CONTROLBITS_LOG_LINE_H_
#define CORVANE_CONTROLBITS_LOG_LINE_H_

#include "log/log.h"

namespace corvane {

/// Writes a line to the test log under the test name of the operations of ControlBits.
inline void logLine(CFStringRef message) { Log::write(message, CFSTR("Control Bits"), 0); }

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_LOG_LINE_H_
