#include "station/station.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>

#include <clocale>
#include <cmath>

#include "station/command_line.h"
#include "station/testing/speaker_station.h"
#include "unit/keys.h"
#include "unit/lock.h"

namespace corvane::station {
namespace {

/// Returns a value of the run count's key in the form of today's stations.
std::vector<uint8_t> runCountValue(uint32_t count) {
  std::vector<uint8_t> value = {'R', 'U', 'N', 'S'};
  for (int i = 0; i < 4; ++i) value.push_back(static_cast<uint8_t>(count >> (8 * i)));
  value.resize(16);
  return value;
}

void setKey(const std::vector<uint8_t>& value, const char* key = "SPKR") {
  unit::openDataArea();
  unit::Lock lock;
  unit::writeKey(lock, unit::keyOf(key), value);
}

/// Returns the run count that the unit's key holds; -1 without the key.
int runCount() {
  const auto value = unit::valueIn(unit::readArea(), unit::keyOf("SPKR"));
  return value ? value->at(4) : -1;
}

TEST_F(StationTest, ARunLeavesItsVerdictCountAndRecord) {
  EXPECT_EQ(runStation(passingBody).exitStatus(), 0);
  EXPECT_EQ(held().status, 0xFC);
  const Outcome failed = runStation(failingBody);
  EXPECT_EQ(failed.exitStatus(), 1);
  EXPECT_EQ(failed.reason, "tone: loudness is 59 dB, outside at least 60");
  EXPECT_EQ(held().status, 0xFA) << "failed, one failure";
  setByte(21, 0xFF);  // What a repair bench does.
  EXPECT_EQ(runStation(passingBody).exitStatus(), 0);
  EXPECT_EQ(held().status, 0xF8) << "passed, one failure";
  EXPECT_EQ(held().records,
            (std::vector<std::string>{"8/0/speaker ok", "8/2/loudness", "8/0/speaker ok"}));
  EXPECT_EQ(runCount(), 3);
  EXPECT_PRED_FORMAT2(IsSubstring, R"(sid="speaker",msg-type="status",result="fail")", log());
}

TEST_F(StationTest, WhatFailsARun) {
  const auto inPhase = [](const std::function<void(Phase&)>& work) {
    return [work](TestRun& run) {
      run.phase("p", work);
      passingBody(run);
    };
  };
  const std::pair<const char*, std::function<void(TestRun&)>> cases[] = {
      {"no phase", [](TestRun&) {}},
      {"crackles", inPhase([](Phase& phase) { phase.fail("crackles"); })},
      {"nan", inPhase([](Phase& phase) { phase.measure("nan", NAN); })},
      {"high", inPhase([](Phase& phase) { phase.measure("high", 2.1, "", {.upper = 2}); })},
      {"p", inPhase([](Phase&) { throw std::runtime_error("x"); })},
      {"p", [](TestRun& run) { run.phase("p", [&](Phase&) { run.phase("q", [](Phase&) {}); }); }},
      {"exception",
       [](TestRun& run) {
         passingBody(run);
         throw std::runtime_error("x");
       }},
      {"p",
       [](TestRun& run) {
         int attempts = 0;
         EXPECT_FALSE(run.phase("p", {.attempts = 2}, [&](Phase&) { throw ++attempts; }));
         EXPECT_EQ(attempts, 1);
         EXPECT_FALSE(run.phase("q", [](Phase&) { ADD_FAILURE() << "after one that threw"; }));
       }},
  };
  for (const auto& [record, body] : cases) {
    setByte(21, 0xFF);
    EXPECT_EQ(runStation(body).verdict, Verdict::kFailed) << record;
    EXPECT_EQ(held().status & 3, 2) << record;
    EXPECT_EQ(held().poison, 0xFE) << record;
    EXPECT_EQ(held().records.back(), std::string("8/2/") + record);
  }
  EXPECT_EQ(held().status, 0xEA) << "failed, and no more than seven failures";
}

TEST_F(StationTest, AnUnfitUnitIsRefusedAndLeftAlone) {
  testing::changeFacts(_unit, [](host::UnitFacts& facts) {
    facts.currentCapacity = 19, facts.externalPower = false;
  });
  const auto expectRefusal = [&](const Conditions& conditions, const std::string& reason) {
    Profile profile = kStation;
    profile.conditions = conditions;
    const std::vector<uint8_t> before = bytes();
    const Outcome outcome = runStation(passingBody, profile);
    EXPECT_EQ(outcome.exitStatus(), 3);
    EXPECT_PRED_FORMAT2(IsSubstring, reason, outcome.reason);
    EXPECT_EQ(bytes(), before);
    EXPECT_EQ(runCount(), -1);
    EXPECT_EQ(results().back()["verdict"], "refused");
  };
  expectRefusal({.lowestBattery = 20}, "the battery's charge is 19 %");
  expectRefusal({.externalPower = true}, "external power is not connected");
  expectRefusal({.models = {"T31", "T35"}}, "the model is T33AP");
  setByte(30, 0xFE);
  expectRefusal({.earlierPoisonOffsets = {30}}, "byte 30 holds 0xfe");
  setByte(21, 0x02);
  std::vector<uint8_t> data = bytes();
  std::fill_n(data.begin() + 128, 20 * 24, uint8_t{0x41});
  _unit.setDataSet("VelmoDiagnosticData", data);
  expectRefusal({}, "byte 21 holds 0x02; the chain of records is full: it holds 20");
}

TEST_F(StationTest, AUnitWithAnotherIdentityIsRefused) {
  Profile profile = kStation;
  profile.unitKey = "SRNO";
  EXPECT_EQ(runStation(passingBody, profile).verdict, Verdict::kPassed) << "it has no key";
  setKey({'S', 'N', '9', 0}, "SRNO");
  EXPECT_EQ(runStation(passingBody, profile).reason, "the unit is SN9 by its key SRNO, not SN1");
  EXPECT_EQ(run(profile, {.results = resultsFile(), .isQuiet = true}, passingBody).exitStatus(), 0);
  EXPECT_EQ(results().back()["unit"], "SN9");
}

TEST_F(StationTest, ChecksAreInTheResults) {
  ASSERT_TRUE(std::setlocale(LC_ALL, "C.UTF-8"));  // Where a dot is a character, not a byte.
  const struct {
    std::string text;
    Expected expected;
    std::string complaint;  ///< Empty when the check is met.
  } cases[] = {
      {"1A100", {.equals = "1A100"}, ""},
      {"1A99", {.equals = "1A100"}, "build is 1A99, expected 1A100"},
      {"b", {.oneOf = {"a", "b"}}, ""},
      {"c", {.oneOf = {"a", "b"}}, "build is c, expected one of a, b"},
      {"1A100", {.matches = "1A(1|100)"}, ""},
      {"\xC3\xA4", {.matches = ".."}, ""},
      {"1A100x", {.matches = "1A[0-9]+"}, "build is 1A100x, expected matches 1A[0-9]+"},
      {"x", {.matches = "("}, "build cannot be checked: the pattern '(' is wrong: "},
      {"x", {.matches = std::string(4097, 'x')}, "the pattern has 4097 bytes; at most 4096"},
      {"x", {}, "exactly one of equals, oneOf and matches must be given"},
      {"x", {.equals = "x", .matches = "x"}, "exactly one of"},
  };
  for (const auto& [text, expected, complaint] : cases) {
    setByte(21, 0xFF);
    const Outcome outcome = runStation([&, &text = text, &expected = expected](TestRun& run) {
      run.phase("p", [&](Phase& phase) { phase.check("build", text, expected); });
    });
    EXPECT_EQ(outcome.exitStatus(), complaint.empty() ? 0 : 1) << complaint;
    EXPECT_PRED_FORMAT2(IsSubstring, complaint, outcome.reason);
  }
  std::setlocale(LC_ALL, "C");
  setByte(21, 0xFF);
  std::filesystem::remove(resultsFile());
  EXPECT_EQ(runStation([](TestRun& run) {
              run.phase("p", [](Phase& phase) {
                EXPECT_TRUE(phase.check("build", "1A99", {.matches = "1A.*"}));
                EXPECT_FALSE(phase.check("door", false));
              });
            }).reason,
            "p: door is false, expected true");
  expectFields(results()[2], R"({"type": "measurement", "name": "build", "value": null,
      "inside": true, "check": "matches", "text": "1A99", "expected": "matches 1A.*"})");
  expectFields(results()[3], R"({"check": "isTrue", "text": "false", "inside": false})");
}

TEST_F(StationTest, NoLineIsLongerThanItsReadersTake) {
  runStation([](TestRun& run) {
    run.phase(std::string(5000, '\x01'), [](Phase& phase) {
      phase.measure(std::string(5000, '\x02'), 1, std::string(5000, '\x03'));
    });
    run.phase("tone", [](Phase& phase) {
      for (int i = 0; i < 3000; ++i) phase.measure("m", 2, std::string(100, 'V'), {.upper = 1});
    });
  });
  for (const std::string& line : corvane::testing::splitLines(readText(resultsFile()))) {
    EXPECT_LT(line.size(), size_t{64} << 10);
  }
  const std::string reason = results().back()["reason"];
  EXPECT_LE(reason.size(), 4200u);
  EXPECT_PRED_FORMAT2(IsSubstring, "... (5000 bytes)", results()[1]["phase"].get<std::string>());
  setByte(21, 0xFF);
  const Outcome outcome = runStation([](TestRun& run) {
    run.phase("p", [](Phase& phase) {
      for (int i = 0; i < 27; ++i) phase.measure("m", 75.00000001, "V", {.lower = 0, .upper = 75});
    });
  });
  EXPECT_PRED_FORMAT2(IsSubstring, "p: m is 75.00000001 V, outside 0 to 75; ", outcome.reason);
  EXPECT_TRUE(outcome.reason.ends_with("; and 7 more"));
}

TEST_F(StationTest, ADamagedConfigurationAreaIsNotOverwritten) {
  std::vector<uint8_t> area(8192, 0xFF);
  area[5000] = 7;
  _unit.setDataSet("VelmoDiagnosticDataSysCfg", area);
  const Outcome outcome = runStation(passingBody);
  EXPECT_EQ(outcome.verdict, Verdict::kUntrusted);
  EXPECT_PRED_FORMAT2(IsSubstring, "the configuration area is damaged", outcome.reason);
  EXPECT_EQ(_unit.dataSet("VelmoDiagnosticDataSysCfg"), area);
}

TEST_F(StationTest, ResultsTellTheRun) {
  runStation([](TestRun& run) {
    run.setRecordText("a text that is too long");
    passingBody(run);
  });
  EXPECT_EQ(held().records.back(), "8/0/a text that i");
  runStation(failingBody);
  const std::vector<json> lines = results();
  std::string types;
  for (const json& line : lines) {
    types += line["type"].get<std::string>() + " ";
    expectFields(line, R"({"schema": 1, "station": "speaker", "unit": "SN1"})");
  }
  const std::string run = "begin phaseBegin measurement phase ";
  ASSERT_EQ(types, run + "notice end " + run + "end ");
  EXPECT_EQ(lines[0]["run"], lines[5]["run"]);
  EXPECT_NE(lines[0]["run"], lines[6]["run"]);
  expectFields(lines[0], R"({"facts": {"model": "T33AP"},
                             "before": {"byte": 255, "status": "not-tested", "failCount": 0}})");
  expectFields(lines[6], R"({"count": 2})");
  expectFields(lines[8], R"({"value": 59, "lower": 60, "upper": null, "inside": false})");
  expectFields(lines[9], R"({"verdict": "failed"})");
  expectFields(lines[10], R"({"after": {"byte": 250, "status": "failed", "failCount": 1}})");
}

