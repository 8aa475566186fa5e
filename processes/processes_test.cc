#include "processes/processes.h"

#include <functional>
#include <set>

#include "host/mach/testing/scripted_kernel.h"
#include "processes/numeric_compare.h"
#include "processes/sampler_messages.h"
#include "testing/objects.h"

namespace corvane {
namespace {

using Kernel = corvane::testing::ScriptedKernel;
using corvane::testing::countOf;
using corvane::testing::shown;
using Keys = std::set<std::string>;

/// Returns a thread with these times, usage, state and flags.
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

class ProcessesTest : public corvane::testing::UnitTest {
 protected:
  /// Scripts a kernel task, the caller, a process of two threads and one without any.
  ProcessesTest() {
    _kernel.tasks().insert(_kernel.tasks().begin(), {.pid = 0, .threads = {_thread}});
    _kernel.tasks().push_back({.pid = 10,
                               .threads = {_thread, _thread},
                               .path = "/usr/bin/ten",
                               .times = {{1, 250'000}, {0, 90'000}}});
    _kernel.tasks().push_back({.pid = 20, .path = "/usr/bin/twenty"});
  }

  static std::string recordOf(CFDictionaryRef snapshot, const std::string& pid) {
    return shown(CFDictionaryGetValue(snapshot, corvane::testing::cfString(pid).get()));
  }

  static Keys keysOf(CFDictionaryRef snapshot) {
    Keys keys;
    for (const char* pid : {"0", "10", "20"}) {
      if (recordOf(snapshot, pid) != "(null)") keys.insert(pid);
    }
    EXPECT_EQ(CFDictionaryGetCount(snapshot), static_cast<CFIndex>(keys.size()));
    return keys;
  }

