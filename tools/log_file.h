#ifndef CORVANE_TOOLS_LOG_FILE_H_
#define CORVANE_TOOLS_LOG_FILE_H_

#include <cstdint>
#include <functional>

#include "log/log.h"
#include "tools/command_error.h"

namespace corvane::tools {

/// Runs `write` and checks that the log grew by the number of whole lines that it returns: the
/// library reports no line that it cannot write, and a disk may be full within one. Throws
/// CommandError when the log did not.
ExitStatus writeToLog(const std::function<size_t()>& write);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_LOG_FILE_H_
