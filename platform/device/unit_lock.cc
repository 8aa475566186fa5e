#include "platform/unit_lock.h"

namespace corvane {

std::shared_ptr<const void> holdUnitLock() { return nullptr; }

}  // namespace corvane