TEST_F(StationTest, WithoutResultsThereIsNoVerdict) {
  Outcome outcome =
      run(kStation, {.results = _folder.path() / "no/folder", .isQuiet = true}, passingBody);
  EXPECT_EQ(outcome.exitStatus(), 2);
  EXPECT_EQ(held().status, 0xFF);
  outcome = run(kStation, {.results = "/dev/full", .isQuiet = true}, passingBody);
  EXPECT_EQ(outcome.exitStatus(), 3);
  EXPECT_EQ(outcome.reason, "results file /dev/full: No space left on device");
  EXPECT_NE(held().status & 3, 0) << "not passed";
  setByte(21, 0xFE);
  EXPECT_EQ(run(kStation, {.results = "/dev/full", .isQuiet = true}, passingBody).reason,
            "the unit is poisoned: byte 21 holds 0xfe; " + outcome.reason);
}

TEST_F(StationTest, ResultsThatLoseTheirReaderLeaveNoVerdict) {
  ASSERT_EQ(::mkfifo(resultsFile().c_str(), 0600), 0);
  const int reader = ::open(resultsFile().c_str(), O_RDONLY | O_NONBLOCK);
  const Outcome outcome = runStation([&](TestRun& run) {
    ::close(reader);
    passingBody(run);
  });
  EXPECT_EQ(outcome.reason, "results file " + resultsFile().string() + ": Broken pipe");
  EXPECT_EQ(held().status & 3, 1);
}