  /// Returns the name that the `number`-th port from now on will have.
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

TEST_F(ProcessesTest, EachFailedCallHasItsMessageItsEndOfThePassAndItsGapInTheRecord) {
  // Ports in the order in which they are returned: host 1, set 2, its control port 3, tasks 4 to
  // 7, then threads and name port of each task except the caller's: 8 and 9, 10 to 12, and 13.
  constexpr int kOwnTask = 0, kNoPort = -1;
  const std::string times = "; user_time = 1.25; system_time = 0.9; }";
  const std::string threads = _threadText + "); total_usage = 25; name = ";
  const std::string timeless = "{threads = (" + _threadText + ", " + threads + "/usr/bin/ten; }";
  const std::string whole = "{threads = (" + _threadText + ", " + threads + "/usr/bin/ten" + times;
  const std::string unnamed =
      "{threads = (" + _threadText + ", " + threads + "[Unknown Name]" + times;
  const std::string gap =
      "{threads = ({}, " + _threadText + "); total_usage = 12.5; name = /usr/bin/ten" + times;
  const std::string failure = "(os/kern) failure", dead = "(ipc/send) invalid destination port";
  const Keys all = {"0", "10", "20"}, none = {}, first = {"0"};
  const struct {
    const char* rule;
    int port;
    /// Without the mark, which all but the message about a thread have.
    std::string message;
    Keys keys;
    /// Of process 10, when it is there but not whole.
    std::string record = {};
    size_t leftPorts = 0;
  } cases[] = {
      {"pid_for_task", kOwnTask, "pid_for_task(%d): " + failure, none},
      {"pid_for_task=0", kNoPort, "", none},
      {"mach_host_self", kNoPort, "host_processor_sets(): " + dead, none},
      {"host_processor_sets=4", kNoPort, "host_processor_sets(): (os/kern) invalid argument", none},
      {"host_processor_sets=0", kNoPort, "", none},
      {"host_processor_set_priv", kNoPort, "host_processor_set_priv(): " + failure, none},
      {"processor_set_tasks", 3, "processor_set_tasks(%d): " + failure, none},
      {"pid_for_task@4", 6, "pid_for_task(%d): " + failure, first},
      {"task_threads@2", 6, "task_threads(%d): " + dead, first},
      {"mach_port_deallocate@3", 10, "mach_port_deallocate(%d): (os/kern) invalid name", first, "",
       2},
      {"mach_port_deallocate=99@4", 11, "mach_port_deallocate(%d): (os/?) unknown error code",
       first, "", 1},
      {"thread_info@2", 10, "thread_info(%d) failed: " + dead, all, gap},
      {"task_name_for_pid@2", kNoPort, "task_name_for_pid(): " + failure, all, timeless},
      {"task_info", kNoPort, "", all, timeless},
      {"sysctl@3", kNoPort, "", all, unnamed},
      {"sysctl@4", kNoPort, "", all, unnamed},
      {"malloc", kNoPort, "", all, unnamed},
      {"vm_deallocate=0@99", kNoPort, "", all, whole},
  };
  Processes processes;
  for (const auto& c : cases) {
    const size_t before = host::VirtualDevice::openHandles();
    const int port = c.port == kOwnTask ? static_cast<int>(mach_task_self()) : portAfterNow(c.port);
    host::VirtualDevice::setFaults(c.rule);
    CFDictionaryRef snapshot = nullptr;
    const std::string output = printed([&] { snapshot = processes.refreshProcesses(); });
    host::VirtualDevice::setFaults("");
    EXPECT_EQ(snapshot, processes.getCachedProcesses()) << c.rule;
    std::string message = c.message;
    if (const size_t at = message.find("%d"); at != message.npos) {
      message.replace(at, 2, std::to_string(port));
    }
    const char* const mark = message.starts_with("thread") ? "" : "[ERROR] ";
    EXPECT_EQ(output, message.empty() ? "" : mark + message + "\n") << c.rule;
    EXPECT_EQ(textOfMessage(output), message);
    EXPECT_EQ(isEndOfPass(output), c.keys != all && !message.empty()) << c.rule;
    EXPECT_EQ(keysOf(snapshot), c.keys) << c.rule;
    if (!c.record.empty()) {
      EXPECT_EQ(recordOf(snapshot, "10"), c.record) << c.rule;
    }
    EXPECT_EQ(host::VirtualDevice::openHandles(), before + c.leftPorts) << c.rule;
  }
}

TEST_F(ProcessesTest, AFailureInOneSetOfProcessorsLeavesTheOthersOut) {
  _kernel.setProcessorSets(2);
  Processes processes;
  for (const auto& [rule, keys] : {std::pair("host_processor_set_priv@1", Keys{}),
                                   {"processor_set_tasks@1", Keys{}},
                                   {"processor_set_tasks@2", Keys{"0", "10", "20"}}}) {
    host::VirtualDevice::setFaults(rule);
    EXPECT_NE(printed([&] { processes.refreshProcesses(); }), "") << rule;
    EXPECT_EQ(keysOf(processes.getCachedProcesses()), keys) << rule;
  }
}

TEST_F(ProcessesTest, ThreadsShowTheirStateFlagsAndTimes) {
  const struct {
    integer_t state, flags;
    time_value_t time;
    std::string stateText, flagsText, timeText;
  } cases[] = {
      {1, 2, {12, 0}, "running", "idle", "12"},
      {2, 0, {12, 50'000}, "stopped", "swapped", "12.5"},
      {3, 1, {12, 90'000}, "waiting", "swapped", "12.9"},
      {4, 3, {12, 100'000}, "uninterruptible", "swapped", "12.1"},
      {5, 6, {12, 990'000}, "halted", "swapped", "12.99"},
      {6, 2, {12, 9'999}, "unknown_state", "idle", "12"},
      {0, -2, {-1, -50'000}, "unknown_state", "swapped", "-1"},
  };
  for (const auto& c : cases) {
    _kernel.tasks().back().threads = {thread(c.time, c.time, 0, c.state, c.flags)};
    EXPECT_EQ(countOf(recordOf(Processes().getCachedProcesses(), "20"),
                      "run_state = " + c.stateText + "; flags = " + c.flagsText +
                          "; user_time = " + c.timeText + "; system_time = " + c.timeText + "; "),
              1u)
        << c.state;
  }
}

TEST_F(ProcessesTest, TheNameIsThePathUnlessThereAre256Arguments) {
  const struct {
    std::string path;
    int arguments;
    std::string name;
  } cases[] = {
      {"/usr/bin/a", 0, "/usr/bin/a"},
      {"/usr/bin/a", 255, "/usr/bin/a"},
      {"/usr/bin/a", 256, "\x01"},
      {"/usr/bin/a", 0x4241, "B"},
      {"/b\xC3\xA9/c d", 1, "/b\xC3\xA9/c d"},
      {"", 1, "[Unknown Name]"},
      {std::string(3000, 'x'), 1, std::string(3000, 'x')},
  };
  for (const auto& c : cases) {
    _kernel.tasks().back().path = c.path;
    _kernel.tasks().back().arguments = c.arguments;
    EXPECT_EQ(
        recordOf(Processes().getCachedProcesses(), "20"),
        "{threads = (); total_usage = 0; name = " + c.name + "; user_time = 0; system_time = 0; }");
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

TEST_F(ProcessesTest, AnObjectThatCannotBeMadeIsLeftOut) {
  const size_t before = host::VirtualDevice::openHandles();
  Processes processes;
  for (const char* call : {"CFDictionaryCreateMutable", "CFArrayCreateMutable", "CFNumberCreate",
                           "CFStringCreateWithFormatAndArguments"}) {
    for (int occurrence = 1; occurrence <= 25; ++occurrence) {
      host::VirtualDevice::setFaults(std::string(call) + "@" + std::to_string(occurrence));
      processes.refreshProcesses();
      processes.prettyPrintToLog();
    }
  }
  host::VirtualDevice::setFaults("");
  EXPECT_EQ(keysOf(processes.refreshProcesses()), (Keys{"0", "10", "20"}));
  EXPECT_EQ(host::VirtualDevice::openHandles(), before);
}

TEST_F(ProcessesTest, AReportIsSortedByNumberAndAMissingFigureReadsAsZero) {
  const auto threads = {thread({}, {}, 1000, 1, 0), thread({}, {}, 875, 1, 0)};
  const task_thread_times_info_data_t times = {{12, 990'000}, {0, 40'000}};
  _kernel.tasks().push_back({.pid = 100, .threads = threads, .path = "/bin/p100", .times = times});
  _kernel.tasks().push_back({.pid = 2, .path = "/bin/p2", .times = times});
  host::VirtualDevice::setFaults("task_info@5");
  Processes().prettyPrintToLog();
  const std::vector<std::string> expected = {
      "    PID\tCPU%\tUsr\tSys\t\tName",        "    ---\t----\t---\t---\t\t----",
      "    0\t12.5\t0.0\t0.0\t\tkernel_task",   "    2\t0.0\t0.0\t0.0\t\t/bin/p2",
      "    10\t25.0\t1.2\t0.9\t\t/usr/bin/ten", "    20\t0.0\t0.0\t0.0\t\t/usr/bin/twenty",
      "    100\t187.5\t13.0\t0.4\t\t/bin/p100"};
  EXPECT_EQ(logLines(), expected);
  EXPECT_EQ(_unit.systemLog().at(6), "100\t187.5\t13.0\t0.4\t\t/bin/p100");
}

TEST_F(ProcessesTest, AReportTakesASampleOnlyWhenThereIsNone) {
  host::VirtualDevice::setFaults("CFDictionaryCreateMutable@1");
  Processes processes;
  ASSERT_EQ(processes.getCachedProcesses(), nullptr);
  _kernel.tasks().push_back({.pid = 1});
  processes.prettyPrintToLog();
  _kernel.tasks().push_back({.pid = 2});
  processes.prettyPrintToLog();
  EXPECT_EQ(logLines().size(), 12u);
}

TEST(NumericCompareTest, TextsOfEqualValueCompareAsAscendingAndOtherObjectsAsEqual) {
  const struct {
    CFTypeRef receiver, other;
    CFIndex result;
  } cases[] = {
      {CFSTR("2"), CFSTR("10"), -1},
      {CFSTR("10"), CFSTR("2"), 1},
      {CFSTR("7"), CFSTR("007"), -1},
      {CFSTR("007"), CFSTR("7"), -1},
      {CFSTR("abc"), CFSTR("0"), -1},
      {CFSTR(" +3x"), CFSTR("-4"), 1},
      {CFSTR("99999999999"), CFSTR("2147483646"), 1},
      {CFSTR("-99999999999"), CFSTR("-2147483647"), -1},
      {CFSTR("7"), kCFBooleanTrue, 0},
      {CFSTR("7"), nullptr, 0},
      {nullptr, CFSTR("7"), 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(numericCompare(static_cast<CFStringRef>(c.receiver), c.other), c.result);
  }
}

}  // namespace
}  // namespace corvane
