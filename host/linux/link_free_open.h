#ifndef CORVANE_HOST_LINUX_LINK_FREE_OPEN_H_
#define CORVANE_HOST_LINUX_LINK_FREE_OPEN_H_

#include <sys/types.h>

#include "platform/export.h"
#include "platform/file_descriptor.h"

namespace corvane::host {

/// Opens the file or folder `path` as open does, but only when no component of the path is a
/// symbolic link. Otherwise no file, with ELOOP, or ENOTDIR before Linux 5.6, in `errno`.
CORVANE_EXPORT FileDescriptor openLinkFree(const char* path, int flags, mode_t mode = 0);

/// What `openLinkFree` does where the kernel or a sandbox refuses the call for it.
CORVANE_EXPORT FileDescriptor openStepByStep(const char* path, int flags, mode_t mode = 0);

/// Opens a folder in the same way, which need not be readable, as a place for calls such as
/// mkdirat.
FileDescriptor openPlace(const char* folder);

}  // namespace corvane::host

#endif  // CORVANE_HOST_LINUX_LINK_FREE_OPEN_H_
