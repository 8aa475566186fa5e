#include <sys/wait.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <regex>

#include "testing/unit_test.h"

namespace corvane {
namespace {

using corvane::testing::readText;
using corvane::testing::splitLines;
using corvane::testing::TemporaryFolder;
using corvane::testing::writeText;
using nlohmann::json;

struct Outcome {
  int exitStatus;
  std::string output;
  std::string errors;
};

/// The tool, run as a user would run it, on a unit of the test's own.
class ToolTest : public ::testing::Test {
 protected:
  std::filesystem::path unit() const { return _folder.path() / "unit"; }

  std::string commandLine(const std::string& arguments) const {
    return "CORVANE_DEVICE='" + unit().string() + "' " CORVANE_TOOL " " + arguments;
  }

  Outcome run(const std::string& arguments) const {
    const std::filesystem::path errors = _folder.path() / "errors";
    FILE* pipe = ::popen((commandLine(arguments) + " 2>" + errors.string()).c_str(), "r");
    std::string output;
    char chunk[4096];
    while (const size_t count = std::fread(chunk, 1, sizeof chunk, pipe)) {
      output.append(chunk, count);
    }
    return {WEXITSTATUS(::pclose(pipe)), output, readText(errors)};
  }

  TemporaryFolder _folder;
};

TEST_F(ToolTest, AByteIsSetAndShown) {
  Outcome outcome = run("status set 20 --status failed --count 2");
  EXPECT_EQ(outcome.exitStatus, 0) << outcome.errors;
  EXPECT_EQ(outcome.output, "offset 20: 0xf2, failed, fail count 2\n");
  EXPECT_EQ(run("status suite passed").exitStatus, 0);
  EXPECT_EQ(run("status log-collection incomplete --json").exitStatus, 0);

  outcome = run("status --written");
  EXPECT_EQ(outcome.output,
            "OFFSET  BYTE  STATUS      FAIL COUNT  USE\n"
            "     9  0xfd  incomplete           0  log collection\n"
            "    18  0xfc  passed               0  test suite\n"
            "    20  0xf2  failed               2\n");
  const json bytes = json::parse(run("status --from 18 --to 20 --json").output);
  ASSERT_EQ(bytes.size(), 3u);
  EXPECT_EQ(bytes[1]["status"], "not-tested");
  EXPECT_EQ(bytes[2], json::parse(R"({"offset": 20, "byte": 242, "status": "failed",
                                      "failCount": 2, "upperBits": 7})"));
}

TEST_F(ToolTest, WhatDidNotComeAboutIsAFailure) {
  EXPECT_EQ(run("device init").exitStatus, 0);
  for (const char* rule : {"IORegistryEntrySetCFProperties", "stuck:VelmoDiagnosticData:20=0xff"}) {
    ::setenv("CORVANE_FAULTS", rule, 1);
    const Outcome outcome = run("status set 20 --status failed --count 2");
    ::unsetenv("CORVANE_FAULTS");
    EXPECT_EQ(outcome.exitStatus, 1) << rule;
    EXPECT_NE(outcome.errors.find("the byte at offset 20 is 0xff, wanted 0xf2"), std::string::npos)
        << outcome.errors;
  }
  std::filesystem::remove_all(unit() / "root/private/var/logs/CorvaneTov");
  writeText(unit() / "root/private/var/logs/CorvaneTov", "a file in the way");
  const Outcome outcome = run("log write lost");
  EXPECT_EQ(outcome.exitStatus, 1);
  EXPECT_NE(outcome.errors.find("could not be written"), std::string::npos) << outcome.errors;
}

TEST_F(ToolTest, WrongUsageIsRefusedBeforeTheUnitIsTouched) {
  for (const char* arguments :
       {"", "nonsense", "status set", "status set x --count 1", "status set 20", "log",
        "status set 20 --count 8", "status set 20 --status 7", "status suite maybe", "device set",
        "device set --battery much", "device path var/log", "log message x", "log write",
        "log write x --raw --test y", "status --from 5 --to 4",
        "device set --without everything"}) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.exitStatus, 2) << arguments;
    EXPECT_NE(outcome.errors, "") << arguments;
    EXPECT_EQ(outcome.output, "") << arguments;
  }
  EXPECT_FALSE(std::filesystem::exists(unit()));
  EXPECT_EQ(run("status --to 1024").exitStatus, 2);
}

TEST_F(ToolTest, EveryCommandTeachesItself) {
  for (const char* command : {"", "status", "status set", "log", "log write", "log message",
                              "device", "device init", "device set"}) {
    const Outcome outcome = run(std::string(command) + " --help");
    EXPECT_EQ(outcome.exitStatus, 0) << command;
    EXPECT_NE(outcome.output.find(command[0] ? std::string("corvane ") + command : "corvane"),
              std::string::npos)
        << outcome.output;
  }
  EXPECT_FALSE(std::filesystem::exists(unit()));
}

