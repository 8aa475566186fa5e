#ifndef CORVANE_TOOLS_PS_PROCESS_PLOT_H_
#define CORVANE_TOOLS_PS_PROCESS_PLOT_H_

#include <string>
#include <vector>

#include "tools/ps/process_recording.h"

namespace corvane::tools {

/// Returns a chart of the CPU usage over time of the `count` processes that used most in total, as
/// a self-contained SVG document. There must be a sample.
std::string plotSvg(const std::vector<RecordedSample>& samples, size_t count);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_PROCESS_PLOT_H_
