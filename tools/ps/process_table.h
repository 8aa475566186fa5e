#ifndef CORVANE_TOOLS_PS_PROCESS_TABLE_H_
#define CORVANE_TOOLS_PS_PROCESS_TABLE_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/ps/process_sample.h"

namespace corvane::tools {

/// Returns the processes as lines of a table, the titles first; with a line for each thread on
/// request. On a terminal `width` columns wide, leaves out columns until there is room for names,
/// and the beginning of a long path.
std::vector<std::string> tableOf(const std::vector<ProcessSample>& processes, bool withThreads,
                                 std::optional<size_t> width);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_PROCESS_TABLE_H_
