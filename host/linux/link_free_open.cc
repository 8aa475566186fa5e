#include "host/linux/link_free_open.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>

namespace corvane::host {

FileDescriptor openLinkFree(const char* path, int flags, mode_t mode) {
  open_how how{};
  how.flags = static_cast<unsigned>(flags);
  how.mode = mode;
  how.resolve = RESOLVE_NO_SYMLINKS;
  FileDescriptor file(static_cast<int>(::syscall(SYS_openat2, AT_FDCWD, path, &how, sizeof how)));
  if (file || (errno != ENOSYS && errno != EPERM)) return file;
  return openStepByStep(path, flags, mode);
}

FileDescriptor openStepByStep(const char* path, int flags, mode_t mode) {
  const std::string rest = path;
  if (rest.empty()) {
    errno = ENOENT;
    return {};
  }
  FileDescriptor folder(::open(rest.starts_with('/') ? "/" : ".", O_PATH | O_CLOEXEC));
  size_t start = rest.find_first_not_of('/');
  for (size_t slash = rest.find('/', start); folder && slash != std::string::npos;
       start = rest.find_first_not_of('/', slash), slash = rest.find('/', start)) {
    const std::string name = rest.substr(start, slash - start);
    folder = FileDescriptor(
        ::openat(folder.get(), name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  }
  if (!folder) return folder;
  const std::string name = start == std::string::npos ? "." : rest.substr(start);
  return FileDescriptor(::openat(folder.get(), name.c_str(), flags | O_NOFOLLOW, mode));
}

FileDescriptor openPlace(const char* folder) {
  return openLinkFree(folder, O_PATH | O_DIRECTORY | O_CLOEXEC);
}

}  // namespace corvane::host
