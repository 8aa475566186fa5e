#ifndef CORVANE_TOOLS_QUIET_WRITE_H_
#define CORVANE_TOOLS_QUIET_WRITE_H_

#include <functional>

namespace corvane::tools {

/// Runs `write`, a change of the data area. When the kernel refuses the change, the platform prints
/// the whole request to standard error (33 KB for the configuration area), which the test log has
/// too: that is left out. The virtual unit's own lines, which say why, are passed on.
void runQuietly(const std::function<void()>& write);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_QUIET_WRITE_H_
