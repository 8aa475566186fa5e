#ifndef CORVANE_TOOLS_STANDARD_ERROR_H_
#define CORVANE_TOOLS_STANDARD_ERROR_H_

#include <functional>
#include <string>

namespace corvane::tools {

/// Runs `work` and returns what it and the libraries wrote to standard error, which does not show
/// it. When it cannot be captured, standard error shows it and the result is empty.
std::string standardErrorOf(const std::function<void()>& work);

/// Runs `write`, a change of the data area. When the kernel refuses the change, the platform prints
/// the whole request to standard error (33 KB for the configuration area); it is left out, because
/// the test log has it too. The virtual unit's own lines, which say why, are passed on. Returns
/// whether it was refused; false as well where standard error cannot be kept.
bool runQuietly(const std::function<void()>& write);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_STANDARD_ERROR_H_
