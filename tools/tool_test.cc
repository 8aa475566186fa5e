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
  const json bytes = json::parse(run("status --from 18 --to 20 --json").output)["bytes"];
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
  for (const char* arguments : {"",
                                "nonsense",
                                "status set",
                                "status set x --count 1",
                                "status set 20",
                                "log",
                                "status set 20 --count 8",
                                "bootargs",
                                "bootargs add",
                                "bootargs has ''",
                                "device set --power mains",
                                "poison",
                                "poison set",
                                "poison set 256",
                                "record add x",
                                "record add x --station 256 --result 0",
                                "record add x --station 1 --result 4",
                                "record add 'fourteen chars' --station 1 --result 0",
                                "record add 'caf\xC3\xA9' --station 1 --result 0",
                                "status set 20 --status 7",
                                "status suite maybe",
                                "device set",
                                "device set --battery much",
                                "device path var/log",
                                "log message x",
                                "log write",
                                "log write x --raw --test y",
                                "status --from 5 --to 4",
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
  for (const char* command :
       {"", "inspect", "syscfg", "syscfg get", "bootargs", "bootargs add", "facts", "poison",
        "poison set", "record", "record add", "status", "status set", "log", "log write",
        "log message", "device", "device init", "device set"}) {
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
  EXPECT_EQ(run("bootargs show").exitStatus, 3);
  EXPECT_EQ(run("facts").exitStatus, 3);
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

TEST_F(ToolTest, FactsSayWhatCannotBeRead) {
  json facts = json::parse(run("facts --json").output);
  EXPECT_EQ(facts, json::parse(R"({"schema": 1, "model": "T33AP", "build": "1A100", "wifi": true,
      "compass": true, "gyroscope": true, "baseband": true, "batteryPercent": 80,
      "externalPower": true, "version": {"ProductBuildVersion": "1A100"}})"));
  EXPECT_EQ(run("device set --model T34AP --battery 53 --without build").exitStatus, 0);
  EXPECT_EQ(run("device set --without external-power").exitStatus, 0);
  const Outcome outcome = run("facts");
  EXPECT_EQ(outcome.exitStatus, 0) << outcome.errors;
  EXPECT_EQ(outcome.output,
            "FACT            VALUE\n"
            "model           T34AP\n"
            "build           (cannot be read)\n"
            "wifi            yes\n"
            "compass         yes\n"
            "gyroscope       no\n"
            "baseband        no\n"
            "options         (cannot be read)\n"
            "batteryPercent  52\n"
            "externalPower   (cannot be read)\n");
  EXPECT_EQ(run("device set --without model --without battery").exitStatus, 0);
  EXPECT_EQ(run("device set --power host").exitStatus, 0);
  EXPECT_EQ(json::parse(run("device show --json").output)["power"], "host");
  EXPECT_EQ(run("device set --power plist").exitStatus, 0);
  facts = json::parse(run("facts --json").output);
  EXPECT_EQ(facts["model"], nullptr);
  EXPECT_EQ(facts["batteryPercent"], nullptr);
  EXPECT_EQ(facts["baseband"], true);
}

TEST_F(ToolTest, BootArgsAreEditedAndReadBack) {
  struct Case {
    std::string arguments;
    int exitStatus;
    std::string output, errors;
  };
  const std::string cut =
      "corvane: warning: 'a' occurs within other words, which are cut\n"
      "before: \"alpha=1 -v\"\nafter:  \"lph=1 -v\"\n";
  const Case cases[] = {
      {"set 'alpha=1 '", 0, "before: \"serial=1\"\nafter:  \"alpha=1 \"\n", ""},
      {"set alpha=1", 0, "before: \"alpha=1 \"\nafter:  \"alpha=1\"\n", ""},
      {"add -- ' -v '", 0, "before: \"alpha=1\"\nafter:  \"alpha=1 -v\"\n", ""},
      {"add -- -v", 0, "before: \"alpha=1 -v\"\nafter:  \"alpha=1 -v\"\n", ""},
      {"add ha=1", 1, "",
       "corvane: nothing is added: 'ha=1' occurs within another word of \"alpha=1 -v\"\n"},
      {"show", 0, "alpha=1 -v\n", ""},
      {"has alpha=1", 0, "found\n", ""},
      {"has alpha", 0, "found within other words only\n", ""},
      {"has beta", 1, "not found\n", ""},
      {"remove a", 0, "before: \"alpha=1 -v\"\nafter:  \"lph=1 -v\"\n", cut},
      {"remove -- -v", 0, "before: \"lph=1 -v\"\nafter:  \"lph=1 \"\n", ""},
      {"remove zeta", 0, "before: \"lph=1 \"\nafter:  \"lph=1 \"\n", ""},
  };
  for (const Case& c : cases) {
    const Outcome outcome = run("bootargs " + c.arguments);
    EXPECT_EQ(outcome.exitStatus, c.exitStatus) << c.arguments;
    EXPECT_EQ(outcome.output, c.output) << c.arguments;
    EXPECT_EQ(outcome.errors, c.errors) << c.arguments;
  }
  EXPECT_EQ(json::parse(run("bootargs show --json").output)["bootArgs"], "lph=1 ");
}

TEST_F(ToolTest, BootArgsThatDidNotChangeAreAFailure) {
  ::setenv("CORVANE_FAULTS", "IORegistryEntrySetCFProperty", 1);
  for (const char* change : {"add x", "remove serial=1", "set x"}) {
    const Outcome outcome = run("bootargs " + std::string(change));
    EXPECT_EQ(outcome.exitStatus, 1) << change;
    EXPECT_EQ(outcome.errors,
              "corvane: the change did not come about: boot-args are \"serial=1\"\n");
    EXPECT_EQ(outcome.output, "") << change;
  }
  ::unsetenv("CORVANE_FAULTS");

  EXPECT_EQ(run("device set --without boot-args").exitStatus, 0);
  for (const char* command : {"show", "has x", "add x", "remove x"}) {
    const Outcome outcome = run("bootargs " + std::string(command));
    EXPECT_EQ(outcome.exitStatus, 1) << command;
    EXPECT_NE(outcome.errors.find("boot-args are not set"), std::string::npos) << command;
  }
  EXPECT_EQ(run("bootargs set x").output, "before: (not set)\nafter:  \"x\"\n");
}

TEST_F(ToolTest, RecordsAreAddedUntilTheChainIsFullAndListed) {
  EXPECT_EQ(json::parse(run("record list --json").output)["records"], json::array());
  EXPECT_EQ(run("record add 'thirteen char' --station 12 --result 1").exitStatus, 0);
  ::setenv("CORVANE_FAULTS", "IORegistryEntrySetCFProperties@2", 1);
  EXPECT_EQ(run("record add lost --station 13 --result 2").exitStatus, 1);
  ::unsetenv("CORVANE_FAULTS");
  for (int slot = 1; slot < 20; ++slot) {
    EXPECT_EQ(run("record add x --station 14 --result 3").exitStatus, 0) << slot;
  }
  EXPECT_EQ(run("record add x --station 14 --result 3").exitStatus, 1);
  json records = json::parse(run("record list --json").output)["records"];
  ASSERT_EQ(records.size(), 20u);
  records[0].erase("time");
  records[0].erase("seconds");
  EXPECT_EQ(records[0], json::parse(R"({"offset": 128, "station": 12, "version": 0, "result": 1,
                                        "message": "thirteen char"})"));
}

TEST_F(ToolTest, APoisonByteIsSetAndThenStays) {
  EXPECT_EQ(run("poison clear 24").output, "offset 24: 0xfc, not poisoned\n");
  EXPECT_EQ(run("poison set 24").output, "offset 24: 0xfe, poisoned\n");
  const Outcome outcome = run("poison clear 24");
  EXPECT_EQ(outcome.exitStatus, 1);
  EXPECT_NE(outcome.errors.find("not overwritten"), std::string::npos) << outcome.errors;
  EXPECT_EQ(
      json::parse(run("poison show 24 --json").output),
      json::parse(R"({"schema": 1, "offset": 24, "byte": 254, "poisoned": true, "final": true})"));
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

TEST_F(ToolTest, ConfigurationKeysAreSetReadListedAndDeleted) {
  const std::string longer = "a value of more than sixteen bytes";
  const std::filesystem::path file = _folder.path() / "value";
  writeText(file, std::string("\0\n\xff", 3));
  EXPECT_EQ(run("syscfg set OPTS 'serial=3'").exitStatus, 0);
  EXPECT_EQ(run("syscfg set 0x4b455931 --file " + file.string()).exitStatus, 0);
  EXPECT_EQ(run("syscfg set LONG '" + longer + "'").exitStatus, 0);
  EXPECT_EQ(run("syscfg set GONE --hex '01 02'").exitStatus, 0);
  EXPECT_EQ(run("syscfg del GONE").exitStatus, 0);
  EXPECT_EQ(run("syscfg list").output,
            "KEY   KIND      LENGTH  VALUE\n"
            "OPTS  inline        16  serial=3\n"
            "KEY1  inline        16  0x000a\n"
            "LONG  indirect      34  " +
                longer + "\n");
  EXPECT_EQ(json::parse(run("syscfg list --json").output)["entries"][2]["text"], longer);

  EXPECT_EQ(run("syscfg get LONG").output, longer + "\n");
  EXPECT_EQ(run("syscfg get KEY1").output, "000affffffffffffffffffffffffffff\n");
  EXPECT_EQ(run("syscfg get KEY1 --text").output, "\\x00\\x0a\n");
  EXPECT_EQ(run("syscfg get OPTS --hex").output, "73657269616c3d33ffffffffffffffff\n");
  EXPECT_EQ(run("syscfg get LONG --out " + file.string()).exitStatus, 0);
  EXPECT_EQ(readText(file), longer);
  EXPECT_EQ(run("syscfg dump").output, readText(unit() / "data/VelmoDiagnosticDataSysCfg.bin"));
  EXPECT_EQ(run("syscfg map").output.substr(0, 16), "     0  HHiixx..");
  EXPECT_EQ(run("syscfg get GONE").exitStatus, 1);
}

TEST_F(ToolTest, AConfigurationChangeThatCannotBeMadeLeavesTheAreaAlone) {
  const std::filesystem::path area = unit() / "data/VelmoDiagnosticDataSysCfg.bin";
  EXPECT_EQ(run("syscfg set OPTS kept").exitStatus, 0);
  const std::string before = readText(area);
  const std::filesystem::path big = _folder.path() / "big";
  writeText(big, std::string(8149, 'x'));
  for (const std::string& change : {"set OPTS --file " + big.string(), std::string("del GONE")}) {
    EXPECT_EQ(run("syscfg " + change).exitStatus, 1) << change;
    EXPECT_EQ(readText(area), before) << change;
  }
  ::setenv("CORVANE_FAULTS", "IORegistryEntrySetCFProperties", 1);
  EXPECT_EQ(run("syscfg set OPTS lost").exitStatus, 1);
  EXPECT_EQ(run("syscfg del OPTS").exitStatus, 1);
  ::unsetenv("CORVANE_FAULTS");

  writeText(area, "SCfg" + before.substr(4));
  for (const char* command : {"list", "get OPTS", "set OPTS x", "del OPTS"}) {
    const Outcome outcome = run(std::string("syscfg ") + command);
    EXPECT_EQ(outcome.exitStatus, 1) << command;
    EXPECT_NE(outcome.errors.find("holds no store"), std::string::npos) << command;
  }
  EXPECT_EQ(readText(area), "SCfg" + before.substr(4));
  EXPECT_EQ(run("syscfg set OPTS x --format").exitStatus, 0);
  EXPECT_EQ(run("syscfg get OPTS").output, "x\n");
  writeText(area, "short");
  EXPECT_EQ(run("syscfg list").exitStatus, 3);
}

TEST_F(ToolTest, ADumpIsInspectedWithoutAUnit) {
  const std::filesystem::path file = _folder.path() / "dump";
  EXPECT_EQ(run("inspect " + file.string()).exitStatus, 2);
  EXPECT_EQ(run("inspect " + _folder.path().string()).exitStatus, 2);
  writeText(file, std::string(1024, '\xff'));
  const json dump = json::parse(run("inspect --json " + file.string()).output);
  EXPECT_EQ(dump["kind"], "control-bit bytes and diagnostic records");
  writeText(file, std::string(2000000, '\0'));
  const Outcome outcome = run("inspect " + file.string());
  EXPECT_EQ(outcome.exitStatus, 1);
  EXPECT_NE(outcome.output.find("unknown, over 1048576 bytes"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(unit()));

  EXPECT_EQ(run("syscfg set LONG 'more than sixteen bytes'").exitStatus, 0);
  EXPECT_EQ(run("syscfg dump " + file.string()).exitStatus, 0);
  EXPECT_EQ(run("inspect --map " + file.string()).exitStatus, 0);
  writeText(file, readText(file).substr(0, 8180));
  EXPECT_NE(run("inspect " + file.string()).output.find("  8180     12  missing"),
            std::string::npos);
}

TEST_F(ToolTest, TwoToolsOnOneUnitLoseNothingOfEachOther) {
  EXPECT_EQ(run("device init").exitStatus, 0);
  std::string script;
  for (int i = 0; i < 8; ++i) {
    const std::string offset = std::to_string(i % 2 * 40 + i);
    script += commandLine("status set " + offset + " --status passed --count 1") + " >/dev/null & ";
  }
  ASSERT_EQ(std::system((script + "wait").c_str()), 0);
  const json bytes = json::parse(run("status --written --json").output)["bytes"];
  EXPECT_EQ(bytes.size(), 8u);
}

}  // namespace
}  // namespace corvane
