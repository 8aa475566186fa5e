#include "platform/scoped_unit_lock.h"

namespace corvane {

ScopedUnitLock::ScopedUnitLock() = default;

}  // namespace corvane
