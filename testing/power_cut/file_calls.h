#ifndef CORVANE_TESTING_POWER_CUT_FILE_CALLS_H_
#define CORVANE_TESTING_POWER_CUT_FILE_CALLS_H_

#include <cstddef>
#include <optional>
#include <vector>

#include "testing/power_cut/disk.h"

namespace corvane::testing {

/// What the system calls are to do by which a thread works on files. A program that links this
/// library has the C library's functions replaced by which it, and the libraries that it uses, make
/// them. Nothing is really synced, which saves time.
struct FileCalls {
  /// Where the disk goes as it is after each call that changes it. It begins with the disk before.
  std::vector<Disk>* recording = nullptr;

  /// The number, from 1, of the one call that is broken, and how: it fails with EIO, or with ENOSPC
  /// if it can need space, or kills the process.
  size_t broken = 0;
  int way = 0;
  static constexpr int kKill = 0;
  /// How many calls were made so far.
  size_t made = 0;

  /// How many bytes can be written until the disk is full; each write takes at most three.
  std::optional<size_t> room = {};
};

/// This thread's.
extern thread_local FileCalls gFileCalls;

}  // namespace corvane::testing

#endif  // CORVANE_TESTING_POWER_CUT_FILE_CALLS_H_
