#ifndef CORVANE_HOST_VIRTUAL_UNIT_UNIT_PLACE_H_
#define CORVANE_HOST_VIRTUAL_UNIT_UNIT_PLACE_H_

#include <filesystem>

namespace corvane::host {

/// Returns where a process's unit lies unless it uses another: "$CORVANE_DEVICE", else
/// "corvane/device" below "$XDG_STATE_HOME" or "$HOME/.local/state". The path is absolute, and
/// fixed by the first call.
const std::filesystem::path& defaultUnitFolder();

/// Returns true when `folder` can hold a unit, and false when nothing is there. Throws DeviceError
/// when it is not a folder, or is one that this user must not trust: another user's that everybody
/// can write to, or that neither a program nor "$CORVANE_DEVICE" names.
bool isUsableFolder(const std::filesystem::path& folder);

}  // namespace corvane::host

#endif  // CORVANE_HOST_VIRTUAL_UNIT_UNIT_PLACE_H_
