#ifndef CORVANE_TOOLS_PS_PROCESS_PLOT_H_
#define CORVANE_TOOLS_PS_PROCESS_PLOT_H_

#include <cstdio>
#include <string>

namespace corvane::tools {

/// Reads lines of `corvane ps --watch --json`. Returns a chart of the CPU usage over time of the
/// eight processes that used most in total, as a self-contained SVG document. Throws CommandError
/// (wrong usage) with `name`, the line and the reason for other input. A last line that was cut
/// short does not count.
std::string plotSvg(std::FILE* lines, const std::string& name);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_PROCESS_PLOT_H_
