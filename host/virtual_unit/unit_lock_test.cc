#include "host/include/unit_lock.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <future>
#include <thread>

#include "bootargs/boot_args.h"
#include "platform/registry.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

using corvane::testing::cfString;
using corvane::testing::changeFacts;
using corvane::testing::reasonAgainst;
using corvane::testing::requestWrite;

class UnitLockTest : public corvane::testing::UnitTest {};

TEST_F(UnitLockTest, AWriterThatAStoppedHolderKeepsWaitingNamesItAndFails) {
  ::setenv("CORVANE_LOCK_SECONDS", "1", 1);
  const std::vector<uint8_t> before = bytes();
  const pid_t holder = ::fork();
  if (holder == 0) {
    const UnitLock lock(_unit.folder());
    ::raise(SIGSTOP);
    ::_exit(0);
  }
  ::waitpid(holder, nullptr, WUNTRACED);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(requestWrite("VelmoDiagnosticData", 18, {1}, true), kIOReturnCannotLock);
  const IOObject nvram = firstService("IODTNVRAM");
  EXPECT_EQ(IORegistryEntrySetCFProperty(nvram.get(), CFSTR("boot-args"), CFSTR("x")),
            kIOReturnCannotLock);
  EXPECT_THROW(_unit.setFacts(UnitFacts()), UnitBusyError);
  EXPECT_EQ(bytes(), before) << "readers need no lock";
  const std::string unit = "virtual device: " + _unit.folder().string();
  const std::string process = "process " + std::to_string(holder);
  EXPECT_TRUE(::testing::internal::GetCapturedStderr().starts_with(
      unit + ": waiting for " + process + ", which holds the unit's lock\n" + unit + ": " +
      process + " has held the unit's lock for 1 s\n"));
  ::kill(holder, SIGCONT);
  ::waitpid(holder, nullptr, 0);
  ::unsetenv("CORVANE_LOCK_SECONDS");
  setBootArgs(CFSTR("later"));
  EXPECT_EQ(_unit.facts().bootArgs, "later");
}

TEST_F(UnitLockTest, WritersOfManyProcessesAndThreadsLoseNothing) {
  constexpr int kProcesses = 3, kThreads = 2, kRounds = 8, kWriters = kProcesses * kThreads;
  setBootArgs(CFSTR(""));
  const auto nameOf = [](int writer) { return cfString("writer" + std::to_string(writer)); };
  // Each writer has two bytes and a variable of its own, and all share one text.
  const auto write = [&](int writer) {
    for (uint8_t round = 0; round < kRounds; ++round) {
      const IOObject nvram = firstService("IODTNVRAM");
      if (requestWrite("VelmoDiagnosticData", writer * 2, {round, round}, true) != 0 ||
          IORegistryEntrySetCFProperty(nvram.get(), nameOf(writer).get(), CFSTR("x")) != 0) {
        ::_exit(1);
      }
      const UnitLock lock;
      const UnitLock again(_unit.folder());
      changeFacts(_unit, [](UnitFacts& facts) { *facts.bootArgs += "x"; });
    }
  };
  for (int process = 0; process < kProcesses; ++process) {
    if (::fork() != 0) continue;
    std::thread other(write, process * kThreads);
    write(process * kThreads + 1);
    other.join();
    ::_exit(0);
  }
  for (int running = kProcesses; running > 0;) {
    const std::vector<uint8_t> now = bytes();
    for (size_t i = 0; i < kWriters; ++i)
      ASSERT_EQ(now.at(i * 2), now.at(i * 2 + 1)) << "half a set";
    int status = 0;
    if (::waitpid(-1, &status, WNOHANG) <= 0) continue;
    EXPECT_EQ(status, 0);
    --running;
  }
  EXPECT_EQ(_unit.facts().bootArgs, std::string(kWriters * kRounds, 'x'));
  const std::vector<uint8_t> now = bytes();
  EXPECT_EQ(std::count(now.begin(), now.begin() + kWriters * 2, kRounds - 1), kWriters * 2);
  for (int writer = 0; writer < kWriters; ++writer) {
    EXPECT_TRUE(copyProperty(firstService("IODTNVRAM"), nameOf(writer).get())) << writer;
  }
}

TEST_F(UnitLockTest, AChildProcessDoesNotInheritTheLock) {
  ::setenv("CORVANE_LOCK_SECONDS", "0", 1);
  const auto isLocked = [this] {
    return !reasonAgainst([this] { const UnitLock lock(_unit.folder()); }).empty();
  };
  {
    const UnitLock lock(_unit.folder());
    EXPECT_EXIT(::_exit(isLocked() ? 0 : 1), ::testing::ExitedWithCode(0), "");
    EXPECT_FALSE(isLocked()) << "the thread that holds it gets it again";
  }
  EXPECT_FALSE(std::async(std::launch::async, isLocked).get()) << "by another thread";
  ::unsetenv("CORVANE_LOCK_SECONDS");
}

}  // namespace
}  // namespace corvane::host
