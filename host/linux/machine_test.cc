#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <thread>

#include "processes/processes.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

using Seconds = std::chrono::duration<double>;

Seconds timeOf(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// Uses that much processor time.
void burn(Seconds time) {
  while (timeOf(CLOCK_THREAD_CPUTIME_ID) < time) continue;
}

/// A process that does `work` and then sleeps.
class Child {
 public:
  explicit Child(const std::function<void()>& work = [] {}) : _pid(fork()) {
    if (_pid != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    work();
    for (;;) pause();
  }
  ~Child() {
    kill(_pid, SIGKILL);
    waitpid(_pid, nullptr, 0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return _pid; }

  /// The processor time that it has used, by its own clock.
  Seconds used() const {
    clockid_t clock = 0;
    clock_getcpuclockid(_pid, &clock);
    return timeOf(clock);
  }

 private:
  pid_t _pid;
};

double number(CFDictionaryRef record, CFStringRef key) {
  double value = -1;
  const CFTypeRef found = CFDictionaryGetValue(record, key);
  if (found) CFNumberGetValue(static_cast<CFNumberRef>(found), kCFNumberDoubleType, &value);
  return value;
}

std::string textOf(CFDictionaryRef record, CFStringRef key) {
  return corvane::testing::text(static_cast<CFStringRef>(CFDictionaryGetValue(record, key)));
}

CFArrayRef threadsOf(CFDictionaryRef process) {
  return static_cast<CFArrayRef>(CFDictionaryGetValue(process, CFSTR("threads")));
}

CFIndex threadCount(CFDictionaryRef process) { return CFArrayGetCount(threadsOf(process)); }

CFDictionaryRef threadOf(CFDictionaryRef process, CFIndex index) {
  return static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(threadsOf(process), index));
}

class MachineTest : public corvane::testing::UnitTest {
 protected:
  /// The record of `pid` in a new snapshot. Processes of this machine that exit meanwhile end a
  /// pass early: then there is another.
  CFDictionaryRef sample(pid_t pid) {
    const auto key = corvane::testing::cfString(std::to_string(pid));
    const void* record = nullptr;
    ::testing::internal::CaptureStdout();
    for (int attempt = 0; !record && attempt < 100; ++attempt) {
      record = CFDictionaryGetValue(_processes.refreshProcesses(), key.get());
    }
    _output = ::testing::internal::GetCapturedStdout();
    if (!record) throw std::runtime_error("no snapshot holds the process");
    return static_cast<CFDictionaryRef>(record);
  }

  /// A sample in which the process's first thread is in that state, or the last of many.
  CFDictionaryRef sampleInState(pid_t pid, const std::string& state) {
    CFDictionaryRef record = sample(pid);
    for (int i = 0; i < 100 && textOf(threadOf(record, 0), CFSTR("run_state")) != state; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      record = sample(pid);
    }
    return record;
  }

  Processes _processes;
  std::string _output;
};

TEST_F(MachineTest, ABusyProcessShowsWhatItUsedSinceTheLastSample) {
  const Child child([] { burn(Seconds(60)); });
  sample(child.pid());
  const Seconds usedBefore = child.used();
  const auto before = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(std::chrono::seconds(1));
  const CFDictionaryRef record = sample(child.pid());
  const Seconds elapsed = std::chrono::steady_clock::now() - before;
  const double share = 100 * ((child.used() - usedBefore) / elapsed);

  EXPECT_GT(share, 10) << "this machine is too busy to tell";
  EXPECT_NEAR(number(record, CFSTR("total_usage")), share, 6);
  EXPECT_EQ(textOf(threadOf(record, 0), CFSTR("run_state")), "running");
  EXPECT_EQ(textOf(record, CFSTR("name")),
            std::filesystem::read_symlink("/proc/self/exe").string());
}

TEST_F(MachineTest, ASleepingProcessUsesNothing) {
  const Child child;
  sampleInState(child.pid(), "waiting");
  const CFDictionaryRef later = sample(child.pid());
  EXPECT_EQ(number(later, CFSTR("total_usage")), 0);
  EXPECT_EQ(textOf(threadOf(later, 0), CFSTR("run_state")), "waiting");
  EXPECT_EQ(textOf(threadOf(later, 0), CFSTR("flags")), "swapped");
}

TEST_F(MachineTest, StoppedAndExitedProcessesShowAsSuch) {
  const Child stopped;
  kill(stopped.pid(), SIGSTOP);
  EXPECT_EQ(textOf(threadOf(sampleInState(stopped.pid(), "stopped"), 0), CFSTR("run_state")),
            "stopped");
  const Child zombie([] { _exit(0); });
  const CFDictionaryRef record = sampleInState(zombie.pid(), "halted");
  EXPECT_EQ(textOf(threadOf(record, 0), CFSTR("run_state")), "halted");
  EXPECT_EQ(textOf(record, CFSTR("name")), "[Unknown Name]");
}

TEST_F(MachineTest, AThreadMayHaveAnyName) {
  for (const char* name : {"a b", ") R 1 2 3", "((", "\n) Z (\n", ")"}) {
    const Child child([&] { prctl(PR_SET_NAME, name); });
    const CFDictionaryRef record = sampleInState(child.pid(), "waiting");
    EXPECT_EQ(textOf(threadOf(record, 0), CFSTR("run_state")), "waiting") << name;
    EXPECT_LT(number(threadOf(record, 0), CFSTR("user_time")), 5) << name;
  }
}

TEST_F(MachineTest, OnlyTheTimesOfLiveThreadsCount) {
  const Child child([] { std::thread(burn, Seconds(0.5)).join(); });
  CFDictionaryRef record = sample(child.pid());
  for (int i = 0; i < 500 && (child.used() < Seconds(0.5) || threadCount(record) > 1); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    record = sample(child.pid());
  }
  ASSERT_GE(child.used(), Seconds(0.5));
  ASSERT_EQ(threadCount(record), 1);
  EXPECT_LT(number(record, CFSTR("user_time")), 0.3);
}

TEST_F(MachineTest, KernelThreadsAreTheThreadsOfTaskZero) {
  const CFDictionaryRef kernel = sample(0);
  EXPECT_EQ(textOf(kernel, CFSTR("name")), "kernel_task");
  size_t kernelThreads = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    if (entry.path().filename().string().find_first_not_of("0123456789") != std::string::npos) {
      continue;
    }
    const std::string stat = corvane::testing::readText(entry.path() / "stat");
    const std::string fields = stat.substr(std::min(stat.size(), stat.rfind(')') + 1));
    char state = 0;
    long flags = 0;
    if (std::sscanf(fields.c_str(), " %c %*d %*d %*d %*d %*d %ld", &state, &flags) != 2) continue;
    const bool isKernelThread = (flags & 0x00200000) != 0;
    kernelThreads += isKernelThread;
    const auto key = corvane::testing::cfString(entry.path().filename().string());
    if (isKernelThread) {
      EXPECT_FALSE(CFDictionaryContainsKey(_processes.getCachedProcesses(), key.get()))
          << entry.path();
    }
  }
  EXPECT_NEAR(static_cast<double>(threadCount(kernel)), static_cast<double>(kernelThreads), 20);
}

TEST_F(MachineTest, RefreshesLeaveNoPortAndNoFileBehind) {
  const auto openFiles = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  sample(1);
  const size_t ports = VirtualDevice::openHandles();
  const auto files = openFiles();
  for (int i = 0; i < 30; ++i) sample(1);
  EXPECT_EQ(VirtualDevice::openHandles(), ports);
  EXPECT_EQ(openFiles(), files);
}

}  // namespace
}  // namespace corvane::host
