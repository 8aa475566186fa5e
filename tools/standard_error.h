#ifndef CORVANE_TOOLS_STANDARD_ERROR_H_
#define CORVANE_TOOLS_STANDARD_ERROR_H_

#include <functional>
#include <string>

namespace corvane::tools {

/// Runs `work` and returns what it and the libraries wrote to standard error, which does not show
/// it. When it cannot be captured, standard error shows it and the result is empty.
std::string standardErrorOf(const std::function<void()>& work);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_STANDARD_ERROR_H_
