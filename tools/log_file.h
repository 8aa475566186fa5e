#ifndef CORVANE_TOOLS_LOG_FILE_H_
#define CORVANE_TOOLS_LOG_FILE_H_

#include <cstdint>
#include <functional>

#include "log/log.h"
#include "tools/command_error.h"

namespace corvane::tools {

/// Runs `write` and sees whether the log grew by the number of whole lines that it returns: the
/// library says nothing of a line that it cannot write, and a disk may be full within one. Throws
/// CommandError when it did not.
ExitStatus writeToLog(const std::function<size_t()>& write);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_LOG_FILE_H_