TEST_F(ToolTest, AnUnusableUnitIsNamedAndLeftAlone) {
  writeText(unit(), "a file");
  Outcome outcome = run("status");
  EXPECT_EQ(outcome.exitStatus, 3);
  EXPECT_EQ(outcome.errors, "virtual device: " + unit().string() +
                                ": is not a folder\nFailed to get master device port.\n"
                                "Failed to get master port.\ncorvane: the unit is not ready\n");
  EXPECT_EQ(run("log write x").exitStatus, 3);
  EXPECT_EQ(run("device show").exitStatus, 3);
  EXPECT_EQ(readText(unit()), "a file");

  std::filesystem::remove(unit());
  writeText(unit() / "device.plist", "<plist><dict>");
  outcome = run("device set --model T34");
  EXPECT_EQ(outcome.exitStatus, 3);
  EXPECT_EQ(outcome.errors,
            "corvane: " + (unit() / "device.plist").string() + ": is not a property list\n");
  EXPECT_EQ(readText(unit() / "device.plist"), "<plist><dict>");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(unit()), {}), 1);
}

TEST_F(ToolTest, AUnitIsMadeChangedAndShown) {
  Outcome outcome =
      run("device init --model T34AP --battery 53 --external-power no --without boot-args");
  EXPECT_EQ(outcome.output, unit().string() + "\n");
  EXPECT_EQ(run("device init").exitStatus, 1) << "a unit is never made over another";
  EXPECT_EQ(
      run("device set --battery-max 155 --radio no --build 3C1 --without data-area").exitStatus, 0);
  json shown = json::parse(run("device show --json").output);
  EXPECT_EQ(shown["model"], "T34AP");
  EXPECT_EQ(shown["battery"], 53);
  EXPECT_EQ(shown["batteryMax"], 155);
  EXPECT_EQ(shown["externalPower"], false);
  EXPECT_EQ(shown["radio"], false);
  EXPECT_EQ(shown["bootArgs"], nullptr);
  EXPECT_EQ(shown["build"], "3C1");

  outcome = run("status");
  EXPECT_EQ(outcome.exitStatus, 3);
  EXPECT_EQ(outcome.errors, "Failed to get data area.\ncorvane: the unit is not ready\n");
  EXPECT_EQ(run("device set --with data-area").exitStatus, 0);
  EXPECT_EQ(run("status").exitStatus, 0);
  EXPECT_NE(run("device show").output.find("bootArgs             (none)"), std::string::npos);
  EXPECT_EQ(run("device path /var/log/x").output, (unit() / "root/var/log/x").string() + "\n");
}

TEST_F(ToolTest, TheLogIsWrittenAndRead) {
  EXPECT_EQ(run("log tail").exitStatus, 1);
  EXPECT_EQ(run("log write 'closed \"x\"' --test Fixture --indent 1").exitStatus, 0);
  EXPECT_EQ(run("log write --raw -- -raw-").exitStatus, 0);
  EXPECT_EQ(run("log message --sid 'A\"7' --type 'st\"op' 'code=\"0\"'").exitStatus, 0);
  const std::vector<std::string> lines = splitLines(run("log tail -n 3").output);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_TRUE(lines[0].ends_with("]     Fixture: closed \"x\"")) << lines[0];
  EXPECT_EQ(lines[1], "-raw-");
  EXPECT_TRUE(lines[2].ends_with("sid=\"A'7\",msg-type=\"stop\",code=\"0\"")) << lines[2];
  EXPECT_EQ(json::parse(run("log tail -n 1 --json").output), lines[2]);

  EXPECT_EQ(run("log collected").exitStatus, 1);
  writeText(unit() / "root/private/var/logs/BurnIn/.logsCollected", "");
  EXPECT_EQ(run("log collected").output, "collected (old style)\n");
  EXPECT_EQ(json::parse(run("log collected --json").output)["collected"], true);
}

TEST_F(ToolTest, TwoToolsOnOneUnitLoseNothingOfEachOther) {
  EXPECT_EQ(run("device init").exitStatus, 0);
  std::string script;
  for (int i = 0; i < 8; ++i) {
    const std::string offset = std::to_string(i % 2 * 40 + i);
    script += commandLine("status set " + offset + " --status passed --count 1") + " >/dev/null & ";
  }
  ASSERT_EQ(std::system((script + "wait").c_str()), 0);
  const json bytes = json::parse(run("status --written --json").output);
  EXPECT_EQ(bytes.size(), 8u);
}

}  // namespace
}  // namespace corvane