TEST_F(StationTest, AWrongProfileIsRefusedBeforeTheUnitIsUsed) {
  const std::function<void(Profile&)> mistakes[] = {
      [](Profile& profile) { profile.name = ""; },
      [](Profile& profile) { profile.statusOffset = 128; },
      [](Profile& profile) { profile.statusOffset = 9; },
      [](Profile& profile) { profile.poisonOffset = 18; },
      [](Profile& profile) { profile.runCountKey = "OPTS"; },
      [](Profile& profile) { profile.runCountKey = profile.unitKey = "SRNO"; },
      [](Profile& profile) { profile.poisonOffset = 128; },
      [](Profile& profile) { profile.poisonOffset = 20; },
      [](Profile& profile) { profile.runCountKey = "SPK"; },
      [](Profile& profile) { profile.runCountKey = "CNTB"; },
      [](Profile& profile) { profile.unitKey = "serial"; },
      [](Profile& profile) { profile.conditions.earlierPoisonOffsets = {128}; }};
  for (const auto& mistake : mistakes) {
    Profile profile = kStation;
    mistake(profile);
    EXPECT_EQ(runStation(passingBody, profile).exitStatus(), 2);
  }
  EXPECT_FALSE(std::filesystem::exists(resultsFile()));
  EXPECT_EQ(held().status, 0xFF);
}

