#ifndef CORVANE_HOST_LINUX_USAGE_HISTORY_H_
#define CORVANE_HOST_LINUX_USAGE_HISTORY_H_

#include <mach/mach.h>

#include <cstdint>

#include "host/linux/thread_stat.h"

namespace corvane::host {

/// The share of a processor that a thread used recently. Linux counts processor time in ticks of
/// usually 10 ms, so a share needs some history to mean anything: it is measured since a reading at
/// least a quarter of a second old, however often the thread is read, and over the thread's life
/// while there is no such reading.
class UsageHistory {
 public:
  /// Adds a reading, taken `now` nanoseconds after boot, and returns the usage: TH_USAGE_SCALE is
  /// one processor. A thread with another start time begins a new history.
  integer_t add(const ThreadStat& stat, int64_t now);

 private:
  struct Reading {
    int64_t at = 0;
    uint64_t ticks = 0;
  };

  uint64_t _startTicks = UINT64_MAX;
  /// The later reading becomes the earlier one once it is old enough to measure from.
  Reading _earlier;
  Reading _later;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_LINUX_USAGE_HISTORY_H_
