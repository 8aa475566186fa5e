#ifndef CORVANE_PLATFORM_UNIT_LOCK_H_
#define CORVANE_PLATFORM_UNIT_LOCK_H_

#include <memory>

#include "platform/export.h"

namespace corvane {

/// Acquires the lock of the virtual device that the platform calls are about, and returns what
/// holds it; release that in the thread that called. Throws std::runtime_error with the unit and
/// its holder when the lock cannot be acquired in time. Returns null on the device, which has no
/// such lock.
CORVANE_PLATFORM_EXPORT std::shared_ptr<const void> holdUnitLock();

}  // namespace corvane

#endif  // CORVANE_PLATFORM_UNIT_LOCK_H_
