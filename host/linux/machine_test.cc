#include "host/linux/machine.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "testing/unit_test.h"

namespace corvane::host {
namespace {

using corvane::testing::writeText;
using Ids = std::vector<int32_t>;

int64_t gNow;

/// Gives each test a folder that stands for /proc, and a clock to set: no expectation depends on
/// how much processor time the test gets.
class MachineTest : public ::testing::Test {
 protected:
  MachineTest() { gNow = 0; }

  struct Stat {
    std::string name = "name";
    char state = 'S';
    uint64_t user = 0, system = 0, start = 0;
    bool isKernelThread = false;
  };

  static std::string line(const Stat& stat) {
    const std::string ticks = std::to_string(stat.user) + " " + std::to_string(stat.system);
    return "1 (" + stat.name + ") " + stat.state + " 1 1 1 0 -1 " +
           (stat.isKernelThread ? "2097152" : "4194304") + " 1 1 0 0 " + ticks + " 0 0 20 0 1 0 " +
           std::to_string(stat.start) + " 1 1 1\n";
  }

  /// Adds a thread. The first thread of a process has the process's id.
  void put(int32_t pid, int32_t thread, const Stat& stat) const {
    writeText(process(pid) / "task" / std::to_string(thread) / "stat", line(stat));
    if (thread == pid) writeText(process(pid) / "stat", line(stat));
  }

  std::filesystem::path process(int32_t pid) const { return _folder.path() / std::to_string(pid); }

  thread_basic_info_data_t threadInfo(int32_t pid, int32_t thread) {
    EXPECT_EQ(_machine.threadInfo(pid, thread, _info), KERN_SUCCESS);
    return _info;
  }
  Ids threads(int32_t pid) {
    EXPECT_EQ(_machine.threads(pid, _ids), KERN_SUCCESS);
    return _ids;
  }
  Ids tasks() {
    EXPECT_EQ(_machine.tasks(_ids), KERN_SUCCESS);
    return _ids;
  }

  /// Returns what each call about a process and its first thread returns.
  Ids resultsFor(Machine& machine, int32_t pid) {
    return {machine.findTask(pid),
            machine.threads(pid, _ids),
            machine.threadInfo(pid, pid, _info),
            machine.taskTimes(pid, _times),
            machine.arguments(pid, _arguments),
            machine.name(pid, _name)};
  }

