#ifndef CORVANE_TOOLS_PS_PROCESS_TABLE_H_
#define CORVANE_TOOLS_PS_PROCESS_TABLE_H_

#include <cstddef>
#include <ostream>
#include <vector>

#include "tools/ps/process_sample.h"

namespace corvane::tools {

/// Prints the processes as a table, with a row for each thread on request. Leaves out the beginning
/// of a long path, so that a row takes at most `width` columns where that leaves room for a name.
void printTable(std::ostream& out, const std::vector<ProcessSample>& processes, bool withThreads,
                size_t width);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_PROCESS_TABLE_H_
