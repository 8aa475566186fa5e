#include "host/guarded_files.h"

#include <fcntl.h>

#include <cerrno>
#include <new>

#include "host/virtual_unit/unit_file.h"
#include "platform/file_descriptor.h"

namespace corvane::host {

FILE* openGuarded(const char* path, const char* mode) {
  if (*mode != 'a') return fopen(path, mode);
  try {
    FileDescriptor file = openForAppending(path, O_WRONLY);
    return file ? fdopen(file.release(), mode) : nullptr;
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return nullptr;
  }
}

int makeGuardedFolder(const char* path, mode_t mode) {
  try {
    return createFolder(path, mode) ? 0 : -1;
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return -1;
  }
}

}  // namespace corvane::host
