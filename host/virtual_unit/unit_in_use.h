#ifndef CORVANE_HOST_VIRTUAL_UNIT_UNIT_IN_USE_H_
#define CORVANE_HOST_VIRTUAL_UNIT_UNIT_IN_USE_H_

#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <string>

#include "host/include/device_error.h"
#include "host/virtual_unit/unit_file.h"
#include "host/virtual_unit/unit_folder.h"

/// The unit that this process's platform calls are about.
namespace corvane::host {

/// Returns the unit in use: the one given to `useUnit`, else the default one, which the first call
/// opens, and creates when it is missing. Returns null when the default one cannot be used, which
/// the first call reports.
std::shared_ptr<UnitFolder> unitInUse();

void useUnit(std::shared_ptr<UnitFolder> unit);

/// Writes what makes the unit unusable to standard error, unless it was the last thing reported.
void reportUnusable(const std::string& reason);

/// Returns what `work` returns. Converts what the C++ library throws into a DeviceError about
/// `unit`, in this system's own words.
template <typename Work>
auto withDeviceErrors(const char* unit, Work work) {
  try {
    return work();
  } catch (const DeviceError&) {
    throw;
  } catch (const std::bad_alloc&) {
    failOn(unit, "there is not enough memory");
  } catch (const std::filesystem::filesystem_error& error) {
    throw FileError(unit, error.code());
  } catch (const std::exception&) {
    failOn(unit, "cannot be used");
  }
}

/// Returns what `work` on the unit's files returns; `failure`, after a report, when they are
/// damaged or cannot be changed.
template <typename Result, typename Work>
Result onUnitFiles(Result failure, Work work) {
  try {
    try {
      return withDeviceErrors("the unit", work);
    } catch (const DeviceError& error) {
      reportUnusable(error.what());
    }
  } catch (const std::bad_alloc&) {
    // Not even enough for the report.
  }
  return failure;
}

}  // namespace corvane::host

#endif  // CORVANE_HOST_VIRTUAL_UNIT_UNIT_IN_USE_H_
