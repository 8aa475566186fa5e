// No fault, stuck byte or kill makes a station say what the unit does not hold.

#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <random>
#include <set>
#include <thread>

#include "controlbits/control_bits.h"
#include "station/station.h"
#include "station/testing/speaker_station.h"

namespace corvane::station {
namespace {

using host::VirtualDevice;

constexpr uint32_t kOtherKey = 0x4B454550;  // "KEEP"

/// Puts the units of some hundred runs in memory where there is such a folder: no test here is
/// about power cuts.
[[maybe_unused]] const bool kIsInMemory =
    std::filesystem::exists("/dev/shm") && ::setenv("TMPDIR", "/dev/shm", 0) == 0;

/// A station on units on which another station left a record and a configuration key.
class TrustTest : public StationTest {
 protected:
  TrustTest() {
    const uint32_t value = 4711;
    EXPECT_EQ(ControlBits::getReady(), 0);
    ControlBits::writeSystemConfig(reinterpret_cast<const uint8_t*>(&value), 4, kOtherKey);
    ControlBits::writeDiagnosticsRecord(3, 0, CFSTR("earlier"));
  }

  /// Returns a copy of the unit, which becomes the unit in use.
  VirtualDevice freshUnit() const {
    const std::filesystem::path folder = _folder.path() / "copy";
    std::filesystem::remove_all(folder);
    std::filesystem::copy(
        _unit.folder(), folder,
        std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks);
    VirtualDevice unit(folder);
    unit.use();
    return unit;
  }

  /// Runs the station on a fresh unit under `rules` and checks that what it reports of its run is
  /// what the unit's files hold.
  Verdict tryRules(const std::string& rules, const std::function<void(TestRun&)>& body) {
    const VirtualDevice unit = freshUnit();
    const uint8_t statusBefore = Held(unit.folder()).status;
    VirtualDevice::setFaults(rules);
    const Outcome outcome = run(kStation, {.isQuiet = true}, body);
    _callsMade = VirtualDevice::callsMade();
    VirtualDevice::setFaults("");

    SCOPED_TRACE(rules + ": " + outcome.reason);
    const Held held(unit.folder());
    EXPECT_EQ(held.keys.count("KEEP"), 1u);
    // A stuck byte changes what the unit's memory holds.
    EXPECT_TRUE(rules.starts_with("stuck:") || held.records[0] == "3/0/earlier");
    if (outcome.verdict == Verdict::kPassed || outcome.verdict == Verdict::kFailed) {
      const bool isPassed = outcome.verdict == Verdict::kPassed;
      EXPECT_EQ(held.status, isPassed ? 0xFC : 0xFA);
      // One that reads as it should is not written.
      const bool isStuck = rules == "stuck:VelmoDiagnosticData:21=0xfc";
      EXPECT_EQ(held.poison, isStuck ? 0xFF : isPassed ? 0xFC : 0xFE);
      EXPECT_EQ(held.records.size(), 2u);
      EXPECT_EQ(held.records.back(), isPassed ? "8/0/speaker ok" : "8/2/loudness");
      EXPECT_EQ(held.keys.at("SPKR"), 1u);
    } else {
      EXPECT_EQ(outcome.exitStatus(), 3);
      EXPECT_NE(outcome.reason, "");
      const bool isFailed = (held.status & 3) == 2 && held.poison == 0xFE;  // Never taken back.
      EXPECT_TRUE(held.status == statusBefore || (held.status & 3) == 1 || isFailed)
          << int{held.status};
    }
    return outcome.verdict;
  }

