#ifndef CORVANE_HOST_VIRTUAL_UNIT_UNIT_PATHS_H_
#define CORVANE_HOST_VIRTUAL_UNIT_UNIT_PATHS_H_

/// Files of a virtual unit, relative to its folder.
namespace corvane::host {

inline constexpr char kDeviceFile[] = "device.plist";
inline constexpr char kNvramFile[] = "nvram.plist";
inline constexpr char kVersionFile[] = "root/System/Library/CoreServices/SystemVersion.plist";

}  // namespace corvane::host

#endif  // CORVANE_HOST_VIRTUAL_UNIT_UNIT_PATHS_H_
