#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "log/log.h"
#include "testing/unit_test.h"

namespace corvane::testing {
namespace {

/// Returns whether the child exits with status 0 within ten seconds. Kills one that does not.
bool comesBack(pid_t child) {
  for (int round = 0; round < 1000; ++round) {
    int status = 0;
    if (::waitpid(child, &status, WNOHANG) == child) return status == 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  return false;
}

using ForkTest = UnitTest;

TEST_F(ForkTest, AChildThatLogsComesBackAlthoughThreadsOfItsParentLog) {
  std::atomic<bool> isDone = false;
  const auto logOn = [&] {
    while (!isDone) Log::write(CFSTR("parent"), CFSTR("Fork"), 0);
  };
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(logOn);
  for (int i = 0; i < 24 && !HasFailure(); ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      Log::write(CFSTR("child"), CFSTR("Fork"), 0);
      ::_exit(0);
    }
    EXPECT_TRUE(comesBack(child)) << i;
  }
  isDone = true;
}

}  // namespace
}  // namespace corvane::testing
