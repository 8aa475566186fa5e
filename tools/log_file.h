#ifndef CORVANE_TOOLS_LOG_FILE_H_
#define CORVANE_TOOLS_LOG_FILE_H_

#include <cstdint>
#include <functional>

#include "log/log.h"
#include "tools/command_error.h"

namespace corvane::tools {

/// Runs `write` and checks that the log grew by as many whole lines as it returns: the library does
/// not report a line that it cannot write, and a disk may become full within one. Throws
/// CommandError when there are fewer.
ExitStatus writeToLog(const std::function<size_t()>& write);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_LOG_FILE_H_
