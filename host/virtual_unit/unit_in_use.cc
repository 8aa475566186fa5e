#include "host/virtual_unit/unit_in_use.h"

#include <mutex>

#include "host/unit_messages.h"
#include "host/virtual_unit/unit_place.h"

namespace corvane::host {
namespace {

struct InUse {
  std::mutex mutex;
  bool isOpened = false;
  std::shared_ptr<UnitFolder> unit;
  std::string lastReport;
};

/// Returns the state of the unit in use, which is never destroyed: platform calls are made until
/// the last static destructor has run.
InUse& inUse() {
  static InUse& state = *new InUse;
  return state;
}

void report(InUse& state, const std::string& reason) {
  if (state.lastReport == reason) return;
  state.lastReport = reason;
  reportOnUnit(reason);
}

void openDefaultUnit(InUse& state) {
  state.isOpened = true;
  const std::filesystem::path& folder = defaultUnitFolder();
  try {
    state.unit =
        withDeviceErrors(folder.c_str(), [&] { return std::make_shared<UnitFolder>(folder); });
  } catch (const DeviceError& error) {
    report(state, error.what());
  }
}

}  // namespace

std::shared_ptr<UnitFolder> unitInUse() {
  InUse& state = inUse();
  const std::lock_guard lock(state.mutex);
  if (!state.isOpened) openDefaultUnit(state);
  return state.unit;
}

void useUnit(std::shared_ptr<UnitFolder> unit) {
  InUse& state = inUse();
  const std::lock_guard lock(state.mutex);
  state.isOpened = true;
  state.unit = std::move(unit);
}

void reportUnusable(const std::string& reason) {
  InUse& state = inUse();
  const std::lock_guard lock(state.mutex);
  report(state, reason);
}

}  // namespace corvane::host
