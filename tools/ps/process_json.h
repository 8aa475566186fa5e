#ifndef CORVANE_TOOLS_PS_PROCESS_JSON_H_
#define CORVANE_TOOLS_PS_PROCESS_JSON_H_

#include <ostream>
#include <string>
#include <vector>

#include "tools/ps/process_sample.h"

namespace corvane::tools {

/// Writes the processes as one JSON document, piece by piece: a machine may have so many threads
/// that the document should not be held in memory.
void printJson(std::ostream& out, const std::vector<ProcessSample>& processes, bool withThreads);

/// Returns the process without its threads, as an object on one line.
std::string jsonText(const ProcessSample& process);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_PROCESS_JSON_H_
