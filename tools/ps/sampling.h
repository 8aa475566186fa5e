#ifndef CORVANE_TOOLS_PS_SAMPLING_H_
#define CORVANE_TOOLS_PS_SAMPLING_H_

#include <functional>
#include <string>

namespace corvane::tools {

/// Runs `sample`, which returns why no process can be sampled, or "". Throws CommandError with that
/// reason or, in its place, with what the platform wrote about it to standard error, which then
/// does not show it.
void requireProcesses(const std::function<std::string()>& sample);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_SAMPLING_H_
