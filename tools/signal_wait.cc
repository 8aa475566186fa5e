#include "tools/signal_wait.h"

#include <sys/select.h>

#include <algorithm>
#include <array>

namespace corvane::tools {
namespace {

std::array<volatile sig_atomic_t, NSIG> gArrived;

void note(int signal) { gArrived[static_cast<size_t>(signal)] = 1; }

}  // namespace

SignalWait::SignalWait(std::vector<int> signals) : _signals(std::move(signals)) {
  sigset_t held;
  sigemptyset(&held);
  for (const int signal : _signals) sigaddset(&held, signal);
  sigprocmask(SIG_BLOCK, &held, &_maskBefore);

  struct sigaction action {};
  action.sa_handler = note;
  for (const int signal : _signals) {
    gArrived[static_cast<size_t>(signal)] = 0;
    sigaction(signal, &action, &_actionsBefore.emplace_back());
  }
}

SignalWait::~SignalWait() {
  for (size_t i = 0; i < _signals.size(); ++i) {
    sigaction(_signals[i], &_actionsBefore[i], nullptr);
  }
  sigprocmask(SIG_SETMASK, &_maskBefore, nullptr);
}

void SignalWait::wait(std::chrono::steady_clock::time_point end, int input) {
  using std::chrono::nanoseconds;
  const auto left = std::max(nanoseconds(0), nanoseconds(end - std::chrono::steady_clock::now()));
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
  const timespec time = {static_cast<time_t>(seconds.count()),
                         static_cast<long>((left - seconds).count())};
  fd_set inputs;
  FD_ZERO(&inputs);
  if (input >= 0) FD_SET(input, &inputs);
  pselect(input + 1, &inputs, nullptr, nullptr, &time, &_maskBefore);
}

bool SignalWait::takeArrival(int signal) {
  volatile sig_atomic_t& mark = gArrived[static_cast<size_t>(signal)];
  const bool isMarked = mark != 0;
  mark = 0;
  return isMarked;
}

}  // namespace corvane::tools