TEST_F(StationTest, TheCommandLineIsCheckedBeforeTheUnitIsUsed) {
  int number = 0;
  std::string text;
  bool flag = false;
  CommandLine line("Tests.");
  line.addNumber("--number", number, 1, 9, "a number");
  line.addText("--text", text, "a text");
  line.addFlag("--flag", flag, "a flag");
  const auto runWith = [&](std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), {"/bin/speaker", "--quiet"});
    return line.run(static_cast<int>(arguments.size()), const_cast<char**>(arguments.data()),
                    kStation, passingBody);
  };
  const std::vector<const char*> wrong[] = {
      {"--number", "10"}, {"--number", "0"}, {"--number"}, {"--numbers", "5"}, {"5"},
      {"--flag=yes"},     {"--text", ""}};
  for (const auto& arguments : wrong) EXPECT_EQ(runWith(arguments), 2) << arguments[0];
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(runWith({"--describe"}), 0);
  expectFields(json::parse(::testing::internal::GetCapturedStdout()),
               R"({"station": "speaker", "statusOffset": 20, "runCountKey": "SPKR"})");
  EXPECT_EQ(held().status, 0xFF);
  ::setenv("CORVANE_FIXTURE", "F3", 1);
  const std::string results = "--results=" + resultsFile().string();
  EXPECT_EQ(runWith({"--number=7", "--text", "a b", "--flag", results.c_str(), "--unit", "SN2",
                     "--operator", "Ada"}),
            0);
  expectFields(this->results().front(),
               R"({"program": "speaker", "version": null, "fixture": "F3", "operator": "Ada"})");
  EXPECT_EQ(number, 7);
  EXPECT_EQ(text, "a b");
  EXPECT_TRUE(flag);
  EXPECT_EQ(this->results().back()["unit"], "SN2");
}

