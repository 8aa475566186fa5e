#include "host/unit/data_sets.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <thread>

#include "host/unit/atomic_file.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr char kSet[] = "VelmoDiagnosticData";

class DataSetsTest : public corvane::testing::UnitTest {
 protected:
  DataSets sets() const { return DataSets(_unit.folder()); }
};

/// Runs `work` in a child process that is killed after the `step`-th step of a replacement; whether
/// it came that far.
template <typename Work>
bool isKilledAfterStep(int step, Work work) {
  static int gStepsLeft = 0;
  const pid_t child = ::fork();
  if (child == 0) {
    gStepsLeft = step;
    gReplaceStepDone = [](const char*) {
      if (--gStepsLeft == 0) ::kill(::getpid(), SIGKILL);
    };
    work();
    ::_exit(0);
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return WIFSIGNALED(status);
}

TEST_F(DataSetsTest, AKillAtAnyStepOfACommitLeavesTheOldOrTheNewContents) {
  for (const bool hasUncommitted : {false, true}) {
    int step = 1;
    for (bool isKilled = true; isKilled; ++step) {
      _unit.setDataSet(kSet, Bytes(1024, 0x11));
      if (hasUncommitted) {
        EXPECT_FALSE(sets().write(kSet, 9, Bytes{0x99}, false));
      }
      Bytes old = _unit.dataSet(kSet);
      Bytes changed = old;
      std::fill_n(changed.begin() + 100, 500, uint8_t{0x22});
      isKilled =
          isKilledAfterStep(step, [&] { (void)sets().write(kSet, 100, Bytes(500, 0x22), true); });

      Bytes now = _unit.dataSet(kSet);
      EXPECT_TRUE(now == old || now == changed) << "step " << step;
      EXPECT_TRUE(isKilled || now == changed);
      _unit.reboot();
      old[9] = changed[9] = hasUncommitted ? 0x11 : old[9];
      now = _unit.dataSet(kSet);
      EXPECT_TRUE(now == old || now == changed) << "step " << step << ", after a reboot";

      // What the kill left behind is in nobody's way.
      EXPECT_FALSE(sets().write(kSet, 0, Bytes{0x33}, true));
      EXPECT_EQ(_unit.dataSet(kSet)[0], 0x33);
    }
    EXPECT_GT(step, 5);
  }
}

TEST_F(DataSetsTest, UncommittedChangesLastUntilTheReboot) {
  EXPECT_FALSE(sets().write(kSet, 9, Bytes{1, 2, 3}, false));
  EXPECT_FALSE(sets().write(kSet, 10, Bytes{7}, true));
  EXPECT_FALSE(sets().write(kSet, 20, Bytes{8}, false));
  EXPECT_EQ(_unit.uncommittedDataSets(), std::vector<std::string>{kSet});
  Bytes expected = _unit.dataSet(kSet);
  EXPECT_EQ(Bytes(expected.begin() + 9, expected.begin() + 12), (Bytes{1, 7, 3}));
  EXPECT_EQ(expected[20], 8);

  VirtualDevice(_unit.folder()).reboot();
  expected = Bytes(expected.size(), 0xFF);
  expected[10] = 7;
  const Bytes now = _unit.dataSet(kSet);
  EXPECT_EQ(Bytes(now.begin(), now.begin() + 128), Bytes(expected.begin(), expected.begin() + 128));
  EXPECT_TRUE(_unit.uncommittedDataSets().empty());
}

TEST_F(DataSetsTest, ARefusedWriteChangesNothing) {
  const Bytes before = _unit.dataSet(kSet);
  for (const bool commit : {false, true}) {
    EXPECT_EQ(sets().write(kSet, 1024, Bytes{1}, commit), std::errc::invalid_argument);
    EXPECT_EQ(sets().write(kSet, UINT64_MAX, Bytes{1}, commit), std::errc::invalid_argument);
    EXPECT_EQ(sets().write("Missing", 0, Bytes{1}, commit), std::errc::no_such_file_or_directory);
    EXPECT_EQ(sets().write("../data/VelmoDiagnosticData", 0, Bytes{1}, commit),
              std::errc::no_such_file_or_directory);
  }
  EXPECT_EQ(_unit.dataSet(kSet), before);
  EXPECT_TRUE(_unit.uncommittedDataSets().empty());
}

TEST_F(DataSetsTest, WritersAndReadersOfManyProcessesAndThreadsLoseNoByte) {
  constexpr int kProcesses = 3, kThreads = 2, kRounds = 15;
  std::vector<pid_t> children;
  for (int process = 0; process < kProcesses; ++process) {
    const pid_t child = ::fork();
    if (child == 0) {
      std::vector<std::thread> threads;
      for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([=, this] {
          const auto place = static_cast<uint64_t>(process * kThreads + thread);
          for (uint8_t round = 0; round < kRounds; ++round) {
            if (sets().write(kSet, place * 2, Bytes{round, round}, true)) ::_exit(1);
          }
        });
      }
      for (std::thread& thread : threads) thread.join();
      ::_exit(0);
    }
    children.push_back(child);
  }
  int running = kProcesses;
  while (running > 0) {
    const Bytes now = _unit.dataSet(kSet);
    ASSERT_EQ(now.size(), 1024u);
    for (size_t place = 0; place < kProcesses * kThreads; ++place) {
      ASSERT_EQ(now[place * 2], now[place * 2 + 1]) << "half a set";
    }
    int status = 0;
    if (::waitpid(-1, &status, WNOHANG) > 0) {
      EXPECT_EQ(status, 0);
      --running;
    }
  }
  const Bytes now = _unit.dataSet(kSet);
  EXPECT_EQ(std::count(now.begin(), now.begin() + kProcesses * kThreads * 2, kRounds - 1),
            kProcesses * kThreads * 2);
}

}  // namespace
}  // namespace corvane::host
