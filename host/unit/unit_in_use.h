#ifndef CORVANE_HOST_UNIT_UNIT_IN_USE_H_
#define CORVANE_HOST_UNIT_UNIT_IN_USE_H_

#include <filesystem>
#include <memory>
#include <string>

#include "host/device_error.h"
#include "host/unit/unit_folder.h"

/// The unit that this process's platform calls are about.
namespace corvane::host {

/// Where the unit lies unless told otherwise: "$CORVANE_DEVICE", else "corvane/device" below
/// "$XDG_STATE_HOME" or "$HOME/.local/state". Absolute, as of the first call.
std::filesystem::path defaultUnitFolder();

/// The unit in use: the one given to `useUnit`, else the default one, which is opened, and made
/// where it is missing, by the first call. Null when that one cannot be used, which the first call
/// reports.
std::shared_ptr<UnitFolder> unitInUse();

void useUnit(std::shared_ptr<UnitFolder> unit);

/// Writes what makes the unit unusable to standard error, unless it was the last thing reported.
void reportUnusable(const std::string& reason);

/// Runs `work` on the unit's files; what it returns, or `failure` after a report when they are
/// damaged or cannot be changed.
template <typename Result, typename Work>
Result onUnitFiles(Result failure, Work work) {
  try {
    return work();
  } catch (const DeviceError& error) {
    reportUnusable(error.what());
    return failure;
  }
}

}  // namespace corvane::host

#endif  // CORVANE_HOST_UNIT_UNIT_IN_USE_H_
