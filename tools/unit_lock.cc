#include "tools/unit_lock.h"

#include "host/unit_lock.h"
#include "tools/command_error.h"

namespace corvane::tools {

UnitLock::UnitLock() try : _lock(std::make_shared<host::UnitLock>()) {
} catch (const host::DeviceError& error) {
  throw CommandError(kNotReady, error.what());
}

}  // namespace corvane::tools
