#ifndef CORVANE_PLATFORM_SCOPED_UNIT_LOCK_H_
#define CORVANE_PLATFORM_SCOPED_UNIT_LOCK_H_

#include <memory>

#include "platform/export.h"

namespace corvane {

/// Holds the lock of the virtual device that the platform calls are about: a program that reads,
/// changes and writes back under it loses no change of another process. Locks nothing on the
/// device, which has no such lock. Destroy it in the thread that made it.
class CORVANE_EXPORT ScopedUnitLock {
 public:
  /// Throws std::runtime_error with the unit and its holder when the lock cannot be acquired in
  /// time.
  ScopedUnitLock();

 private:
  std::shared_ptr<const void> _lock;
};

}  // namespace corvane

#endif  // CORVANE_PLATFORM_SCOPED_UNIT_LOCK_H_
