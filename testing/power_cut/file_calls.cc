#include "testing/power_cut/file_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <utility>

namespace corvane::testing {

thread_local FileCalls gFileCalls;

namespace {

enum class Need { kNothing, kSpace };

/// Counts a call. Returns whether it must fail, and sets errno then.
bool isBroken(Need need) {
  if (++gFileCalls.made != gFileCalls.broken) return false;
  if (gFileCalls.way == ENOSPC && need == Need::kNothing) return false;
  errno = gFileCalls.way;
  return true;
}

/// Applies `change` to a copy of the last recorded disk, and records it if it has changed.
template <typename Change>
void record(const Change& change) {
  const FileCalls calls = std::exchange(gFileCalls, {});  // `change` makes calls of its own.
  if (calls.recording) {
    Disk disk = calls.recording->back();
    if (change(disk)) calls.recording->push_back(std::move(disk));
  }
  gFileCalls = calls;
}

template <typename... Arguments>
int make(long call, Arguments... arguments) {
  const auto result = static_cast<int>(::syscall(call, arguments...));
  if (result >= 0) record([](Disk& disk) { return disk.update(); });
  return result;
}

template <typename... Arguments>
int makeUnlessBroken(Need need, long call, Arguments... arguments) {
  return isBroken(need) ? -1 : make(call, arguments...);
}

}  // namespace
}  // namespace corvane::testing

// These replace the C library's functions for everything that this program is linked from.
using namespace corvane::testing;

#pragma GCC visibility push(default)
extern "C" {

int openat(int folder, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  const Need need = flags & O_CREAT ? Need::kSpace : Need::kNothing;
  return makeUnlessBroken(need, SYS_openat, folder, path, flags, mode);
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return openat(AT_FDCWD, path, flags, mode);
}

ssize_t pread(int descriptor, void* buffer, size_t size, off_t offset) {
  return makeUnlessBroken(Need::kNothing, SYS_pread64, descriptor, buffer, size, offset);
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
  if (isBroken(Need::kSpace)) return -1;
  if (auto& room = gFileCalls.room; room && size > 0) {
    size = std::min({size, size_t{3}, *room});
    *room -= size;
    if (size == 0) {
      errno = ENOSPC;
      return -1;
    }
  }
  // Two halves give the recording a moment between them.
  const size_t half = gFileCalls.recording ? size / 2 : 0;
  if (half > 0 && make(SYS_write, descriptor, bytes, half) < 0) return -1;
  const int rest = make(SYS_write, descriptor, static_cast<const char*>(bytes) + half, size - half);
  return rest < 0 ? rest : static_cast<ssize_t>(half) + rest;
}

char* mkdtemp(char* path) noexcept {
  if (isBroken(Need::kSpace)) return nullptr;
  const auto makeFolder = reinterpret_cast<char* (*)(char*)>(::dlsym(RTLD_NEXT, "mkdtemp"));
  char* const made = makeFolder(path);
  record([](Disk& disk) { return disk.update(); });
  return made;
}

int fsync(int descriptor) {
  if (isBroken(Need::kSpace)) return -1;
  record([&](Disk& disk) { return disk.sync(descriptor); });
  return 0;
}

/// Defines a function that makes the system call which follows its parameters.
#define REPLACE(need, function, parameters, ...) \
  int function parameters noexcept { return makeUnlessBroken(Need::need, __VA_ARGS__); }

REPLACE(kNothing, ftruncate, (int file, off_t size), SYS_ftruncate, file, size)
REPLACE(kNothing, fchmod, (int file, mode_t mode), SYS_fchmod, file, mode)
REPLACE(kNothing, flock, (int file, int operation), SYS_flock, file, operation)
REPLACE(kSpace, mkdir, (const char* path, mode_t mode), SYS_mkdirat, AT_FDCWD, path, mode)
REPLACE(kSpace, mkdirat, (int folder, const char* path, mode_t mode), SYS_mkdirat, folder, path,
        mode)
REPLACE(kSpace, symlinkat, (const char* target, int folder, const char* path), SYS_symlinkat,
        target, folder, path)
REPLACE(kNothing, chmod, (const char* path, mode_t mode), SYS_fchmodat, AT_FDCWD, path, mode)
REPLACE(kSpace, linkat,
        (int folder, const char* path, int newFolder, const char* newPath, int flags), SYS_linkat,
        folder, path, newFolder, newPath, flags)
REPLACE(kSpace, renameat2,
        (int folder, const char* path, int newFolder, const char* newPath, unsigned int flags),
        SYS_renameat2, folder, path, newFolder, newPath, flags)
REPLACE(kSpace, rename, (const char* path, const char* newPath), SYS_renameat2, AT_FDCWD, path,
        AT_FDCWD, newPath, 0)
REPLACE(kSpace, renameat, (int folder, const char* path, int newFolder, const char* newPath),
        SYS_renameat2, folder, path, newFolder, newPath, 0)
REPLACE(kNothing, unlink, (const char* path), SYS_unlinkat, AT_FDCWD, path, 0)
REPLACE(kNothing, unlinkat, (int folder, const char* path, int flags), SYS_unlinkat, folder, path,
        flags)

}  // extern "C"
#pragma GCC visibility pop
