#include "station/watch.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <system_error>
#include <utility>

namespace corvane::station {
namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds kGrace{3};
constexpr std::chrono::hours kMaxWait{24 * 365};
/// How often the thread looks for a signal, which can set no more than a variable.
constexpr milliseconds kInterval{20};

std::atomic<int> gSignal = 0;
std::atomic<pid_t> gProcess = 0;

extern "C" void noteSignal(int signal) {
  if (::getpid() != gProcess) {
    ::raise(signal);  // A child of the station is not the run: SA_RESETHAND restored the default.
    return;
  }
  int none = 0;
  gSignal.compare_exchange_strong(none, signal);
}

}  // namespace

bool doneWithin(milliseconds time, const std::function<void()>& work) {
  struct State {
    std::mutex lock;
    std::condition_variable changed;
    bool isDone = false;
  };
  const auto state = std::make_shared<State>();
  try {
    std::thread([state, work] {
      work();
      const std::lock_guard lock(state->lock);
      state->isDone = true;
      state->changed.notify_all();
    }).detach();
  } catch (const std::system_error&) {
    return false;  // The process has as many threads as it may have.
  }
  std::unique_lock lock(state->lock);
  return state->changed.wait_for(lock, time, [&] { return state->isDone; });
}

void blockUntilProcessEnds() {
  for (;;) ::pause();
}

Watch::Watch(Calls calls) : _calls(std::move(calls)) {
  gSignal = 0;
  gProcess = ::getpid();
  _thread = std::thread([this] { watch(); });
  for (size_t i = 0; i < kSignals.size(); ++i) {
    ::sigaction(kSignals[i], nullptr, &_before[i]);
    if (_before[i].sa_handler == SIG_IGN) continue;
    struct sigaction action = {};
    action.sa_handler = noteSignal;
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    ::sigaction(kSignals[i], &action, nullptr);
  }
}

void Watch::stop() {
  if (!_thread.joinable()) return;
  for (size_t i = 0; i < kSignals.size(); ++i) ::sigaction(kSignals[i], &_before[i], nullptr);
  {
    const std::lock_guard lock(_lock);
    _isOver = true;
  }
  _changed.notify_all();
  _thread.join();
}

int Watch::signal() const { return gSignal; }

bool Watch::wait(milliseconds duration) {
  // A time point cannot hold every duration.
  const auto bounded = std::clamp<milliseconds>(duration, milliseconds(0), kMaxWait);
  std::unique_lock lock(_lock);
  _changed.wait_for(lock, bounded, [&] { return signal() != 0 && !_isPatient; });
  return signal() == 0 || _isPatient;
}

void Watch::beginLimit(uint32_t phase, milliseconds time, bool isPatient) {
  const std::lock_guard lock(_lock);
  _phase = phase;
  _limit.reset();
  if (time > milliseconds(0)) {
    _limit = Clock::now() + std::min<milliseconds>(time, kMaxWait);
  }
  _isPatient = isPatient;
}

void Watch::endLimit() {
  const std::lock_guard lock(_lock);
  _limit.reset();
  if (std::exchange(_isPatient, false) && _signalTime) _signalTime = Clock::now();
}

void Watch::watch() {
  std::unique_lock lock(_lock);
  while (!_isOver) {
    _changed.wait_for(lock, kInterval);
    const std::function<void()> call = dueCall();
    if (!call) continue;
    lock.unlock();
    call();
    lock.lock();
  }
}

std::function<void()> Watch::dueCall() {
  const auto now = Clock::now();
  if (signal() != 0 && !_signalTime) {
    _signalTime = now;
    _changed.notify_all();
  }
  if (_limit && now >= *_limit) {
    _limit.reset();
    return [this, phase = _phase] { _calls.afterTimeLimit(phase); };
  }
  if (_signalTime && !_isPatient && now >= *_signalTime + kGrace) {
    _signalTime = Clock::time_point::max() - kGrace;
    return _calls.afterSignal;
  }
  return {};
}

}  // namespace corvane::station
