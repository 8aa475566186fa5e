#ifndef CORVANE_PLATFORM_DEVICE_PATH_H_
#define CORVANE_PLATFORM_DEVICE_PATH_H_

#include <string>

#include "platform/export.h"

namespace corvane {

/// Returns where the file that the device knows as `path` (absolute) lies on this machine: `path`
/// itself on the device, a path below the virtual device's file tree off it. Returns "" when the
/// virtual device cannot be used, so that opening it fails and touches nothing.
CORVANE_PLATFORM_EXPORT std::string devicePath(const char* path);

}  // namespace corvane

#endif  // CORVANE_PLATFORM_DEVICE_PATH_H_
