#include "processes/processes.h"

#include <functional>
#include <set>

#include "host/mach/testing/scripted_kernel.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using Kernel = corvane::testing::ScriptedKernel;
using Keys = std::set<std::string>;

/// A thread with these times, usage, state and flags.
Kernel::Thread thread(time_value_t user, time_value_t system, integer_t usage, integer_t state,
                      integer_t flags) {
  return {{user, system, usage, 1, state, flags, 0, 0}};
}

/// Runs `work` and returns what it printed.
std::string printed(const std::function<void()>& work) {
  ::testing::internal::CaptureStdout();
  work();
  std::fflush(stdout);
  return ::testing::internal::GetCapturedStdout();
}

Keys keysOf(CFDictionaryRef snapshot) {
  std::vector<const void*> keys(static_cast<size_t>(CFDictionaryGetCount(snapshot)));
  CFDictionaryGetKeysAndValues(snapshot, keys.data(), nullptr);
  Keys texts;
  for (const void* key : keys) texts.insert(corvane::testing::text(static_cast<CFStringRef>(key)));
  return texts;
}

/// The entries in the order in which they were set.
std::string shown(CFTypeRef object) {
  const CFRef<CFStringRef> text(
      CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("%@"), object));
  return corvane::testing::text(text.get());
}

std::string recordOf(CFDictionaryRef snapshot, const std::string& pid) {
  return shown(CFDictionaryGetValue(snapshot, corvane::testing::cfString(pid).get()));
}

class ProcessesTest : public corvane::testing::UnitTest {
 protected:
  /// A kernel task, the caller, a process of two threads and one of one.
  ProcessesTest() {
    _kernel.tasks().insert(_kernel.tasks().begin(), {.pid = 0, .threads = {_thread}});
    _kernel.tasks().push_back({.pid = 10,
                               .threads = {_thread, _thread},
                               .path = "/usr/bin/ten",
                               .times = {{1, 250'000}, {0, 90'000}}});
    _kernel.tasks().push_back({.pid = 20, .threads = {_thread}, .path = "/usr/bin/twenty"});
  }

  /// The name that the `number`-th port from now on will have.
  static int portAfterNow(int number) {
    const mach_port_t port = mach_host_self();
    mach_port_deallocate(mach_task_self(), port);
    return static_cast<int>(port) + number * 0x100;
  }

  const Kernel::Thread _thread = thread({3, 90'000}, {3, 100'000}, 125, 1, 2);
  const std::string _threadText =
      "{cpu_usage = 12.5; run_state = running; flags = idle; user_time = 3.9; system_time = 3.1; }";
  Kernel _kernel;
};

TEST_F(ProcessesTest, ASnapshotHoldsEveryTaskButTheCallers) {
  const std::string output = printed([&] {
    Processes processes;
    const CFDictionaryRef snapshot = processes.getCachedProcesses();
    EXPECT_EQ(keysOf(snapshot), (Keys{"0", "10", "20"}));
    EXPECT_EQ(recordOf(snapshot, "0"),
              "{threads = (" + _threadText +
                  "); total_usage = 12.5; name = kernel_task; user_time = 0; system_time = 0; }");
    EXPECT_EQ(recordOf(snapshot, "10"),
              "{threads = (" + _threadText + ", " + _threadText +
                  "); total_usage = 25; name = /usr/bin/ten; user_time = 1.25; system_time = 0.9; "
                  "}");
  });
  EXPECT_EQ(output, "");
}

