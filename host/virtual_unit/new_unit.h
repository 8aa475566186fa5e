#ifndef CORVANE_HOST_VIRTUAL_UNIT_NEW_UNIT_H_
#define CORVANE_HOST_VIRTUAL_UNIT_NEW_UNIT_H_

#include <filesystem>

#include "host/include/unit_facts.h"

namespace corvane::host {

/// Creates what `folder` lacks of a unit with `facts`: the folder, the device's file tree, the data
/// sets of a unit that no station has written to, and last device.plist, which makes it a unit.
/// Everything else is on the disk before that file. Throws DeviceError, also for a folder that
/// holds other files and no device.plist.
void completeUnit(const std::filesystem::path& folder, const UnitFacts& facts);

}  // namespace corvane::host

#endif  // CORVANE_HOST_VIRTUAL_UNIT_NEW_UNIT_H_
