// What a run leaves when its body does not simply return.

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "station/testing/speaker_station.h"

namespace corvane::station {
namespace {

using namespace std::chrono_literals;

constexpr int kPassed = 0xFC, kFailed = 0xFA, kIncomplete = 0xFD;

void blocks(Phase&) { std::this_thread::sleep_for(1min); }
void release(Phase& phase) { phase.log("released"); }

struct Ending {
  std::string reason;  ///< In the results, without the name of a phase; empty for a passed run.
  int exitStatus;
  int statusByte;
  std::function<void(TestRun&)> body;
  std::string faults = "";
};

std::function<void()> gAtLogLine;

/// Calls `work` when the main thread writes the `line`-th line from now to the log, whose lock it
/// then holds.
void atLogLine(int line, const std::function<void()>& work, const std::string& otherFaults = "") {
  gAtLogLine = work;
  ::signal(SIGTERM, [](int) { gAtLogLine(); });
  host::VirtualDevice::setFaults("fwrite=sigterm@" + std::to_string(line) + otherFaults);
}

class EndingsTest : public StationTest {
 protected:
  /// Runs the station in a process of its own, on a unit without marks and records.
  int runBody(const std::function<void(TestRun&)>& body, const std::string& faults = "") {
    _unit.setDataSet("VelmoDiagnosticData", _fresh);
    std::filesystem::remove(resultsFile());
    return runInChild([&] {
      host::VirtualDevice::setFaults(faults);
      return runStation(body).exitStatus();
    });
  }
  void expectEach(const std::vector<Ending>& endings) {
    for (const auto& [reason, exitStatus, statusByte, body, faults] : endings) {
      SCOPED_TRACE(reason);
      EXPECT_EQ(runBody(body, faults), exitStatus);
      EXPECT_EQ(held().status, statusByte);
      EXPECT_EQ(held().poison == 0xFE, statusByte == kFailed);
      const json end = results().back();
      EXPECT_EQ(end["type"], "end");
      EXPECT_EQ(end["reason"], reason.empty() ? json() : json(reason));
      if (end["verdict"] != "untrusted") {
        EXPECT_EQ(end["after"]["byte"], statusByte);
        EXPECT_EQ(held().records.size(), statusByte == kIncomplete ? 0u : 1u);
      }
    }
  }
};

TEST_F(EndingsTest, EachEndLeavesItsReasonStatusAndExitStatus) {
  const auto inPhase = [](const std::function<void(Phase&)>& body) {
    return [=](TestRun& run) { run.phase("soak", body); };
  };
  const auto withLastPhase = [](const std::function<void(TestRun&)>& body) {
    return [=](TestRun& run) {
      run.lastPhase(
          "release", [](Phase& phase) { phase.fail("jammed"); }, 5s);
      body(run);
    };
  };
  const auto limited = [](const std::function<void(Phase&)>& body) {
    return [=](TestRun& run) { run.phase("soak", {.timeLimit = 100ms}, body); };
  };
  const auto timedOut = limited(blocks);
  const auto stuckInLog = [&](const std::string& faults) {
    return limited([=](Phase& phase) {
      atLogLine(
          1, [] { std::this_thread::sleep_for(1min); }, faults);
      phase.log("stuck");
    });
  };
  const std::filesystem::path unflushed = _folder.path() / "unflushed";
  expectEach({
      {"phase soak did not end", 1, kFailed,
       [](TestRun& run) {
         std::thread([&run] { run.phase("soak", blocks); }).detach();
         std::this_thread::sleep_for(100ms);
       }},
      {"soak: nothing was measured or checked", 1, kFailed, inPhase([](Phase&) {})},
      {"soak: crackles; release: jammed", 1, kFailed,
       withLastPhase(inPhase([](Phase& phase) { phase.fail("crackles"); }))},
      {"exit was called in phase soak", 4, kIncomplete, inPhase([&](Phase& phase) {
         phase.fail("crackles");
         std::fputs("flushed", std::fopen(unflushed.c_str(), "w"));
         std::exit(0);
       })},
      {"quick_exit was called in phase soak", 4, kIncomplete,
       inPhase([](Phase&) { std::quick_exit(1); })},
      {"exit was called between phases; release: jammed", 4, kIncomplete,
       withLastPhase([](TestRun&) { std::exit(0); })},
      {"soak: timed out after 0.1 s", 1, kFailed, timedOut},
      {"soak: timed out after 0.1 s; release: jammed", 1, kFailed, withLastPhase(timedOut)},
      {"soak: timed out after 0.1 s", 1, kFailed,
       [&](TestRun& run) {
         run.lastPhase("release", [](Phase&) { std::this_thread::sleep_for(300ms); });
         run.phase("soak", {.timeLimit = 100ms}, [](Phase& phase) {
           std::this_thread::sleep_for(200ms);
           phase.log("the body goes on");
           ::_exit(99);
         });
       }},
      {"soak: timed out after 0.1 s", 1, kFailed, stuckInLog("")},
      {"soak: timed out after 0.1 s; the verdict was not left in time", 3, kIncomplete,
       stuckInLog(",IORegistryEntrySetCFProperties")},
      {"release: timed out after 0.1 s", 1, kFailed,
       [](TestRun& run) {
         run.lastPhase("release", blocks, 100ms);
         passingBody(run);
       }},
      {"soak: timed out after 0.1 s; release: timed out after 0.1 s", 1, kFailed,
       [&](TestRun& run) {
         run.lastPhase("release", blocks, 100ms);
         timedOut(run);
       }},
      {"the unit cannot be trusted: byte 20 holds 0xfd instead of 0xfa; what was written is not "
       "taken back",
       3, kFailed, timedOut, "stuck:VelmoDiagnosticData:20=0xfd"},
      {"the station threw: x; release: jammed", 1, kFailed,
       withLastPhase([](TestRun&) { throw std::runtime_error("x"); })},
      {"interrupted by SIGTERM; release: jammed", 128 + SIGTERM, kIncomplete,
       withLastPhase([](TestRun& run) {
         run.phase("soak", [](Phase& phase) {
           ::kill(::getpid(), SIGTERM);
           EXPECT_FALSE(phase.wait(std::chrono::milliseconds::max()));
         });
         run.phase("later", [](Phase&) { ADD_FAILURE(); });
       })},
      {"interrupted by SIGTERM", 128 + SIGTERM, kIncomplete, inPhase([](Phase& phase) {
         ::kill(::getpid(), SIGTERM);
         blocks(phase);
       })},
      {"the unit cannot be trusted: byte 20 holds 0xff instead of 0xfd, which this run left there",
       3, 0xFF, inPhase([this](Phase&) {
         setByte(20, 0xFF);
         ::kill(::getpid(), SIGTERM);
       })},
  });
  EXPECT_EQ(readText(unflushed), "flushed");
  EXPECT_PRED_FORMAT2(IsSubstring, "speaker: end: incomplete: interrupted by SIGTERM", log());
}

TEST_F(EndingsTest, OnlyWhatTheUnitDoesNotHoldMakesAPassedRunUntrusted) {
  const auto passes = [](const std::function<void()>& work) {
    return [=](TestRun& run) {
      run.lastPhase("release", release);
      run.phase("tone", [&](Phase& phase) {
        work();
        phase.check("worked", true);
      });
      run.phase("warm up", {.isSetUp = true}, [](Phase&) {});
    };
  };
  // The verdict's lines in the log are of the poison byte, the record and the status.
  const auto duringVerdict = [](int line, const std::function<void()>& work) {
    return [=](TestRun& run) { passingBody(run), atLogLine(line, work); };
  };
  const std::string untrusted = "the unit cannot be trusted: ";
  expectEach({
      {"", 0, kPassed, passes([] {
         EXPECT_EQ(runInChild([]() -> int { std::exit(5); }), 5);
         EXPECT_EQ(runInChild([]() -> int { throw std::runtime_error("x"); }), 127);
       })},
      {"", 0, kPassed, passes([] { ::setenv("TZ", "UTC-9", 1), ::tzset(); }), "time=5"},
      {"", 0, kPassed,
       duringVerdict(1,
                     [] {
                       std::thread([] { std::exit(5); }).detach();
                       std::this_thread::sleep_for(100ms);
                     })},
      {untrusted + "byte 20 holds 0xff instead of 0xfc, which it held before", 3, kIncomplete,
       duringVerdict(3, [this] { setByte(20, 0xFF); })},
      {untrusted + "byte 21 holds 0xff instead of 0xfc, which it held before", 3, kIncomplete,
       duringVerdict(3, [this] { setByte(21, 0xFF); })},
      {untrusted + "record 1 does not stay", 3, kIncomplete,
       duringVerdict(3, [this] { clearRecords(); })},
      {"", 0, kPassed, passes([&] {
         for (int file = 3; file < 64; ++file) ::close(file);
         for (int i = 0; i < 8; ++i) ::open("/dev/full", O_WRONLY);
       })},
      {untrusted +
           "no record is written: the clock cannot be read, or has the time 0xffffffff of a "
           "free slot",
       3, kIncomplete, passingBody, "time=0xffffffff"},
  });
  EXPECT_TRUE(held().records.empty()) << "without a clock";
  runBody(passes([&] {
    std::filesystem::rename(resultsFile(), _folder.path() / "moved");
    testing::writeText(resultsFile(), "no line feed");
  }));
  EXPECT_EQ(readText(resultsFile()), "no line feed");
  const std::string moved = readText(_folder.path() / "moved");
  EXPECT_EQ(testing::countOf(moved, "\n\n"), 0u);
  EXPECT_PRED_FORMAT2(IsSubstring, R"("type":"end")", moved);
}

TEST_F(EndingsTest, ClosedStandardStreamsGetNoFileOfTheKit) {
  const auto station = [&] {
    for (int stream = 0; stream <= 2; ++stream) ::close(stream);
    return run(kStation, {.results = resultsFile()},
               [](TestRun& run) {
                 EXPECT_EQ(::write(STDERR_FILENO, "an error\n", 9), 9);
                 passingBody(run);
               })
        .exitStatus();
  };
  EXPECT_EQ(runInChild(station), 0);
  EXPECT_EQ(results().size(), 5u);
}

TEST_F(EndingsTest, AnAttemptThatIsRepeatedDoesNotCount) {
  int attempt = 0;
  const auto body = [&](TestRun& run) {
    run.phase("lock", {.attempts = 3},
              [&](Phase& phase) { phase.measure("force", ++attempt, "N", {.lower = 2}); });
  };
  EXPECT_EQ(runStation(body).verdict, Verdict::kPassed);
  const std::vector<json> lines = results();
  ASSERT_EQ(lines.size(), 7u);
  testing::expectFields(lines[2], R"({"type": "measurement", "attempt": 1, "inside": false})");
  testing::expectFields(lines[3], R"({"type": "attempt", "phase": "lock", "attempt": 1,
      "verdict": "failed", "reason": "force is 1 N, outside at least 2"})");
  testing::expectFields(lines[4], R"({"attempt": 2, "inside": true})");
  testing::expectFields(lines[5], R"({"type": "phase", "attempt": 2, "verdict": "passed"})");
  attempt = -5;
  EXPECT_EQ(runStation(body).reason, "lock: force is -2 N, outside at least 2");
  EXPECT_EQ(held().status, kFailed) << "one failure";
}

TEST_F(EndingsTest, ACallAfterTheEndDoesNothing) {
  TestRun* over = nullptr;
  Phase* phase = nullptr;
  runStation([&](TestRun& run) {
    over = &run;
    run.phase("tone", [&](Phase& tone) { phase = &tone, tone.check("heard", true); });
  });
  const auto left = [&] { return std::tuple(readText(resultsFile()), log(), bytes()); };
  const auto before = left();
  EXPECT_FALSE(over->phase("late", [](Phase&) { ADD_FAILURE(); }));
  over->lastPhase("late", release);
  over->log("late");
  phase->measure("late", 1);
  phase->fail("late");
  EXPECT_FALSE(phase->wait(1min));
  EXPECT_EQ(left(), before);
}

/// Sends the process a signal after a while, as an operator would.
void interruptLater() {
  std::thread([] {
    std::this_thread::sleep_for(500ms);
    ::kill(::getpid(), SIGTERM);
  }).detach();
}

TEST_F(EndingsTest, ASignalEndsTheWaitForTheLock) {
  // An open file of its own keeps the kit in the same process waiting.
  const auto lockAndInterrupt = [this] {
    const int file = ::open((_unit.folder() / ".lock").c_str(), O_RDWR);
    EXPECT_EQ(::flock(file, LOCK_EX), 0);
    interruptLater();
  };
  EXPECT_EQ(runInChild([&] { return lockAndInterrupt(), runStation(passingBody).exitStatus(); }),
            128 + SIGTERM);
  EXPECT_EQ(held().status, 0xFF);
  expectFields(results().back(), R"({"type": "end", "count": null, "after": null,
                                     "reason": "interrupted by SIGTERM before the unit was marked"})");
  const auto atTheEnd = [&](TestRun& run) {
    run.phase("tone", {.isSetUp = true}, [&](Phase&) { lockAndInterrupt(); });
  };
  EXPECT_EQ(runBody(atTheEnd), 128 + SIGTERM);
  EXPECT_EQ(held().status, kIncomplete);
  EXPECT_EQ(results().back()["reason"], "interrupted by SIGTERM");
}

TEST_F(EndingsTest, ASignalEndsARunWhoseResultsAreNotRead) {
  ASSERT_EQ(::mkfifo(resultsFile().c_str(), 0600), 0);
  const int reader = ::open(resultsFile().c_str(), O_RDONLY | O_NONBLOCK);
  ::fcntl(reader, F_SETPIPE_SZ, 4096);
  const auto station = [&] {
    return runStation([](TestRun& run) {
             interruptLater();
             for (;;) run.phase("tone", {.isSetUp = true}, [](Phase&) {});
           })
        .exitStatus();
  };
  EXPECT_EQ(runInChild(station), 128 + SIGTERM);
  ::close(reader);
}

}  // namespace
}  // namespace corvane::station
