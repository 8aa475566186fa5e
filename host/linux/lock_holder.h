#ifndef CORVANE_HOST_LINUX_LOCK_HOLDER_H_
#define CORVANE_HOST_LINUX_LOCK_HOLDER_H_

#include <sys/stat.h>
#include <sys/types.h>

namespace corvane::host {

/// Returns the process that holds a flock on `file`, as "/proc/locks" lists it; 0 when none is
/// listed, or its process is outside this one's namespace.
pid_t lockHolder(const struct stat& file);

}  // namespace corvane::host

#endif  // CORVANE_HOST_LINUX_LOCK_HOLDER_H_
