#ifndef CORVANE_TOOLS_PS_SNAPSHOT_LOG_H_
#define CORVANE_TOOLS_PS_SNAPSHOT_LOG_H_

#include <cstddef>

namespace corvane::tools {

/// Writes the library's own report of a complete snapshot to the test log and returns the number of
/// its lines. Throws CommandError when no complete snapshot can be taken.
size_t logSnapshot();

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_SNAPSHOT_LOG_H_
