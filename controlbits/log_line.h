#ifndef CORVANE_CONTROLBITS_LOG_LINE_H_
#define CORVANE_CONTROLBITS_LOG_LINE_H_

#include "log/log.h"

namespace corvane {

/// A line of the test log as the operations of ControlBits write it.
inline void logLine(CFStringRef message) { Log::write(message, CFSTR("Control Bits"), 0); }

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_LOG_LINE_H_