  std::map<std::string, uint64_t> _callsMade;
};

class FailedCallTest : public TrustTest,
                       public ::testing::WithParamInterface<void (*)(TestRun&)> {};

TEST_P(FailedCallTest, NoFailedCallOrLostWriteMakesAStationLie) {
  tryRules("sysctl@1000000", GetParam());  // Counts the calls and fails none.
  const std::string write = "IORegistryEntrySetCFProperties";
  EXPECT_GT(_callsMade.at(write), 4u);
  std::vector<std::string> rules = {write, write + "=0"};
  for (const auto& [call, count] : _callsMade) {
    for (const uint64_t occurrence : std::set<uint64_t>{1, 2, count}) {
      rules.push_back(call + "@" + std::to_string(occurrence));
    }
  }
  for (uint64_t lost = 1; lost <= _callsMade.at(write); ++lost) {
    rules.push_back(write + "=0@" + std::to_string(lost));
    rules.push_back(rules.back() + "+");
  }
  int distrusted = 0;
  for (const std::string& rule : rules) {
    const bool isDistrusted = tryRules(rule, GetParam()) == Verdict::kUntrusted;
    EXPECT_TRUE(isDistrusted || (rule != write && rule != write + "=0")) << rule;
    distrusted += isDistrusted;
  }
  EXPECT_GT(distrusted, 10);
}

INSTANTIATE_TEST_SUITE_P(Verdicts, FailedCallTest, ::testing::Values(passingBody, failingBody));

TEST_F(TrustTest, NoStuckByteMakesAStationLie) {
  std::vector<std::string> bytes;
  const auto add = [&](const char* set, size_t first, size_t last) {
    for (size_t offset = first; offset <= last; ++offset) {
      bytes.push_back("stuck:" + std::string(set) + ":" + std::to_string(offset) + "=");
    }
  };
  add("VelmoDiagnosticData", 20, 21);
  add("VelmoDiagnosticData", 128 + 24, 128 + 24 + 23);  // Its record's slot.
  add("VelmoDiagnosticDataSysCfg", 20, 23);             // The number of keys.
  add("VelmoDiagnosticDataSysCfg", 44, 63);             // Its key, the count and the run.
  int distrusted = 0;
  for (const std::string& byte : bytes) {
    for (const char* value : {"0x00", "0x02", "0xfc", "0xfd", "0xff"}) {
      distrusted += tryRules(byte + value, passingBody) == Verdict::kUntrusted;
    }
    tryRules(byte + "0xfe", failingBody);
  }
  EXPECT_GT(distrusted, 50);
}

TEST_F(TrustTest, AKilledRunShowsNoVerdictBeforeItsPhasesRan) {
  constexpr int kKills = 60;
  const auto body = [](TestRun& run) {
    for (const char* name : {"one", "two", "three"}) {
      run.phase(name, [](Phase& phase) {
        phase.check("waited", phase.wait(std::chrono::milliseconds(4)));
      });
    }
  };
  const auto station = [&] { return runStation(body).exitStatus(); };
  freshUnit();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(runInChild(station, [](pid_t) {}), 0);
  const auto whole = std::chrono::steady_clock::now() - begin;

  std::mt19937 random(20261121);
  int verdicts = 0;
  for (int i = 0; i < kKills; ++i) {
    std::filesystem::remove(resultsFile());
    const VirtualDevice unit = freshUnit();
    runInChild(station, [&](pid_t child) {
      std::this_thread::sleep_for(whole * std::uniform_real_distribution(0.0, 1.1)(random));
      ::kill(child, SIGKILL);
    });
    const std::string text = readText(resultsFile());
    EXPECT_TRUE(text.empty() || text.ends_with('\n'));
    std::set<std::string> phases;
    for (const json& line : results()) {
      if (line["type"] == "phase") phases.insert(line["phase"]);
    }
    const Held held(unit.folder());
    if ((held.status & 1) != 0) continue;  // Incomplete, or not tested yet.
    ++verdicts;
    EXPECT_EQ(phases.size(), 3u) << "the unit shows a verdict of a run that did not finish";
    EXPECT_EQ(held.status, 0xFC);
    EXPECT_EQ(held.poison, 0xFC);
    EXPECT_EQ(held.records.back(), "8/0/speaker ok");
  }
  EXPECT_LT(verdicts, kKills);
}

}  // namespace
}  // namespace corvane::station
