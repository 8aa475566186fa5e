#include "station/interruption.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <system_error>

namespace corvane::station {
namespace {

constexpr std::chrono::seconds kGrace{3};
constexpr std::chrono::hours kLongestWait{24 * 365};

std::atomic<int> gSignal = 0;
std::atomic<int> gPipe = -1;

extern "C" void noteSignal(int signal) {
  const int savedErrno = errno;
  int none = 0;
  gSignal.compare_exchange_strong(none, signal);
  const char wake = 's';
  [[maybe_unused]] const ssize_t written = ::write(gPipe, &wake, 1);
  errno = savedErrno;
}

}  // namespace

Interruption::Interruption(std::function<void(int)> abandon) {
  if (!_pipe.writeEnd) throw std::system_error(errno, std::generic_category(), "pipe");
  gSignal = 0;
  gPipe = _pipe.writeEnd.get();
  _watcher = std::thread([this, abandon = std::move(abandon)] { watch(abandon); });
  for (size_t i = 0; i < kSignals.size(); ++i) {
    ::sigaction(kSignals[i], nullptr, &_before[i]);
    if (_before[i].sa_handler == SIG_IGN) continue;
    struct sigaction action = {};
    action.sa_handler = noteSignal;
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    ::sigaction(kSignals[i], &action, nullptr);
  }
}

Interruption::~Interruption() {
  for (size_t i = 0; i < kSignals.size(); ++i) ::sigaction(kSignals[i], &_before[i], nullptr);
  {
    const std::lock_guard lock(_lock);
    _isOver = true;
  }
  _changed.notify_all();
  const char over = 'o';
  [[maybe_unused]] const ssize_t written = ::write(_pipe.writeEnd.get(), &over, 1);
  _watcher.join();
  gPipe = -1;
}

int Interruption::signal() const { return gSignal; }

bool Interruption::wait(std::chrono::milliseconds duration) {
  using std::chrono::milliseconds;
  // A time point cannot hold every duration.
  const auto bounded = std::clamp<milliseconds>(duration, milliseconds(0), kLongestWait);
  std::unique_lock lock(_lock);
  _changed.wait_for(lock, bounded, [&] { return signal() != 0 && _hasCome; });
  return signal() == 0;
}

void Interruption::watch(const std::function<void(int)>& abandon) {
  char event = 0;
  while (::read(_pipe.readEnd.get(), &event, 1) < 0 && errno == EINTR) continue;
  std::unique_lock lock(_lock);
  if (_isOver) return;
  _hasCome = true;
  _changed.notify_all();
  if (_changed.wait_for(lock, kGrace, [&] { return _isOver; })) return;
  lock.unlock();
  abandon(signal());
}

}  // namespace corvane::station
