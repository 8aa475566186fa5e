#include "every_core.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <thread>

#include "machine.h"

namespace load {
namespace {

/// Pins this thread to `core` where the system can.
void pinToCore([[maybe_unused]] int core) {
#ifdef __linux__
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(static_cast<size_t>(core), &cores);
  pthread_setaffinity_np(pthread_self(), sizeof cores, &cores);
#endif
}

void work(CoreResult& result, const std::function<Round(int)>& makeRound,
          const std::atomic<bool>& isOver) {
  pinToCore(result.core);
  try {
    const Round round = makeRound(result.core);
    do {
      result.fault = round();
      ++result.rounds;
    } while (result.fault.empty() && !isOver);
  } catch (const std::exception& error) {
    result.fault = error.what();
  }
}

}  // namespace

std::vector<CoreResult> onEveryCore(std::chrono::milliseconds duration,
                                    const std::function<Round(int core)>& makeRound,
                                    const std::function<bool(double fraction)>& keepsGoing) {
  using Clock = std::chrono::steady_clock;
  std::vector<CoreResult> results;
  for (const int core : usableCores()) results.push_back({core, 0, {}});
  std::atomic<bool> isOver = false;
  std::vector<std::thread> threads;
  for (CoreResult& result : results) {
    threads.emplace_back([&] { work(result, makeRound, isOver); });
  }
  const auto begin = Clock::now();
  double fraction = 0;
  while (fraction < 1 && keepsGoing(fraction)) {
    fraction = std::chrono::duration<double>(Clock::now() - begin) / duration;
  }
  isOver = true;
  for (std::thread& thread : threads) thread.join();
  return results;
}

}  // namespace load
