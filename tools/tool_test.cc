#include <sys/stat.h>

#include "testing/tool_run.h"

namespace corvane::testing {
namespace {

using nlohmann::json;

class CommandTest : public ToolTest {
 protected:
  std::filesystem::path area() const { return unit() / "data/VelmoDiagnosticDataSysCfg.bin"; }
};

TEST_F(CommandTest, AWrongCommandLineIsRefusedBeforeTheUnitIsTouched) {
  const std::pair<std::string, std::string> cases[] = {
      {"", "corvane needs a command: status, poison, "},
      {"statsu", "corvane has no command 'statsu'; it has status, poison, record, "},
      {"status st 20", "corvane status has no command 'st'; it has set, suite or log-collection\n"},
      {"status set 20 --cuont 2 --stats",
       "set has no option '--cuont'; it has --help, --status, --count, --force or --json\n"},
      {"status set 20", "status set needs --status, --count or both\n"},
      {"status set --count 1", "OFFSET is required\n"},
      {"status set x --count 1", "OFFSET takes a number from 0 to 4294967295, not 'x'\n"},
      {"status set 20 --status 7 --count 8",
       "--status takes failed, incomplete, not-tested or passed, not '7'\n"},
      {"status set 20 --count", "corvane status set: --count: "},
      {"status set 20 --count 1 --count 2", "--count is given more than once\n"},
      {"syscfg get -o= OPTS", "-o= needs a value\n"},
      {"syscfg get OPTS -o a --out b", "--output is given more than once\n"},
      {"results x --html -", "--html - would mix with what is printed"},
      {"inspect ''", "FILE takes a file's name, not ''\n"},
      {"log show --until 8:00", "--until takes a time such as 2026-11-16 or "},
      {"record add 'fourteen chars' --station 1 --result 0",
       "does not fit a record, which holds 13"},
      {"record add 'a\x1B[1m' --station 1 --result 0", "bytes of UTF-8 without control characters"},
      {"bootargs add '\xC2\xA0 '", "the word is blank\n"},
      {"bootargs has ''", "the word is empty\n"},
      {"device set", "device set needs something to set\n"},
      {"device set --battery -1",
       "--battery takes a number from 0 to 9223372036854775807, not '-1'\n"},
      {"device path var/log", "'var/log' is not an absolute path on the device\n"},
      {"log write x --raw --test y", "corvane log write: --test "},
      {"log write x y", "corvane log write has no use for 'y'\n"},
      {"syscfg get CN", "'CN' is not a key; give four characters, or 0x and a number\n"},
      {"statsu --json", R"({"schema":1,"error":{"status":2,"message":"corvane has)"}};
  for (const auto& [arguments, message] : cases) expectEach({{arguments, 2, "", message}});
  EXPECT_FALSE(std::filesystem::exists(unit()));
}

TEST_F(CommandTest, AnUnusableUnitIsNamedAndLeftAlone) {
  writeText(unit(), "a file");
  for (const char* command : {"status", "log write x", "log tail", "bootargs show", "facts",
                              "device show", "syscfg set OPTS x"}) {
    expectEach({{command, 3, "", unit().string() + ": is not a folder"}});
  }
  EXPECT_EQ(readText(unit()), "a file");

  std::filesystem::remove_all(unit());
  for (const char* look :
       {"status", "status suite", "poison show 24", "record list", "unit export", "facts",
        "syscfg list", "bootargs show", "log show", "log tail", "log collected", "device show"}) {
    expectEach({{look, 3, "", "there is no unit; \"corvane device init\" makes one"}});
  }
  EXPECT_FALSE(std::filesystem::exists(unit()));
}

TEST_F(CommandTest, AUnitIsMadeChangedAndShown) {
  expectEach({{"device init --model T34AP --battery 53 --external-power no --without boot-args", 0,
               unit().string() + "\n"},
              {"device init", 1, "", "there is a unit in"},
              {"device set --battery-max 155 --radio no --build 3C1 --without data-area", 0, ""},
              {"status", 3, "", "corvane: the unit has no data area\n"},
              {"device set --with data-area", 0, ""},
              {"device path /var/log/x", 0, (unit() / "root/var/log/x").string() + "\n"},
              {"report " + shellWord(unit()) + " -o " + shellWord(unit() / "data/../nvram.plist"),
               2, "", "would replace " + (unit() / "nvram.plist").string()}});
  EXPECT_EQ(run("status").exitStatus, 0);
  expectFields(jsonOf("device show"), R"({"schema": 1, "model": "T34AP", "battery": 53,
      "batteryMax": 155, "radio": false, "externalPower": false, "bootArgs": null,
      "build": "3C1"})");
}

TEST_F(CommandTest, FactsSayWhatCannotBeRead) {
  run("device init");
  EXPECT_EQ(jsonOf("facts"), json::parse(R"({"schema": 1, "model": "T33AP", "build": "1A100",
      "wifi": true, "compass": true, "gyroscope": true, "baseband": true, "batteryPercent": 80,
      "externalPower": true, "version": {"ProductBuildVersion": "1A100"}})"));
  const std::string head =
      "FACT            VALUE\nmodel           T34\\x1b[2J\nbuild           (cannot be read)\n"
      "wifi            yes\ncompass         yes\ngyroscope       no\nbaseband        no\noptions";
  const std::string tail = "\nbatteryPercent  52\nexternalPower   (cannot be read)\n";
  run("device set --model \"$(printf 'T34\\033[2J')\" --battery 53 --without build");
  expectEach({{"device set --without external-power", 0, ""},
              {"facts", 0, head + "         (the key OPTS is not set)" + tail},
              {"syscfg set OPTS serial", 0, "OPTS: serial\n"},
              {"facts", 0, head + "         serial" + tail}});
  std::filesystem::resize_file(area(), 5);
  expectEach({{"facts", 0, head + "         (cannot be read)" + tail}});
  run("device set --without model --without battery --power host");
  expectFields(jsonOf("facts"), R"({"model": null, "baseband": true})");
  expectFields(jsonOf("device show"), R"({"power": "host"})");
}

TEST_F(CommandTest, StatusAndPoisonBytesAreWrittenAndShown) {
  expectEach(
      {{"status set 20 --status failed --count 2", 0, "offset 20: 0xf2, failed, fail count 2\n"},
       {"status suite failed", 0, "offset 18: 0xfe, test suite: failed, fail count 0\n"},
       {"status log-collection complete", 0, "offset 9: 0xfc, log collection: complete\n"},
       {"poison clear 24", 0, "offset 24: 0xfc, not poisoned\n"},
       {"poison set 24", 0, "offset 24: 0xfe, poisoned\n"},
       {"poison clear 24", 1, "",
        "0xfe: a failure, which is not overwritten; \"corvane status set 24 --status not-tested\""},
       {"status --written", 0,
        "OFFSET  BYTE  STATUS               FAIL COUNT  USE\n"
        "     9  0xfc  complete                         log collection\n"
        "    18  0xfe  failed                        0  test suite\n"
        "    20  0xf2  failed                        2\n"
        "    24  0xfe  failed, or poisoned           0\n"}});
  EXPECT_PRED_FORMAT2(::testing::IsSubstring,
                      "\n  16  .   .   F0  .   F2  .   .   .   !   .   .   .   .   .   .   .\n",
                      run("status").output);
  EXPECT_EQ(jsonOf("status")["bytes"][20],
            json::parse(R"({"offset": 20, "byte": 242, "status": "failed", "failCount": 2,
                            "upperBits": 7})"));
  EXPECT_EQ(jsonOf("poison show 24"), json::parse(R"({"schema": 1, "offset": 24, "byte": 254,
                                                      "poisoned": true, "final": true})"));
}

TEST_F(CommandTest, RecordsAreAddedUntilTheChainIsFullAndNotChangedByChance) {
  const std::string second = "record add x --station 13 --result 2";
  EXPECT_EQ(run("record add 'thirteen char' --station 12 --result 1").exitStatus, 0);
  EXPECT_EQ(run(second, "IORegistryEntrySetCFProperties@1").exitStatus, 1);
  expectEach(
      {{"status set 136 --count 1", 1, "", "is in the station of the record at offset 128;"},
       {"poison set 137", 1, "", "is in the flags (version, result, continuation) of the record"},
       {"poison clear 128", 1, "", "is in the time of the record at offset 128; nothing"},
       {"status set 210 --count 1", 1, "",
        "in the message of the unused record slot at offset 200"},
       {"status set 608 --count 1", 1, "", "lies after the records; nothing was changed: --force"},
       {"status set 1024 --count 1", 2, "", "1024 lies outside the data set of 1024 bytes\n"}});
  expectFields(jsonOf("record list")["records"][0],
               R"({"offset": 128, "station": 12, "version": 0, "result": 1,
                   "message": "thirteen char"})");
  expectEach({{"poison set 136 --force", 0, "offset 136: 0xfe, poisoned\n"}});
  EXPECT_EQ(jsonOf("record list")["records"][0]["station"], 254);
  for (int slot = 1; slot < 20; ++slot) {
    EXPECT_EQ(run("record add x --station 14 --result 3").exitStatus, 0) << slot;
  }
  expectEach({{"record add x --station 14 --result 3", 1, "",
               "the chain of records is full: it holds 20\n"}});
}

TEST_F(CommandTest, BootArgsAreEditedAndReadBack) {
  expectEach(
      {{"bootargs set 'alpha=1 '", 0, "before: \"console=1\"\nafter:  \"alpha=1 \"\n"},
       {"bootargs set alpha=1", 0, "before: \"alpha=1 \"\nafter:  \"alpha=1\"\n"},
       {"bootargs add -- '\xC2\xA0 -v '", 0, "before: \"alpha=1\"\nafter:  \"alpha=1 -v\"\n"},
       {"bootargs add ha=1", 1, "", "'ha=1' occurs within another word of \"alpha=1 -v\"\n"},
       {"bootargs show", 0, "alpha=1 -v\n"},
       {"bootargs has alpha", 0, "found within other words only\n"},
       {"bootargs remove a", 0, "before: \"alpha=1 -v\"\nafter:  \"lph=1 -v\"\n",
        "'a' occurred within other words, which are cut\nbefore: \"alpha=1 -v\"\nafter:  "
        "\"lph=1 -v\""},
       {"bootargs remove -- -v", 0, "before: \"lph=1 -v\"\nafter:  \"lph=1 \"\n"},
       {"bootargs remove zeta", 1, "", "nothing is removed: 'zeta' does not occur in \"lph=1 \"\n"},
       {"bootargs has beta", 1, "not found\n"},
       {"bootargs set \"$(printf 'a\\033[2J')\"", 0, "before: \"lph=1 \"\nafter:  \"a\\x1b[2J\"\n"},
       {"bootargs show --json", 0, "{\n  \"schema\": 1,\n  \"bootArgs\": \"a\\u001b[2J\"\n}\n"}});
  expectEach({{"bootargs has a", 0, "found within other words only\n"}},
             "IORegistryEntryCreateCFProperty@2");
}

TEST_F(CommandTest, WhatWasNotDoneIsAFailure) {
  run("device init");
  expectEach(
      {{"status set 20 --status failed --count 2", 1, "", "byte 20 holds 0xff instead of 0xf2; "}},
      "IORegistryEntrySetCFProperties");
  expectEach({{"bootargs add x", 1, "",
               "not made: boot-args are \"console=1\" instead of \"console=1 x\""}},
             "IORegistryEntrySetCFProperty");
  run("device set --without boot-args");
  for (const char* command : {"show", "has x", "add x", "remove x"}) {
    expectEach({{std::string("bootargs ") + command, 1, "", "boot-args are not set"}});
  }
  std::filesystem::remove_all(log().parent_path());
  std::filesystem::create_directories(log());
  expectEach({{"log show", 1, "", log().string() + ": is not a regular file\n"}});
  std::filesystem::remove(log());
  ::mkfifo(log().c_str(), 0600);
  expectEach({{"log write lost", 1, "", log().string() + ": is not a regular file\n"}});
  std::filesystem::remove(log());
  std::filesystem::create_symlink("/dev/zero", log());
  expectEach({{"log tail", 1, "", log().string() + ": is a symbolic link\n"}});
}

TEST_F(CommandTest, TheLogIsWrittenAndRead) {
  run("device init");
  expectEach({{"log tail", 1, "", log().string() + ": No such file or directory\n"},
              {"log write 'closed \"x\"' --test Fixture --indent 1", 0, ""},
              {"log write m --test --test=x= --indent 2", 0, ""},
              {"log write --raw -- \"$(printf -- '-raw-\\033')\"", 0, ""},
              {"log message --sid 'A\"7' --type 'st\"op' 'code=\"0\",x'", 0, ""}});
  const std::vector<std::string> lines = splitLines(run("log tail -n 4").output);
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_TRUE(lines[0].ends_with("]     Fixture: closed \"x\"")) << lines[0];
  EXPECT_TRUE(lines[1].ends_with("]         --test=x=: m")) << lines[1];
  EXPECT_EQ(lines[2], "| -raw-\\x1b");
  EXPECT_TRUE(lines[3].ends_with("sid=\"A'7\",msg-type=\"stop\",code=\"0\",x")) << lines[3];

  writeText(log(),
            "[2026-11-16 00:05:09]     Fixture: a: b\u009b\n[2026-99-16 00:05:09] x\n"
            "context=\"\",ts=\"2026/11/17 00:00:00\",sid=\"A'7\",msg-type=\"stop\",code=\"0\",x\n"
            "last, cut short");
  EXPECT_EQ(
      shell("TZ=UTC " + commandLine("log tail --json")).output,
      R"({"schema":1,"time":"2026-11-16T00:05:09+00:00","indentation":1,"test":"Fixture","message":"a: b\u009b"}
{"schema":1,"time":null,"indentation":0,"test":null,"message":"x"}
{"schema":1,"time":"2026-11-17T00:00:00+00:00","sid":"A'7","type":"stop","fields":{"context":"","code":"0"},"rest":"x"}
{"schema":1,"text":"last, cut short"}
)");

  expectEach({{"log collected", 1, "not collected (old style)\n"}});
  writeText(unit() / "root/private/var/logs/BurnIn/.logsCollected", "");
  expectEach({{"log collected", 0, "collected (old style)\n"}});
}

TEST_F(CommandTest, ALogThatIsReplacedOrEmptiedIsFollowedOn) {
  run("log write --raw first");
  const std::string output = shellWord(path("followed"));
  const auto seen = [&](const std::string& line) {
    return "for i in $(seq 200); do grep -qs " + line + " " + output +
           " && break; sleep 0.1; done; ";
  };
  const std::string script =
      commandLine("log tail -f") + " >" + output + " & pid=$!; " + seen("first") + "rm " +
      shellWord(log()) + "; " + commandLine("log write --raw second") + "; " + seen("second") +
      ": >" + shellWord(log()) + "; sleep 0.5; " + commandLine("log write --raw third") + "; " +
      seen("third") + "kill $pid";
  EXPECT_EQ(std::system(script.c_str()), 0);
  EXPECT_EQ(readText(path("followed")), "| first\n| second\n| third\n");
}

TEST_F(CommandTest, ConfigurationKeysAreSetReadListedAndDeleted) {
  const std::string longer = "a value of more than sixteen bytes";
  const std::string file = shellWord(path("value"));
  writeText(path("value"), std::string("\0\n\xff", 3));
  expectEach({{"syscfg set OPTS 'serial=3'", 0, "OPTS: serial=3\n"},
              {"syscfg set 0x4b455931 --file " + file, 0, "KEY1: 0x000aff\n"},
              {"syscfg set LONG '" + longer + "'", 0, "LONG: " + longer + "\n"},
              {"syscfg set GONE --hex '01 02'", 0, "GONE: 0x0102\n"},
              {"syscfg del GONE", 0, ""},
              {"syscfg list", 0,
               "KEY   KIND      LENGTH  VALUE\n"
               "OPTS  inline        16  serial=3\n"
               "KEY1  inline        16  0x000a\n"
               "LONG  indirect      34  " +
                   longer + "\n"},
              {"syscfg get LONG", 0, longer + "\n"},
              {"syscfg get KEY1", 0, "000affffffffffffffffffffffffffff\n"},
              {"syscfg get OPTS --hex", 0, "73657269616c3d33ffffffffffffffff\n"},
              {"syscfg get LONG -o " + file, 0, ""},
              {"syscfg get LONG --out -", 0, longer},
              {"syscfg get GONE", 1, "", "there is no key GONE"}});
  EXPECT_EQ(readText(path("value")), longer);
  EXPECT_EQ(jsonOf("syscfg list")["entries"][2]["text"], longer);
  EXPECT_EQ(run("syscfg dump").output, readText(area()));
  EXPECT_EQ(run("syscfg map").output.substr(0, 16), "     0  HHiixx..");
}

TEST_F(CommandTest, AConfigurationChangeThatCannotBeMadeLeavesTheAreaAlone) {
  run("syscfg set OPTS kept");
  const std::string before = readText(area());
  writeText(path("big"), std::string(8149, 'x'));
  expectEach({{"syscfg set OPTS --file " + shellWord(path("big")), 1, "", "does not fit"},
              {"syscfg del GONE", 1, "", "there is no key GONE"}});
  const Outcome refused = run("syscfg set OPTS x", "IORegistryEntrySetCFProperties=0xe00002bc");
  EXPECT_EQ(refused.exitStatus, 1);
  EXPECT_TRUE(refused.errors.starts_with("corvane: key OPTS: byte ")) << refused.errors;
  EXPECT_TRUE(
      refused.errors.ends_with("; the write was refused with 0xe00002bc; nothing was changed\n"));
  EXPECT_EQ(readText(area()), before);

  writeText(area(), "SCfg" + before.substr(4));
  for (const char* command : {"list", "get OPTS", "set OPTS x", "del OPTS"}) {
    expectEach({{std::string("syscfg ") + command, 1, "", "its header fails the checks: magic"}});
  }
  EXPECT_EQ(readText(area()), "SCfg" + before.substr(4));
  expectEach({{"syscfg set OPTS x --format", 0, "OPTS: x\n"}, {"syscfg get OPTS", 0, "x\n"}});
  writeText(area(), "short");
  expectEach({{"syscfg list", 3, "", "the configuration area cannot be read\n"}});
}

TEST_F(CommandTest, AChangeIsReportedAsTheUnitHoldsItWhicheverReadFails) {
  const std::string read = "IORegistryEntryCreateCFProperty@";
  EXPECT_EQ(run("bootargs set a").exitStatus, 0);
  const std::string old = readText(unit() / "nvram.plist");
  for (const char* change : {"bootargs set b", "bootargs add b"}) {
    for (const char* number : {"1", "2", "3", "3+", "4", "5"}) {
      writeText(unit() / "nvram.plist", old);
      const Outcome outcome = run(change, read + number);
      const std::string said = change + (" @" + (number + outcome.output)) + outcome.errors;
      const bool isChanged = readText(unit() / "nvram.plist") != old;
      EXPECT_TRUE(isChanged || outcome.exitStatus != 0) << said;
      EXPECT_TRUE(!isChanged || outcome.exitStatus == 0 ||
                  outcome.errors.find("not known") != std::string::npos)
          << said;
      EXPECT_EQ(outcome.output.find("(not set)"), std::string::npos) << said;
    }
  }
  expectEach({{"record add x --station 1 --result 0", 3, "", "read back; it was put back to what"}},
             read + "3");
}

TEST_F(CommandTest, ADumpIsInspectedWithoutAUnit) {
  const std::string file = shellWord(path("dump"));
  expectEach({{"inspect " + file, 2, "", "dump: No such file or directory\n"}});
  writeText(path("dump"), std::string(1023, '\xff') + "x");
  EXPECT_EQ(jsonOf("inspect " + file)["kind"], "control-bit bytes and diagnostic records");
  const std::string toItself = "would replace " + path("dump").string();
  expectEach({{"unit export " + file + " --to " + file, 2, "", toItself},
              {"unit import " + file + " -o " + file, 2, "", toItself},
              {"report " + file + " -o " + file, 2, "", toItself}});
  expectEach({{"unit import " + file + " -o " + shellWord(path("copy")), 0, ""}});
  EXPECT_EQ(readText(path("copy")), readText(path("dump")));
  writeText(path("dump"), std::string(2000000, '\0'));
  const Outcome outcome = run("inspect " + file);
  EXPECT_EQ(outcome.exitStatus, 1);
  EXPECT_NE(outcome.output.find("unknown, over 1048576 bytes"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(unit()));
}

TEST_F(CommandTest, SeveralToolsOnOneUnitLoseNothingOfEachOther) {
  run("device init");
  std::string script;
  for (int i = 0; i < 4; ++i) {
    const std::string number = std::to_string(i);
    for (const std::string& change :
         {"status set " + std::to_string(i % 2 * 40 + i) + " --status passed",
          "poison set " + std::to_string(60 + i), "syscfg set KEY" + number + " x",
          "record add x --result 0 --station " + number, "bootargs add word" + number,
          "device set --battery " + number}) {
      script += commandLine(change) + " >>" + shellWord(path("done")) + " & ";
    }
  }
  ASSERT_EQ(std::system((script + "wait").c_str()), 0);
  EXPECT_EQ(jsonOf("status --written")["bytes"].size(), 8u);
  EXPECT_EQ(jsonOf("syscfg list")["entries"].size(), 4u);
  EXPECT_EQ(jsonOf("record list")["records"].size(), 4u);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(run("bootargs has word" + std::to_string(i)).exitStatus, 0) << i;
  }
}

}  // namespace
}  // namespace corvane::testing
