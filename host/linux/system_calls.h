#ifndef CORVANE_HOST_LINUX_SYSTEM_CALLS_H_
#define CORVANE_HOST_LINUX_SYSTEM_CALLS_H_

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

/// Calls that Linux and its C library have and other systems have not, or not in this form. Those
/// that return false leave the reason in `errno`.
namespace corvane::host {

/// Atomically exchanges two files or folders, each named from an open folder or AT_FDCWD.
inline bool exchangeFiles(int folder1, const char* name1, int folder2, const char* name2) {
  return ::renameat2(folder1, name1, folder2, name2, RENAME_EXCHANGE) == 0;
}

/// Makes everything on the file system of the open file durable.
inline bool syncFileSystem(int file) { return ::syncfs(file) == 0; }

/// Copies bytes of this process that may not be readable: the kernel copies them, since reading
/// them here could fault.
inline bool copyMemory(const void* from, std::span<std::byte> to) {
  const iovec here{to.data(), to.size()};
  const iovec there{const_cast<void*>(from), to.size()};
  return ::process_vm_readv(::getpid(), &here, 1, &there, 1, 0) == static_cast<ssize_t>(to.size());
}

/// Returns the id of the calling thread, as it is in "/proc".
inline pid_t threadId() { return ::gettid(); }

/// Returns whether a signal has stopped the process; not for one that a debugger has stopped.
inline bool isStopped(pid_t process) {
  char path[32], line[64] = {};  // The name ends within 40 bytes, and the state follows it.
  ::snprintf(path, sizeof path, "/proc/%d/stat", process);
  const int file = ::open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const ssize_t count = ::read(file, line, sizeof line - 1);
  ::close(file);
  const char* const nameEnd = count > 0 ? ::strrchr(line, ')') : nullptr;
  return nameEnd != nullptr && ::strncmp(nameEnd, ") T", 3) == 0;
}

/// Returns the ids of all processes.
inline std::vector<pid_t> processIds() {
  std::vector<pid_t> ids;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const pid_t id = std::atoi(entry.path().filename().c_str());
    if (id > 0) ids.push_back(id);
  }
  return ids;
}

/// Returns the name of the program's file, without its folder.
inline const char* programName() { return program_invocation_short_name; }

}  // namespace corvane::host

#endif  // CORVANE_HOST_LINUX_SYSTEM_CALLS_H_
