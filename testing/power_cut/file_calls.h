#ifndef CORVANE_TESTING_POWER_CUT_FILE_CALLS_H_
#define CORVANE_TESTING_POWER_CUT_FILE_CALLS_H_

#include <cstddef>
#include <optional>
#include <vector>

#include "testing/power_cut/disk.h"

namespace corvane::testing {

/// Controls the system calls with which a thread works on files. This library replaces the C
/// library's functions that make them, for the program that links it and the libraries that the
/// program uses. It syncs nothing, which saves time.
struct FileCalls {
  /// Receives the disk after each call that changes it. Must hold the disk before the first call.
  std::vector<Disk>* recording = nullptr;

  /// The number, from 1, of the one call that is broken, and how: it fails with EIO, or with ENOSPC
  /// if it can need space.
  size_t broken = 0;
  int way = 0;
  /// Counts the calls.
  size_t made = 0;

  /// How many bytes can be written until the disk is full. While it is set, each write takes at
  /// most three bytes.
  std::optional<size_t> room = {};
};

/// The control of this thread's calls.
extern thread_local FileCalls gFileCalls;

}  // namespace corvane::testing

#endif  // CORVANE_TESTING_POWER_CUT_FILE_CALLS_H_
