#include "host/unit_lock.h"

#include <IOKit/IOKitLib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "bootargs/boot_args.h"
#include "dataarea/bits.h"
#include "dataarea/data_area.h"
#include "platform/io_object.h"
#include "platform/registry.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

const CFStringRef kSet = CFSTR("VelmoDiagnosticData");

using corvane::testing::cfString;

class UnitLockTest : public corvane::testing::UnitTest {};

/// A child process that has taken the unit's lock and is stopped while it holds it.
class StoppedHolder {
 public:
  explicit StoppedHolder(const std::filesystem::path& folder) : _process(::fork()) {
    if (_process == 0) {
      const UnitLock lock(folder);
      ::raise(SIGSTOP);
      ::_exit(0);
    }
    int status = 0;
    ::waitpid(_process, &status, WUNTRACED);
  }
  ~StoppedHolder() {
    ::kill(_process, SIGCONT);
    ::waitpid(_process, nullptr, 0);
  }

  pid_t process() const { return _process; }

 private:
  const pid_t _process;
};

TEST_F(UnitLockTest, AWriterThatAStoppedHolderKeepsWaitingNamesItAndFails) {
  ::setenv("CORVANE_LOCK_SECONDS", "1", 1);
  const std::vector<uint8_t> before = _unit.dataSet("VelmoDiagnosticData");
  ASSERT_EQ(getMasterPort(), 0u);
  ASSERT_EQ(getDataArea(), 0u);
  {
    const StoppedHolder holder(_unit.folder());
    ::testing::internal::CaptureStderr();
    const uint8_t byte = 1;
    EXPECT_EQ(writeBits(18, 1, &byte, 1, kSet), static_cast<uint32_t>(kIOReturnCannotLock));
    const IOObject nvram = firstService("IODTNVRAM");
    EXPECT_EQ(IORegistryEntrySetCFProperty(nvram.get(), CFSTR("boot-args"), CFSTR("x")),
              kIOReturnCannotLock);
    EXPECT_THROW(_unit.setFacts(UnitFacts()), UnitBusyError);
    EXPECT_EQ(_unit.dataSet("VelmoDiagnosticData"), before) << "readers need no lock";
    const std::string unit = "virtual device: " + _unit.folder().string();
    const std::string holderName = "process " + std::to_string(holder.process());
    EXPECT_TRUE(::testing::internal::GetCapturedStderr().starts_with(
        unit + ": waiting for " + holderName + ", which holds the unit's lock\n" + unit + ": " +
        holderName + " has held the unit's lock for 1 s\n"));
  }
  ::unsetenv("CORVANE_LOCK_SECONDS");
  setBootArgs(CFSTR("later"));
  EXPECT_EQ(_unit.facts().bootArgs, "later");
}

TEST_F(UnitLockTest, WritersOfManyProcessesAndThreadsLoseNothing) {
  constexpr int kProcesses = 3, kThreads = 2, kRounds = 8, kWriters = kProcesses * kThreads;
  ASSERT_EQ(getMasterPort(), 0u);
  ASSERT_EQ(getDataArea(), 0u);
  setBootArgs(CFSTR(""));
  const auto nameOf = [](int writer) { return cfString("writer" + std::to_string(writer)); };
  // Two bytes and a variable of the writer's own, and a text that all share.
  const auto write = [&](int writer) {
    for (uint8_t round = 0; round < kRounds; ++round) {
      const uint8_t bytes[] = {round, round};
      const IOObject nvram = firstService("IODTNVRAM");
      if (writeBits(static_cast<uint32_t>(writer * 2), 2, bytes, 1, kSet) != 0 ||
          IORegistryEntrySetCFProperty(nvram.get(), nameOf(writer).get(), CFSTR("x")) != 0) {
        ::_exit(1);
      }
      const UnitLock lock;
      const UnitLock again(_unit.folder());
      UnitFacts facts = _unit.facts();
      *facts.bootArgs += "x";
      _unit.setFacts(facts);
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
    const std::vector<uint8_t> now = _unit.dataSet("VelmoDiagnosticData");
    ASSERT_EQ(now.size(), 1024u);
    for (size_t i = 0; i < kWriters; ++i) ASSERT_EQ(now[i * 2], now[i * 2 + 1]) << "half a set";
    int status = 0;
    if (::waitpid(-1, &status, WNOHANG) <= 0) continue;
    EXPECT_EQ(status, 0);
    --running;
  }
  EXPECT_EQ(_unit.facts().bootArgs, std::string(kWriters * kRounds, 'x'));
  const std::vector<uint8_t> now = _unit.dataSet("VelmoDiagnosticData");
  EXPECT_EQ(std::count(now.begin(), now.begin() + kWriters * 2, kRounds - 1), kWriters * 2);
  for (int writer = 0; writer < kWriters; ++writer) {
    EXPECT_TRUE(copyProperty(firstService("IODTNVRAM"), nameOf(writer).get())) << writer;
  }
}

TEST_F(UnitLockTest, AChildProcessDoesNotInheritTheLock) {
  ::setenv("CORVANE_LOCK_SECONDS", "0", 1);
  const auto isLocked = [this] {
    try {
      const UnitLock lock(_unit.folder());
      return false;
    } catch (const UnitBusyError&) {
      return true;
    }
  };
  {
    const UnitLock lock(_unit.folder());
    const pid_t child = ::fork();
    if (child == 0) ::_exit(isLocked() ? 0 : 1);
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(isLocked()) << "the thread that holds it gets it again";
  }
  bool isLockedElsewhere = true;
  std::thread([&] { isLockedElsewhere = isLocked(); }).join();
  EXPECT_FALSE(isLockedElsewhere);
  ::unsetenv("CORVANE_LOCK_SECONDS");
}

}  // namespace
}  // namespace corvane::host
