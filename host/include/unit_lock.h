#ifndef CORVANE_HOST_INCLUDE_UNIT_LOCK_H_
#define CORVANE_HOST_INCLUDE_UNIT_LOCK_H_

#include <filesystem>

#include "device_error.h"

namespace corvane::host {

/// Holds a unit's lock while it exists, so that no other process and no other thread changes the
/// unit: a program that reads, changes and writes back under one lock undoes no change of another.
/// Every change of a unit takes the lock for itself; a thread that holds it already gets it again.
///
///     const corvane::host::UnitLock lock;
///     if (hasBootArg(CFSTR("debug=1"))) removeBootArg(CFSTR("debug=1"));
///
/// Readers take no lock. While another holder keeps it for more than two seconds, a line on
/// standard error names that process. After "$CORVANE_LOCK_SECONDS" (30 unless set) the wait fails:
/// the constructors throw UnitBusyError, platform calls return kIOReturnCannotLock.
///
/// Destroy it in the thread that made it. A child process does not inherit what its parent holds.
class __attribute__((visibility("default"))) UnitLock {
 public:
  /// Locks the unit that the platform calls of this process are about. Locks nothing when that unit
  /// cannot be used: those calls fail anyway. Throws DeviceError when the lock cannot be acquired.
  UnitLock();
  /// Locks the unit in `folder`, which must exist. Throws DeviceError.
  explicit UnitLock(const std::filesystem::path& folder);
  ~UnitLock();
  UnitLock(const UnitLock&) = delete;
  UnitLock& operator=(const UnitLock&) = delete;

 private:
  struct Hold;
  static Hold* acquire(const std::filesystem::path& folder);

  Hold* _hold = nullptr;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_INCLUDE_UNIT_LOCK_H_