  corvane::testing::TemporaryFolder _folder;
  Machine _machine{_folder.path().string(), [] { return gNow; }};
  Ids _ids;
  thread_basic_info_data_t _info{};
  task_thread_times_info_data_t _times{};
  TaskSource::Arguments _arguments;
  std::string _name;
};

TEST_F(MachineTest, UsageIsMeasuredOverAQuarterOfASecondOrTheThreadsLife) {
  struct Reading {
    int64_t milliseconds;
    uint64_t start, user, system;
    integer_t usage;
  };
  // A tick is 10 ms.
  const Reading readings[] = {
      {10'000, 900, 20, 5, 250},  // Over its life of a second.
      {10'050, 900, 20, 10, 285}, {10'249, 900, 20, 20, 320},
      {10'250, 900, 20, 20, 600},  // Since the first reading.
      {10'300, 900, 20, 20, 500}, {10'499, 900, 30, 20, 501},
      {10'500, 900, 30, 20, 400},                                // Since the one at 10,250.
      {11'500, 900, 30, 20, 0},   {12'000, 900, 230, 20, 1000},  // More than there was.
      {13'000, 1250, 10, 0, 200},                                // Another thread of the same id.
      {13'000, 1300, 1, 0, 1000},                                // One that has just begun.
  };
  for (const Reading& reading : readings) {
    gNow = reading.milliseconds * 1'000'000;
    put(7, 7, {.user = reading.user, .system = reading.system, .start = reading.start});
    tasks();
    threads(7);
    EXPECT_EQ(threadInfo(7, 7).cpu_usage, reading.usage) << reading.milliseconds;
  }
}

TEST_F(MachineTest, EachStateHasItsCodeForAnyThreadName) {
  const struct {
    const char* name;
    char state;
    integer_t runState, flags;
  } cases[] = {
      {"a b", 'R', TH_STATE_RUNNING, 0},       {") R 1 2 3", 'S', TH_STATE_WAITING, 0},
      {"((", 'T', TH_STATE_STOPPED, 0},        {"\n) Z (\n", 't', TH_STATE_STOPPED, 0},
      {")", 'D', TH_STATE_UNINTERRUPTIBLE, 0}, {"", 'Z', TH_STATE_HALTED, 0},
      {"x", 'X', TH_STATE_HALTED, 0},          {"i", 'I', TH_STATE_WAITING, TH_FLAGS_IDLE}};
  for (const auto& c : cases) {
    put(7, 7, {.name = c.name, .state = c.state, .user = 1234, .system = 99});
    const thread_basic_info_data_t info = threadInfo(7, 7);
    EXPECT_EQ(info.run_state, c.runState) << c.name;
    EXPECT_EQ(info.flags, c.flags) << c.name;
    EXPECT_EQ(info.user_time.microseconds, 340'000) << c.name;
    EXPECT_EQ(info.system_time.microseconds, 990'000) << c.name;
  }
  writeText(process(7) / "task/7/stat", line({}).substr(0, 40));
  EXPECT_EQ(_machine.threadInfo(7, 7, _info), MACH_SEND_INVALID_DEST) << "a line cut short";
}

TEST_F(MachineTest, ATasksTimesAreThoseOfItsLiveThreads) {
  put(7, 7, {.user = 100});
  put(7, 8, {.user = 200, .system = 5});
  put(7, 9, {.user = 400});
  EXPECT_EQ(threads(7), (Ids{7, 8, 9}));
  threadInfo(7, 8);
  put(7, 8, {.user = 800});
  std::filesystem::remove_all(process(7) / "task/9");
  ASSERT_EQ(_machine.taskTimes(7, _times), KERN_SUCCESS);
  EXPECT_EQ(_times.user_time.seconds, 3) << "thread 8 as it was just read, and 9 has gone";
  EXPECT_EQ(_times.system_time.microseconds, 50'000);
  ASSERT_EQ(_machine.taskTimes(7, _times), KERN_SUCCESS);
  EXPECT_EQ(_times.user_time.seconds, 9) << "read anew";
}

TEST_F(MachineTest, KernelThreadsAreTheThreadsOfTaskZero) {
  put(2, 2, {.isKernelThread = true});
  put(3, 3, {.user = 100, .isKernelThread = true});
  put(7, 7, {});
  EXPECT_EQ(tasks(), (Ids{0, 7}));
  EXPECT_EQ(threads(0), (Ids{2, 3}));
  EXPECT_EQ(threadInfo(0, 3).user_time.seconds, 1);
  EXPECT_EQ(_machine.findTask(3), MACH_SEND_INVALID_DEST);

  put(3, 3, {});
  EXPECT_EQ(_machine.threadInfo(0, 3, _info), MACH_SEND_INVALID_DEST) << "a process has its id now";
  EXPECT_EQ(tasks(), (Ids{0, 3, 7}));
}

TEST_F(MachineTest, ArgumentsAreAsTheProgramGotThem) {
  using namespace std::string_literals;
  const std::pair<std::string, std::string> cases[] = {
      {"a\0b\0"s, "a\0b\0"s},  {"a\0\0x\0\0"s, "a\0\0x\0\0"s},
      {"a\0\0"s, "a\0\0"s},    {"a: a title\0\0\0\0"s, "a: a title\0"s},
      {"no end", "no end\0"s}, {"", ""}};
  put(7, 7, {});
  put(7, 8, {});
  // In the second round the first thread has ended, and only a live one knows its program.
  for (const auto& [holder, link] : {std::pair{"", "/bin/a"}, {"task/8", "/bin/a (deleted)"}}) {
    std::filesystem::create_symlink(link, process(7) / holder / "exe");
    for (const auto& [area, words] : cases) {
      writeText(process(7) / holder / "cmdline", area);
      ASSERT_EQ(_machine.arguments(7, _arguments), KERN_SUCCESS);
      EXPECT_EQ(_arguments.path, "/bin/a");
      EXPECT_EQ(_arguments.words, words);
    }
    std::filesystem::remove(process(7) / holder / "exe");
  }
  EXPECT_EQ(_machine.arguments(7, _arguments), KERN_FAILURE);
  writeText(process(7) / "comm", "short\n");
  EXPECT_EQ(_machine.name(7, _name), KERN_SUCCESS);
  EXPECT_EQ(_name, "short");
}

TEST_F(MachineTest, WithTooFewDescriptorsAProcessDoesNotCountAsGone) {
  put(7, 7, {});
  std::filesystem::create_symlink("/bin/a", process(7) / "exe");
  tasks();
  gNow += 1'000'000;
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none = {0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  const Ids ofAll = {_machine.tasks(_ids), _machine.threads(0, _ids)};
  const Ids ofOne = resultsFor(_machine, 7);
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(ofAll, Ids(2, KERN_RESOURCE_SHORTAGE));
  EXPECT_EQ(ofOne, Ids(6, KERN_RESOURCE_SHORTAGE));
}

TEST_F(MachineTest, AProcessOfThisMachineIsFoundUntilItHasGoneAndNothingStaysOpen) {
  const auto openFiles = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;) pause();
  }
  const auto files = openFiles();
  Machine machine;
  ASSERT_EQ(machine.tasks(_ids), KERN_SUCCESS);
  EXPECT_TRUE(std::ranges::count(_ids, child) && std::ranges::count(_ids, getpid()));
  EXPECT_EQ(resultsFor(machine, child), Ids(6, KERN_SUCCESS));
  EXPECT_EQ(_arguments.path, std::filesystem::read_symlink("/proc/self/exe"));
  EXPECT_EQ(openFiles(), files);

  machine.findTask(child);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  usleep(2'000);
  constexpr int32_t kGone = MACH_SEND_INVALID_DEST;
  EXPECT_EQ(resultsFor(machine, child), (Ids{kGone, kGone, kGone, kGone, KERN_FAILURE, kGone}));
}

}  // namespace
}  // namespace corvane::host
