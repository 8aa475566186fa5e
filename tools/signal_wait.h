#ifndef CORVANE_TOOLS_SIGNAL_WAIT_H_
#define CORVANE_TOOLS_SIGNAL_WAIT_H_

#include <signal.h>

#include <chrono>
#include <vector>

namespace corvane::tools {

/// Holds signals back while it exists, except during `wait`, so that they arrive only where the
/// program can end or change what it does. Only one may exist at a time.
class SignalWait {
 public:
  explicit SignalWait(std::vector<int> signals);
  ~SignalWait();
  SignalWait(const SignalWait&) = delete;
  SignalWait& operator=(const SignalWait&) = delete;

  /// Waits until `end`, for one of the signals, or for something to read from `input` (when it is
  /// not negative), whichever comes first.
  void wait(std::chrono::steady_clock::time_point end, int input = -1);

  /// Returns whether the signal has arrived since the last call for it.
  bool takeArrival(int signal);

 private:
  std::vector<int> _signals;
  std::vector<struct sigaction> _actionsBefore;
  sigset_t _maskBefore;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_SIGNAL_WAIT_H_
