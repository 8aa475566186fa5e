#include "testing/tool_run.h"

namespace corvane::testing {
namespace {

using BurnInStationTest = ToolTest;

TEST_F(BurnInStationTest, WhatFailsIsNamedAndNoTextDrivesTheTerminal) {
  run("device init --model \"$(printf 'T33\\033[2J')\"");
  const std::string results = path("results");
  const struct {
    std::string faults, options;
    int exitStatus;
    std::string complaint;
  } cases[] = {{"", "", 0, ""},
               {"IORegistryEntrySetCFProperties=0xe00002bc", "", 3,
                "byte 20 holds 0xfc instead of 0xfd; the write was refused with 0xe00002bc"},
               {"stuck:VelmoDiagnosticData:20=0xfc", "", 3, "byte 20 holds 0xfc instead of 0xfd; "},
               {"", "--bad-core 0 --results " + shellWord(results), 1, ""}};
  const Outcome refused = shell(shellWord(BURN_IN_STATION) + " --bad-core 4711");
  EXPECT_EQ(refused.exitStatus, 2);
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, "'4711' must be one of ", refused.errors);
  for (const auto& [faults, options, exitStatus, complaint] : cases) {
    const Outcome outcome =
        shell("CORVANE_FAULTS=" + faults + " CORVANE_DEVICE=" + shellWord(unit()) + " " +
              shellWord(BURN_IN_STATION) + " --seconds 1 --memory 1 --folder " +
              shellWord(path("")) + " " + options);
    EXPECT_EQ(outcome.exitStatus, exitStatus) << outcome.errors;
    EXPECT_PRED_FORMAT2(::testing::IsSubstring, complaint, outcome.errors);
    EXPECT_PRED_FORMAT2(::testing::IsSubstring, "unit    T33\\x1b[2J, build 1A100", outcome.output);
  }
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, "arithmetic: core 0: ", readText(results));
}

TEST_F(BurnInStationTest, StationsOnTheLibraryAloneReadBackWhatTheyWrote) {
  const struct {
    const char* program;
    int offset;
    const char* key;
  } stations[] = {{C_STATION, 40, "CRUN"}, {LIBRARY_STATION, 42, "LRUN"}};
  for (const auto& [program, offset, key] : stations) {
    const auto runStation = [&, program = program](const std::string& faults) {
      return shell("CORVANE_FAULTS=" + faults + " CORVANE_DEVICE=" + shellWord(unit()) + " " +
                   shellWord(program))
          .exitStatus;
    };
    const std::string status = std::to_string(offset), poison = std::to_string(offset + 1);
    EXPECT_EQ(runStation(""), 0) << program;
    EXPECT_PRED_FORMAT2(::testing::IsSubstring, "  " + status + "  0xfc  passed",
                        run("status --list").output);
    EXPECT_EQ(runStation("stuck:VelmoDiagnosticData:" + status + "=0xfd"), 3);
    EXPECT_EQ(runStation("stuck:VelmoDiagnosticDataSysCfg:20=0x07"), 3);
    EXPECT_EQ(runStation("IORegistryEntrySetCFProperties=0xe00002bc"), 3);
    EXPECT_PRED_FORMAT2(::testing::IsSubstring, key, run("syscfg list").output);
    run("poison set " + poison);
    EXPECT_EQ(runStation(""), 3) << "poisoned";
  }
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, "library ok", run("record list").output);
}

}  // namespace
}  // namespace corvane::testing
