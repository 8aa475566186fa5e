#ifndef CORVANE_STATION_WATCH_H_
#define CORVANE_STATION_WATCH_H_

#include <signal.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace corvane::station {

/// Runs `work` on a thread of its own, and returns whether it was done in time. Work that was not
/// is not stopped: what it refers to must live until the process ends.
bool doneWithin(std::chrono::milliseconds time, const std::function<void()>& work);

/// Blocks the calling thread until the process ends.
[[noreturn]] void blockUntilProcessEnds();

/// Watches a run from a thread of its own: for SIGINT, SIGTERM and SIGHUP, except those that the
/// process ignores, and for the end of a time limit. A second signal of a kind does what it does by
/// default. It holds no file: a body may close all that it finds open.
class Watch {
 public:
  using Clock = std::chrono::steady_clock;

  /// What the watch calls, on its own thread.
  struct Calls {
    /// Called when the run has not ended three seconds after a signal.
    std::function<void()> afterSignal;
    /// Called when the time limit of the phase with this number is over.
    std::function<void(uint32_t phase)> afterTimeLimit;
  };

  /// Begins to watch.
  explicit Watch(Calls calls);
  ~Watch() { stop(); }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  /// Ends the thread, and handles signals as before the watch.
  void stop();

  /// Returns the first signal that came, or 0 when none did.
  int signal() const;
  /// Sleeps for `duration`, a year at most; returns false as soon as a signal has come.
  bool wait(std::chrono::milliseconds duration);

  /// Limits the time of a phase. While `isPatient` a signal has no consequences; the three seconds
  /// begin again afterwards.
  void beginLimit(uint32_t phase, std::chrono::milliseconds time, bool isPatient);
  void endLimit();

 private:
  static constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};

  void watch();
  std::function<void()> dueCall();

  const Calls _calls;
  std::mutex _lock;
  std::condition_variable _changed;
  bool _isOver = false;
  std::optional<Clock::time_point> _signalTime;
  uint32_t _phase = 0;
  std::optional<Clock::time_point> _limit;
  bool _isPatient = false;
  std::array<struct sigaction, kSignals.size()> _before = {};
  std::thread _thread;
};

}  // namespace corvane::station

#endif  // CORVANE_STATION_WATCH_H_
