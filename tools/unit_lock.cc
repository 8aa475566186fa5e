#include "tools/unit_lock.h"

#include <stdexcept>

#include "tools/command_error.h"

namespace corvane::tools {

UnitLock::UnitLock() try {
} catch (const std::runtime_error& error) {
  throw CommandError(kNotReady, error.what());
}

}  // namespace corvane::tools
