#include "host/include/unit_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "host/linux/lock_holder.h"
#include "host/unit_messages.h"
#include "host/virtual_unit/unit_file.h"
#include "host/virtual_unit/unit_in_use.h"
#include "platform/file_descriptor.h"
#include "platform/fork_safe_lock.h"

namespace corvane::host {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// Returns how long a writer waits for the lock before it gives up: "$CORVANE_LOCK_SECONDS", or 30
/// seconds.
milliseconds patience() {
  int seconds = 30;
  if (const char* text = std::getenv("CORVANE_LOCK_SECONDS")) {
    int given = 0;
    const char* end = text + std::strlen(text);
    const auto [last, error] = std::from_chars(text, end, given);
    if (error == std::errc() && last == end && given >= 0) seconds = given;
  }
  return std::chrono::seconds(seconds);
}

FileDescriptor openLockFile(const std::filesystem::path& folder) {
  const std::filesystem::path file = folder / ".lock";
  constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  FileDescriptor lock(::open(file.c_str(), O_RDWR | kFlags));
  if (!lock && errno == ENOENT) {
    lock = FileDescriptor(::open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | kFlags, 0666));
    if (lock) {
      const FileDescriptor place(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
      if (!giveToOwnerOf(place.get(), lock.get())) throw FileError(file);
    } else if (errno == EEXIST) {
      lock = FileDescriptor(::open(file.c_str(), O_RDWR | kFlags));
    }
  }
  // A lock that belongs to another user can be acquired without writing to it.
  if (!lock && errno == EACCES) lock = FileDescriptor(::open(file.c_str(), O_RDONLY | kFlags));
  if (!lock && errno == ELOOP) throw FileError(file, FileFault::kSymbolicLink);
  if (!lock) throw FileError(file);
  return lock;
}

std::string holderText(const struct stat& file) {
  const pid_t holder = lockHolder(file);
  return holder ? "process " + std::to_string(holder) : "another process";
}

/// Waits for the lock that `lock` is open on. Throws UnitBusyError when another keeps it.
void waitForLock(int lock, const struct stat& file, const std::filesystem::path& folder) {
  constexpr milliseconds kSilence(2000), kMaxPause(5);
  const milliseconds limit = patience();
  const Clock::time_point start = Clock::now();
  Clock::time_point reportAt = start + std::min(kSilence, limit / 2);
  std::chrono::microseconds pause(100);
  while (::flock(lock, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK) throw FileError(folder / ".lock");
    const Clock::time_point now = Clock::now();
    if (now - start >= limit) {
      throw UnitBusyError(folder.string() + ": " + holderText(file) +
                          " has held the unit's lock for " + std::to_string(limit.count() / 1000) +
                          " s");
    }
    if (now >= reportAt) {
      reportAt = Clock::time_point::max();
      reportOnUnit(folder.string() + ": waiting for " + holderText(file) +
                   ", which holds the unit's lock");
    }
    std::this_thread::sleep_for(pause);
    pause = std::min<std::chrono::microseconds>(pause * 2, kMaxPause);
  }
}

struct KnownUnits;

/// Returns whether this process locks the unit for the first time.
bool isFirst(const std::filesystem::path& folder) {
  static auto& known = *new std::set<std::string>;
  const std::lock_guard lock(ForkSafeLock<KnownUnits>::get());
  return known.insert(folder.string()).second;
}

}  // namespace

/// A lock that this thread holds, and how many times.
struct UnitLock::Hold {
  dev_t device;
  ino_t inode;
  pid_t process;
  FileDescriptor file;
  int depth;
  Hold* next;

  /// The first of this thread's. A plain pointer, so that static destructors can still lock.
  static thread_local Hold* gFirst;
};

thread_local UnitLock::Hold* UnitLock::Hold::gFirst = nullptr;

UnitLock::Hold* UnitLock::acquire(const std::filesystem::path& folder) {
  FileDescriptor lock = openLockFile(folder);
  struct stat file {};
  if (::fstat(lock.get(), &file) != 0) throw FileError(folder / ".lock");
  if (!S_ISREG(file.st_mode)) throw FileError(folder / ".lock", FileFault::kNotRegular);
  const pid_t process = ::getpid();
  for (Hold* hold = Hold::gFirst; hold; hold = hold->next) {
    if (hold->device == file.st_dev && hold->inode == file.st_ino && hold->process == process) {
      ++hold->depth;
      return hold;
    }
  }
  waitForLock(lock.get(), file, folder);
  if (isFirst(folder)) {
    std::error_code error;
    const auto unit = std::filesystem::canonical(folder, error);
    for (const char* name : {".", "data", "root/System/Library/CoreServices"}) {
      removeTemporaryFiles(unit / name);
    }
  }
  Hold::gFirst = new Hold{file.st_dev, file.st_ino, process, std::move(lock), 1, Hold::gFirst};
  return Hold::gFirst;
}

UnitLock::UnitLock() {
  if (const auto unit = unitInUse()) _hold = acquire(unit->path());
}

UnitLock::UnitLock(const std::filesystem::path& folder) : _hold(acquire(folder)) {}

UnitLock::~UnitLock() {
  if (!_hold || --_hold->depth > 0) return;
  Hold** link = &Hold::gFirst;
  while (*link != _hold) link = &(*link)->next;
  *link = _hold->next;
  // A child that was forked meanwhile has the file open, too; closing alone would not unlock it.
  if (_hold->process == ::getpid()) ::flock(_hold->file.get(), LOCK_UN);
  delete _hold;
}

}  // namespace corvane::host
