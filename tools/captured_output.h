#ifndef CORVANE_TOOLS_CAPTURED_OUTPUT_H_
#define CORVANE_TOOLS_CAPTURED_OUTPUT_H_

#include <functional>
#include <string>

namespace corvane::tools {

/// Runs `work` and returns what it and the libraries wrote to `descriptor`, standard output or
/// standard error, which does not show it. Throws CommandError when it cannot be captured.
std::string captured(int descriptor, const std::function<void()>& work);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_CAPTURED_OUTPUT_H_
