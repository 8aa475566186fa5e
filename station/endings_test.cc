// What a run leaves when its body does not simply return.

#include <fcntl.h>
#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "platform/unit_lock.h"
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

class EndingsTest : public StationTest {
 protected:
  /// Runs the station in a process of its own, on a unit that is not poisoned.
  int runBody(const std::function<void(TestRun&)>& body, const std::string& faults = "") {
    setByte(20, 0xFF), setByte(21, 0xFF);
    std::filesystem::remove(resultsFile());
    return runInChild(
        [&] {
          host::VirtualDevice::setFaults(faults);
          return runStation(body).exitStatus();
        },
        [](pid_t) {});
  }
  void expectEach(const std::vector<Ending>& endings) {
    for (const auto& [reason, exitStatus, statusByte, body, faults] : endings) {
      SCOPED_TRACE(reason);
      EXPECT_EQ(runBody(body, faults), exitStatus);
      EXPECT_EQ(held().status, statusByte);
      EXPECT_EQ(held().poison, statusByte == kFailed ? 0xFE : statusByte == kPassed ? 0xFC : 0xFF);
      const json end = results().back();
      EXPECT_EQ(end["type"], "end");
      EXPECT_EQ(end["reason"], reason.empty() ? json() : json(reason));
    }
  }
};

TEST_F(EndingsTest, ABodyThatDoesNotEndItsPhasesDoesNotPass) {
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
  const auto timedOut = [](TestRun& run) { run.phase("soak", {.timeLimit = 100ms}, blocks); };
  expectEach({
      {"phase soak did not end", 1, kFailed,
       [](TestRun& run) {
         std::thread([&run] { run.phase("soak", blocks); }).detach();
         std::this_thread::sleep_for(100ms);
       }},
      {"exit was called in phase soak", 4, kIncomplete, inPhase([](Phase& phase) {
         phase.fail("crackles");
         std::exit(0);
       })},
      {"quick_exit was called in phase soak", 4, kIncomplete,
       inPhase([](Phase&) { std::quick_exit(1); })},
      {"exit was called between phases; release: jammed", 4, kIncomplete,
       withLastPhase([](TestRun&) { std::exit(0); })},
      {"soak: timed out after 0.1 s", 1, kFailed, timedOut},
      {"soak: timed out after 0.1 s; release: jammed", 1, kFailed, withLastPhase(timedOut)},
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
       withLastPhase(inPhase([](Phase& phase) {
         ::kill(::getpid(), SIGTERM);
         EXPECT_FALSE(phase.wait(1min));
       }))},
  });
}

TEST_F(EndingsTest, WhatABodyDoesAroundItsPhasesChangesNothing) {
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
  expectEach({
      {"", 0, kPassed, passes([] {
         const pid_t child = ::fork();
         if (child == 0) throw std::runtime_error("the program cannot be started");
         int status = 0;
         ::waitpid(child, &status, 0);
         EXPECT_EQ(WEXITSTATUS(status), 127);
       })},
      {"", 0, kPassed, passes([] { ::setenv("TZ", "UTC-9", 1), ::tzset(); })},
      {"", 0, kPassed, passes([&] {
         for (int file = 3; file < 64; ++file) ::close(file);
         for (int i = 0; i < 8; ++i) ::open("/dev/full", O_WRONLY);
       })},
      {"tone: nothing was measured or checked", 1, kFailed,
       [](TestRun& run) { run.phase("tone", [](Phase&) {}); }},
  });
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
  EXPECT_EQ(runInChild(station, [](pid_t) {}), 0);
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

TEST_F(EndingsTest, ASignalDuringTheLastWaitForTheLockCounts) {
  const std::filesystem::path isLocked = _folder.path() / "locked";
  const auto station = [&] {
    return runStation([&](TestRun& run) {
             run.phase("tone", [&](Phase& phase) {
               while (!std::filesystem::exists(isLocked)) phase.wait(1ms);
               phase.check("locked", true);
             });
           })
        .exitStatus();
  };
  std::shared_ptr<const void> lock;
  const auto interrupt = [&](pid_t child) {
    const auto waitForLine = [&](const char* type) {
      while (readText(resultsFile()).find(type) == std::string::npos) {
        std::this_thread::sleep_for(1ms);
      }
    };
    waitForLine("phaseBegin");
    lock = holdUnitLock();
    testing::writeText(isLocked, "");
    waitForLine(R"("type":"phase")");
    ::kill(child, SIGTERM);
  };
  EXPECT_EQ(runInChild(station, interrupt), 128 + SIGTERM);
  EXPECT_EQ(held().status, kIncomplete);
}

}  // namespace
}  // namespace corvane::station
