#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_descriptor.h"
#include "testing/tool_run.h"

namespace corvane::testing {
namespace {

class TrialTest : public ToolTest {
 protected:
  nlohmann::json tryStation(const std::string& arguments, int exitStatus) const {
    const Outcome outcome = run("trial --json " + arguments);
    EXPECT_EQ(outcome.exitStatus, exitStatus) << arguments << outcome.errors;
    return nlohmann::json::parse(outcome.output, nullptr, false);
  }
};

const std::string kPlaces = " --status 30 --poison 31 --record 9 ";
const std::string kLiar = shellWord(LIBRARY_LIAR) + kPlaces;
const std::string kKitLiar = shellWord(KIT_LIAR) + " ";

TEST_F(TrialTest, EachLieIsFoundByTheCaseThatShould) {
  const struct {
    std::string station;
    const char *lie, *found, *finding, *reason;
  } cases[] = {
      {kKitLiar, "--lies", "low battery", "lie", "ended with 0, but the unit does not show a pass"},
      // Its kept unit replaces the one of before.
      {kKitLiar, "--lies", "low battery", "lie", "ended with 0, but the unit does not show a pass"},
      {kLiar, "ignores-refusal", "IORegistryEntrySetCFProperties=0xe00002c1@1+", "lie",
       "ended with 0, but the unit does not show a pass"},
      {kLiar, "never-reads-back", "stuck:VelmoDiagnosticData:30=254", "lie",
       "ended with 0, but the unit does not show a pass"},
      {kLiar, "early-verdict", "no power source", "lie", "ended with 1, but the unit shows a pass"},
      {kLiar, "foreign-byte", "no power source", "lie", "ended with 1, but byte 40 was changed"},
      {kLiar, "hangs", "IORegistryEntrySetCFProperties@1+", "hang", "not ended after 5 s"}};
  for (const auto& [station, lie, found, finding, reason] : cases) {
    const auto summary = tryStation(
        station + "--keep " + shellWord(path("kept")) + " --case '" + found + "' -- " + lie, 1);
    EXPECT_TRUE(std::filesystem::exists(path("kept") / found / "before"));
    ASSERT_EQ(summary["findings"].size(), 1u);
    EXPECT_EQ(summary["findings"][0]["finding"], finding);
    EXPECT_PRED_FORMAT2(::testing::IsSubstring, reason, summary["findings"][0]["reason"]);
  }
  const auto meddled = tryStation(kLiar + "--only meddling -- ignores-refusal", 1)["findings"];
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, "an old record is lost", meddled.dump());
}

TEST_F(TrialTest, AnHonestStationIsTriedInEveryWayAndLeavesNothing) {
  // Two jobs have process groups of their own, and one of them leaves the session.
  const std::filesystem::path script = path("station.sh"), pipe = path("pipe"),
                              kit = path("kit.sh");
  const std::string sleep = "sleep 600 >" + shellWord(pipe) + " &\n";
  writeText(script, "#!/bin/bash\nset -m\n" + sleep + "setsid " + sleep + "set +m\n" +
                        shellWord(LIBRARY_LIAR) + "\nexit $?\n");
  // Its results begin with a line that the kit does not write, and end with it when it is cut.
  writeText(kit,
            "#!/bin/bash\n[[ $1 == --describe ]] || "
            "echo '{\"type\": \"end\", \"verdict\": 3}' >\"${@: -1}\"\nexec " +
                kKitLiar + "\"$@\"\n");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const FileDescriptor reader(::open(pipe.c_str(), O_RDONLY | O_NONBLOCK));
  for (const auto& file : {script, kit}) {
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
  }
  for (const std::string& station : {kLiar, shellWord(kit) + " ", shellWord(script) + kPlaces}) {
    const auto summary = tryStation(station + "--limit 100 --keep " + shellWord(path("kept")), 0);
    EXPECT_EQ(summary["cases"], 100);
    for (const auto& kind : summary["kinds"]) EXPECT_GT(kind["honest"], 10);
    EXPECT_FALSE(std::filesystem::exists(path("kept")));
  }
  char byte = 0;
  EXPECT_EQ(::read(reader.get(), &byte, 1), 0) << "a process of the script has it open";
}

TEST_F(TrialTest, AStationThatCannotBeTriedIsNot) {
  expectEach({{"trial /bin/true", 3, "", "does not describe itself"},
              {"trial /bin/false --status 1 --poison 2 --record 3", 3, "", "does not pass"},
              {"trial /bin/true --status 1 --poison 2 --record 3", 3, "", "does not show a pass"},
              {"trial /nonexistent/station", 3, "", "cannot be started: No such file"},
              {"trial " + kLiar + "--case nonsense", 2, "", "no such case"}});
  expectEach({{"trial " + kLiar, 2, "", "'Nonsense' names no platform function"}}, "Nonsense");
}

}  // namespace
}  // namespace corvane::testing
