#include "tools/unit_lock.h"

#include <stdexcept>

#include "platform/unit_lock.h"
#include "tools/command_error.h"

namespace corvane::tools {

UnitLock::UnitLock() try : _lock(holdUnitLock()) {
} catch (const std::runtime_error& error) {
  throw CommandError(kNotReady, error.what());
}

}  // namespace corvane::tools
