#ifndef CORVANE_STATION_INTERRUPTION_H_
#define CORVANE_STATION_INTERRUPTION_H_

#include <signal.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "platform/file_descriptor.h"

namespace corvane::station {

/// Catches SIGINT, SIGTERM and SIGHUP while it exists, except those that the process ignores. A
/// second signal of a kind does what it does by default. Only one may exist at a time in a process.
class Interruption {
 public:
  /// Begins to catch signals. When this object still exists three seconds after a signal, calls
  /// `abandon` with it on a thread of its own; `abandon` ends the process.
  explicit Interruption(std::function<void(int signal)> abandon);
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  /// Returns the first signal that came, or 0 when none did.
  int signal() const;
  /// Sleeps for `duration`, a year at most; returns false as soon as a signal has come.
  bool wait(std::chrono::milliseconds duration);

 private:
  static constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};

  void watch(const std::function<void(int)>& abandon);

  std::mutex _lock;
  std::condition_variable _changed;
  bool _hasCome = false;
  bool _isOver = false;
  Pipe _pipe;
  std::array<struct sigaction, kSignals.size()> _before = {};
  std::thread _watcher;
};

}  // namespace corvane::station

#endif  // CORVANE_STATION_INTERRUPTION_H_
