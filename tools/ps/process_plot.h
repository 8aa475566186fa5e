#ifndef CORVANE_TOOLS_PS_PROCESS_PLOT_H_
#define CORVANE_TOOLS_PS_PROCESS_PLOT_H_

#include <string>
#include <vector>

#include "tools/ps/process_recording.h"

namespace corvane::tools {

/// A chart of what the `count` processes that used most in all used over time, as an SVG document
/// that needs nothing else.
std::string plotSvg(const std::vector<RecordedSample>& samples, size_t count);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_PROCESS_PLOT_H_