TEST_F(StationTest, TheUnitMustHoldTheRunsOwnMarksAtItsEnd) {
  const std::vector<uint8_t> emptyArea = _unit.dataSet("VelmoDiagnosticDataSysCfg");
  const auto otherRun = [&](const std::function<void(TestRun&)>& body, int status) {
    EXPECT_EQ(runInChild([&] { return runStation(body).exitStatus(); }), status);
  };
  const struct {
    const char* reason;
    std::function<void()> meanwhile;
  } cases[] = {
      {"byte 20 holds 0xfa instead of 0xfd, which this run left there",
       [&] { otherRun(failingBody, 1); }},
      {"key SPKR holds run 2 of another run instead of this run's 1",
       [&] { otherRun([](TestRun&) { ::kill(::getpid(), SIGKILL); }, -SIGKILL); }},
      {"byte 20 holds 0xfe instead of 0xfd, which this run left there", [&] { setByte(20, 0xFE); }},
      {"byte 21 was poisoned during the run", [&] { setByte(21, 0xFE); }},
      {"the records that the unit held before the run are not all there", [&] { clearRecords(); }},
      {"key SPKR is gone, in which this run was counted",
       [&] { _unit.setDataSet("VelmoDiagnosticDataSysCfg", emptyArea); }},
      {"key SPKR holds run 1 of another run instead of this run's 1",
       [&] { setKey(runCountValue(1)); }},
  };
  for (const auto& [reason, meanwhile] : cases) {
    setByte(20, 0xFF), setByte(21, 0xFF);
    _unit.setDataSet("VelmoDiagnosticDataSysCfg", emptyArea);
    std::vector<uint8_t> left;
    const Outcome outcome = runStation([&, change = meanwhile](TestRun& run) {
      passingBody(run);
      change();
      left = bytes();
    });
    EXPECT_EQ(outcome.reason, std::string("the unit cannot be trusted: ") + reason);
    EXPECT_EQ(bytes(), left) << reason << ": nothing more is written";
  }
}

TEST_F(StationTest, ARunShowsWhatTheUnitHolds) {
  testing::changeFacts(_unit, [](host::UnitFacts& facts) { facts.powerSource = false; });
  runStation(passingBody);
  setByte(128 + 9, 0x03);  // The version of the record.
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(run(kStation, {}, passingBody).verdict, Verdict::kPassed);
  const std::string shown = ::testing::internal::GetCapturedStdout();
  for (const char* part : {"battery unknown, external power no", "version 3  speaker ok",
                           "after   byte 20 is 0xfc: passed, fail count 0"}) {
    EXPECT_PRED_FORMAT2(IsSubstring, part, shown);
  }
}

TEST_F(StationTest, AValueThatIsNotARunCountIsLeftAlone) {
  const std::vector<uint8_t> plain = {5, 0, 0, 0};
  const struct {
    std::vector<uint8_t> value;
    Verdict verdict;
  } cases[] = {{plain, Verdict::kPassed},
               {runCountValue(0xFFFFFFFF), Verdict::kRefused},
               {{'U', 'M', 'T', 'S', 1}, Verdict::kRefused},
               {std::vector<uint8_t>(20, 0xFF), Verdict::kRefused}};
  for (const auto& [value, verdict] : cases) {
    setKey(value);
    const std::vector<uint8_t> area = unit::readArea();
    EXPECT_EQ(runStation(passingBody).verdict, verdict);
    EXPECT_TRUE(verdict == Verdict::kPassed ? runCount() == 6 : unit::readArea() == area);
  }
}

}  // namespace
}  // namespace corvane::station
