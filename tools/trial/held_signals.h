#ifndef CORVANE_TOOLS_TRIAL_HELD_SIGNALS_H_
#define CORVANE_TOOLS_TRIAL_HELD_SIGNALS_H_

#include <signal.h>

namespace corvane::tools::trial {

/// Holds back, while it exists, the signals that end a program, in this thread and in those that it
/// starts, so that a trial ends only where it asks for them.
class HeldSignals {
 public:
  HeldSignals() {
    sigemptyset(&_held);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&_held, signal);
    pthread_sigmask(SIG_BLOCK, &_held, &_before);
  }
  ~HeldSignals() {
    takeArrivals();
    pthread_sigmask(SIG_SETMASK, &_before, nullptr);
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

  /// Returns whether one has arrived since the last call.
  bool takeArrivals() const {
    const timespec atOnce{};
    bool hasArrived = false;
    while (sigtimedwait(&_held, nullptr, &atOnce) > 0) hasArrived = true;
    return hasArrived;
  }

 private:
  sigset_t _held, _before;
};

}  // namespace corvane::tools::trial

#endif  // CORVANE_TOOLS_TRIAL_HELD_SIGNALS_H_
