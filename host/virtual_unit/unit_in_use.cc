#include "host/virtual_unit/unit_in_use.h"

#include <mutex>
#include <utility>

#include "host/unit_messages.h"
#include "host/virtual_unit/unit_place.h"
#include "platform/fork_safe_lock.h"

namespace corvane::host {
namespace {

struct InUse {
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

/// Returns the default unit; null, after a report, when it cannot be used.
std::shared_ptr<UnitFolder> openDefaultUnit() {
  const std::filesystem::path& folder = defaultUnitFolder();
  try {
    return withDeviceErrors(folder.c_str(), [&] { return std::make_shared<UnitFolder>(folder); });
  } catch (const DeviceError& error) {
    reportUnusable(error.what());
    return nullptr;
  }
}

}  // namespace

std::shared_ptr<UnitFolder> unitInUse() {
  InUse& state = inUse();
  {
    const std::lock_guard lock(ForkSafeLock<InUse>::get());
    if (state.isOpened) return state.unit;
  }
  // Without the lock, which a fork waits for. Threads that come here together open the same unit.
  auto unit = openDefaultUnit();
  const std::lock_guard lock(ForkSafeLock<InUse>::get());
  if (!std::exchange(state.isOpened, true)) state.unit = std::move(unit);
  return state.unit;
}

void useUnit(std::shared_ptr<UnitFolder> unit) {
  InUse& state = inUse();
  const std::lock_guard lock(ForkSafeLock<InUse>::get());
  state.isOpened = true;
  state.unit = std::move(unit);
}

void reportUnusable(const std::string& reason) {
  InUse& state = inUse();
  const std::lock_guard lock(ForkSafeLock<InUse>::get());
  if (state.lastReport == reason) return;
  state.lastReport = reason;
  reportOnUnit(reason);
}

}  // namespace corvane::host
