#include "platform/device_path.h"

#include "host/unit/unit_in_use.h"

namespace corvane {

std::string devicePath(const char* path) {
  const auto unit = host::unitInUse();
  return unit ? unit->filePath(path) : std::string();
}

}  // namespace corvane
