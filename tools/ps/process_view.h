#ifndef CORVANE_TOOLS_PS_PROCESS_VIEW_H_
#define CORVANE_TOOLS_PS_PROCESS_VIEW_H_

#include <cstddef>
#include <cstdint>
#include <ostream>

#include "tools/ps/process_sample.h"

namespace corvane::tools {

/// Prints the processes as a table whose rows take at most `width` columns where that leaves room
/// for names, with a row for each thread on request.
void printTable(std::ostream& out, const Sample& sample, bool withThreads, size_t width);

/// Prints the processes as a JSON document, piece by piece: a machine may have so many threads that
/// the text should not be held in memory.
void printJson(std::ostream& out, const Sample& sample, bool withThreads);

/// Prints the sample as a line of a stream, in one write. `missed` is how many samples were due
/// since the line before and were not taken.
void printJsonLine(std::ostream& out, const Sample& sample, bool withThreads, int64_t missed);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_PROCESS_VIEW_H_
