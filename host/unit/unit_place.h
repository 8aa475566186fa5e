#ifndef CORVANE_HOST_UNIT_UNIT_PLACE_H_
#define CORVANE_HOST_UNIT_UNIT_PLACE_H_

#include <filesystem>

namespace corvane::host {

/// Where a process's unit lies unless it uses another: "$CORVANE_DEVICE", else "corvane/device"
/// below "$XDG_STATE_HOME" or "$HOME/.local/state". Absolute, as of the first call.
const std::filesystem::path& defaultUnitFolder();

/// Whether there is a folder for a unit; false when nothing is at `folder`. Throws DeviceError when
/// something else is there, or a folder that this user must not trust: another user's, unless a
/// program or "$CORVANE_DEVICE" names it and not everybody can write to it.
bool isUsableFolder(const std::filesystem::path& folder);

}  // namespace corvane::host

#endif  // CORVANE_HOST_UNIT_UNIT_PLACE_H_
