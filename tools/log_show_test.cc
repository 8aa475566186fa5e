#include "tools/log_show.h"

#include <algorithm>
#include <array>

#include "testing/unit_test.h"
#include "tools/command_error.h"

namespace corvane::tools {
namespace {

class LogShowTest : public ::testing::Test {
 protected:
  std::string show(const std::string& log, const LogFilter& filter, bool json = false) const {
    const std::string file = (_folder.path() / "log.txt").string();
    corvane::testing::writeText(file, log);
    const std::string shown = (_folder.path() / "shown").string();
    std::FILE* const out = std::fopen(shown.c_str(), "w");
    const bool hasShown = showLog(file, filter, json, out);
    std::fclose(out);
    const std::string text = corvane::testing::readText(shown);
    EXPECT_EQ(hasShown, !text.empty());
    return text;
  }

  corvane::testing::TemporaryFolder _folder;
};

constexpr char kFan[] = "[2026-11-16 08:00:00] Fan: slow\n";
constexpr char kTwo[] = "[2026-11-16 08:00:01]     Door: one\nfan \x1b[31m\n";
constexpr char kTwoShown[] = "[2026-11-16 08:00:01]     Door: one\n| fan \\x1b[31m\n";
constexpr char kStation[] =
    "context=\"\",ts=\"2026/11/17 00:00:00\",sid=\"Fan: 1\",msg-type=\"x\"\n";
constexpr char kOther[] = "[2026-11-18 08:00:00] Other: Fan: loud\n";

TEST_F(LogShowTest, RecordsPassWholeWhereEveryConditionHolds) {
  const std::string log = std::string("cut\n") + kFan + kTwo + kStation + kOther;
  const std::pair<LogFilter, std::string> cases[] = {
      {{}, std::string("| cut\n") + kFan + kTwoShown + kStation + kOther},
      {{.test = "Fan"}, kFan},
      {{.test = "Door"}, kTwoShown},
      {{.grep = "fan "}, kTwoShown},
      {{.grep = "Fan: "}, std::string(kFan) + kStation + kOther},
      {{.test = "Fan", .grep = "loud"}, ""},
      {{.stationMessages = true}, kStation},
      {{.since = logTime("2026-11-16T08:00:01", false), .until = logTime("2026-11-17", true)},
       std::string(kTwoShown) + kStation},
      {{.until = logTime("2026-11-16 08:00", false)}, kFan},
  };
  for (const auto& [filter, expected] : cases) EXPECT_EQ(show(log, filter), expected);
  EXPECT_NE(show(log, {.grep = "one"}, true).find(R"("continued":["fan \u001b[31m"])"),
            std::string::npos);
  for (const char* time : {"", "8:00", "2026-11-16 8", "2026-11-16 08:00:00x", "2026/11/16",
                           "2026-02-30", "2026-11-16 24:00"}) {
    EXPECT_THROW(logTime(time, false), CommandError) << time;
  }
}

TEST_F(LogShowTest, NoRecordIsLostWhereTheLogIsReadInParts) {
  // Records of many lengths, so that parts end anywhere in them; one is longer than a part.
  std::string log;
  for (size_t i = 0; i < 6000; ++i) {
    const size_t length = i == 3000 ? 700'000 : i * 37 % 400;
    log += "[2026-11-16 08:00:00] T: " + std::string(length, 'x') + (i % 3 ? "\n" : "\nneedle\n");
  }
  EXPECT_EQ(std::ranges::count(show(log, {}), '\n'), 8000);
  EXPECT_EQ(corvane::testing::countOf(show(log, {.grep = "needle"}), "| needle\n"), 2000u);
}

}  // namespace
}  // namespace corvane::tools