TEST_F(ProcessesTest, EachFailedCallHasItsMessageAndItsEndOfThePass) {
  // Ports in the order in which they are handed out: host 1, set 2, its control port 3, tasks 4 to
  // 7, then threads and name port of each task but the caller's: 8 and 9, 10 to 12, 13 and 14.
  constexpr int kOwnTask = 0, kNoPort = -1;
  struct Case {
    const char* rule;
    int port;
    const char* message;
    Keys keys;
    size_t leftPorts = 0;
  };
  const Keys all = {"0", "10", "20"};
  const Case cases[] = {
      {"pid_for_task", kOwnTask, "[ERROR] pid_for_task(%d): (os/kern) failure\n", {}},
      {"mach_host_self",
       kNoPort,
       "[ERROR] host_processor_sets(): (ipc/send) invalid destination port\n",
       {}},
      {"host_processor_sets=4",
       kNoPort,
       "[ERROR] host_processor_sets(): (os/kern) invalid argument\n",
       {}},
      {"host_processor_sets=0", kNoPort, "", {}},
      {"host_processor_set_priv",
       kNoPort,
       "[ERROR] host_processor_set_priv(): (os/kern) failure\n",
       {}},
      {"processor_set_tasks", 3, "[ERROR] processor_set_tasks(%d): (os/kern) failure\n", {}},
      {"pid_for_task@4", 6, "[ERROR] pid_for_task(%d): (os/kern) failure\n", {"0"}},
      {"task_threads@2",
       6,
       "[ERROR] task_threads(%d): (ipc/send) invalid destination port\n",
       {"0"}},
      {"mach_port_deallocate@3",
       10,
       "[ERROR] mach_port_deallocate(%d): (os/kern) invalid name\n",
       {"0"},
       2},
      {"mach_port_deallocate=99@4",
       11,
       "[ERROR] mach_port_deallocate(%d): (os/?) unknown error code\n",
       {"0"},
       1},
      {"thread_info@3", 11, "thread_info(%d) failed: (ipc/send) invalid destination port\n", all},
      {"task_name_for_pid@2", kNoPort, "[ERROR] task_name_for_pid(): (os/kern) failure\n", all},
      {"task_info", kNoPort, "", all},
      {"sysctl", kNoPort, "", all},
      {"sysctl@2", kNoPort, "", all},
      {"malloc", kNoPort, "", all},
      {"vm_deallocate=0@99", kNoPort, "", all},
  };
  Processes processes;
  for (const Case& c : cases) {
    const size_t before = host::VirtualDevice::openHandles();
    const int port = c.port == kOwnTask ? static_cast<int>(mach_task_self()) : portAfterNow(c.port);
    host::VirtualDevice::setFaults(c.rule);
    const std::string output = printed([&] { processes.refreshProcesses(); });
    host::VirtualDevice::setFaults("");
    char expected[128];
    std::snprintf(expected, sizeof expected, c.message, port);
    EXPECT_EQ(output, expected) << c.rule;
    EXPECT_EQ(keysOf(processes.getCachedProcesses()), c.keys) << c.rule;
    EXPECT_EQ(host::VirtualDevice::openHandles(), before + c.leftPorts) << c.rule;
  }
}

TEST_F(ProcessesTest, WhatCouldNotBeQueriedIsMissingFromItsRecord) {
  struct Case {
    const char* rule;
    std::string record;
  };
  const std::string threads = "{threads = (" + _threadText + ", " + _threadText + "); ";
  const std::string times = "user_time = 1.25; system_time = 0.9; }";
  const std::string bare = threads + "total_usage = 25; name = /usr/bin/ten; }";
  const std::string unnamed = threads + "total_usage = 25; name = [Unknown Name]; " + times;
  const Case cases[] = {
      {"thread_info@2",
       "{threads = ({}, " + _threadText + "); total_usage = 12.5; name = /usr/bin/ten; " + times},
      {"task_name_for_pid", bare},
      {"task_info", bare},
      {"sysctl", unnamed},
      {"sysctl@4", unnamed},
      {"malloc", unnamed},
  };
  for (const Case& c : cases) {
    host::VirtualDevice::setFaults(c.rule);
    std::string record;
    printed([&] { record = recordOf(Processes().getCachedProcesses(), "10"); });
    EXPECT_EQ(record, c.record) << c.rule;
    host::VirtualDevice::setFaults("");
  }
  host::VirtualDevice::setFaults("sysctl");
  EXPECT_NE(recordOf(Processes().getCachedProcesses(), "0").find("name = kernel_task;"),
            std::string::npos);
}

