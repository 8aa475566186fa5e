#include "platform/device_path.h"

namespace corvane {

std::string devicePath(const char* path) { return path; }

}  // namespace corvane
