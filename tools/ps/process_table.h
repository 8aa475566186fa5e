#ifndef CORVANE_TOOLS_PS_PROCESS_TABLE_H_
#define CORVANE_TOOLS_PS_PROCESS_TABLE_H_

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "tools/ps/process_sample.h"

namespace corvane::tools {

/// The processes as lines of a table, the titles first; with a line for each thread on request.
/// What a terminal could take for a command is replaced in names.
std::vector<std::string> tableOf(const std::vector<ProcessSample>& processes, bool withThreads);

nlohmann::ordered_json jsonOf(const ProcessSample& process, bool withThreads);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_PROCESS_TABLE_H_