TEST_F(ProcessesTest, ThreadsShowTheirStateFlagsAndTimes) {
  struct Case {
    integer_t state, flags;
    time_value_t time;
    const char* text;
  };
  const Case cases[] = {
      {1, 2, {12, 0}, "run_state = running; flags = idle; user_time = 12;"},
      {2, 0, {12, 50'000}, "run_state = stopped; flags = swapped; user_time = 12.5;"},
      {3, 1, {12, 90'000}, "run_state = waiting; flags = swapped; user_time = 12.9;"},
      {4, 3, {12, 100'000}, "run_state = uninterruptible; flags = swapped; user_time = 12.1;"},
      {5, 6, {12, 990'000}, "run_state = halted; flags = swapped; user_time = 12.99;"},
      {6, 2, {12, 9'999}, "run_state = unknown_state; flags = idle; user_time = 12;"},
      {0, -2, {-1, -50'000}, "run_state = unknown_state; flags = swapped; user_time = -1;"},
  };
  Kernel::Task& task = _kernel.tasks().back();
  for (const Case& c : cases) {
    task.threads = {thread(c.time, c.time, 0, c.state, c.flags)};
    Processes processes;
    const std::string record = recordOf(processes.getCachedProcesses(), "20");
    EXPECT_NE(record.find(c.text), std::string::npos) << record;
  }
}

TEST_F(ProcessesTest, AProcessWithoutThreadsUsesNothing) {
  _kernel.tasks().back().threads.clear();
  EXPECT_EQ(recordOf(Processes().getCachedProcesses(), "20"),
            "{threads = (); total_usage = 0; name = /usr/bin/twenty; user_time = 0; system_time = "
            "0; }");
}

TEST_F(ProcessesTest, ATaskThatExitsMeanwhileEndsThePassBeforeItself) {
  using Task = Kernel::Task;
  Task& task = _kernel.tasks().back();
  Processes processes;
  for (const auto& [exits, call] :
       {std::pair(Task::kBeforeItIsAskedForItsId, "pid_for_task(%d): (os/kern) failure"),
        std::pair(Task::kBeforeItsThreadsAreListed,
                  "task_threads(%d): (ipc/send) invalid destination port")}) {
    task.exits = exits;
    char expected[128];
    std::snprintf(expected, sizeof expected, (std::string("[ERROR] ") + call + "\n").c_str(),
                  portAfterNow(7));
    EXPECT_EQ(printed([&] { processes.refreshProcesses(); }), expected);
    EXPECT_EQ(keysOf(processes.getCachedProcesses()), (Keys{"0", "10"}));
  }
}

TEST_F(ProcessesTest, AThreadThatHasGoneLeavesAnEmptyRecord) {
  _kernel.tasks().back().threads = {_thread, {{}, MACH_SEND_INVALID_DEST}};
  std::string record;
  printed([&] { record = recordOf(Processes().getCachedProcesses(), "20"); });
  EXPECT_EQ(record.substr(0, record.find("; name")),
            "{threads = (" + _threadText + ", {}); total_usage = 12.5");
}

TEST_F(ProcessesTest, TheNameIsThePathUnlessTheArgumentCountGetsInItsWay) {
  struct Case {
    std::string path;
    int arguments;
    std::string name;
  };
  const Case cases[] = {
      {"/usr/bin/a", 0, "/usr/bin/a"},
      {"/usr/bin/a", 255, "/usr/bin/a"},
      {"/usr/bin/a", 256, "\x01"},
      {"/usr/bin/a", 0x4241, "B"},
      {"/b\xC3\xA9/c d", 1, "/b\xC3\xA9/c d"},
      {"", 1, "[Unknown Name]"},
      {std::string(3000, 'x'), 1, std::string(3000, 'x')},
  };
  for (const Case& c : cases) {
    _kernel.tasks().back().path = c.path;
    _kernel.tasks().back().arguments = c.arguments;
    Processes processes;
    const CFDictionaryRef record = static_cast<CFDictionaryRef>(
        CFDictionaryGetValue(processes.getCachedProcesses(), CFSTR("20")));
    EXPECT_EQ(corvane::testing::text(
                  static_cast<CFStringRef>(CFDictionaryGetValue(record, CFSTR("name")))),
              c.name);
  }
}

TEST_F(ProcessesTest, OnlyARefreshTakesANewSnapshot) {
  Processes processes;
  const CFDictionaryRef first = processes.getCachedProcesses();
  _kernel.tasks().pop_back();
  EXPECT_EQ(processes.getCachedProcesses(), first);
  EXPECT_EQ(keysOf(first), (Keys{"0", "10", "20"}));
  EXPECT_EQ(keysOf(processes.refreshProcesses()), (Keys{"0", "10"}));
}

TEST_F(ProcessesTest, AThousandRefreshesLeaveNoPortBehind) {
  const size_t before = host::VirtualDevice::openHandles();
  Processes processes;
  for (int i = 0; i < 1000; ++i) processes.refreshProcesses();
  EXPECT_EQ(host::VirtualDevice::openHandles(), before);
}

TEST_F(ProcessesTest, AnObjectThatCannotBeMadeIsLeftOut) {
  const size_t before = host::VirtualDevice::openHandles();
  Processes processes;
  for (const char* call : {"CFDictionaryCreateMutable", "CFArrayCreateMutable", "CFNumberCreate",
                           "CFStringCreateWithFormatAndArguments"}) {
    for (int occurrence = 1; occurrence <= 25; ++occurrence) {
      host::VirtualDevice::setFaults(std::string(call) + "@" + std::to_string(occurrence));
      processes.refreshProcesses();
      processes.prettyPrintToLog();
      host::VirtualDevice::setFaults(call);
      processes.refreshProcesses();
    }
  }
  host::VirtualDevice::setFaults("");
  EXPECT_EQ(keysOf(processes.refreshProcesses()), (Keys{"0", "10", "20"}));
  EXPECT_EQ(host::VirtualDevice::openHandles(), before);
}

}  // namespace
}  // namespace corvane
