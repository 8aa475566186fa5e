#ifndef CORVANE_TOOLS_DIAGNOSTIC_DATA_H_
#define CORVANE_TOOLS_DIAGNOSTIC_DATA_H_

#include <cstdint>
#include <span>
#include <string>

#include "tools/command_error.h"

namespace corvane::tools {

/// Returns the whole data set of the control-bit bytes and the records; valid until the next read
/// or write of the data area. Throws CommandError (not ready), "`what` cannot be read".
std::span<const uint8_t> readDiagnosticData(const std::string& what);

/// Returns what a command says of a change that cannot be read back.
CommandError unknownChange(const std::string& what);

/// Returns what a command says of a change that reads back although the data area refused it: a
/// disk that fails while the old contents cannot be put back.
CommandError undurableChange(const std::string& what);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_DIAGNOSTIC_DATA_H_
