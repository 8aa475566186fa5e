#include <algorithm>
#include <fstream>
#include <sstream>

#include "testing/unit_test.h"
#include "tools/log/test_log.h"

namespace corvane::tools {
namespace {

class LogShowTest : public ::testing::Test {
 protected:
  void write(const std::string& log) const { corvane::testing::writeText(_file, log); }

  std::string show(const LogFilter& filter = {}, bool json = false) const {
    std::ostringstream shown;
    const bool hasShown = showLog(_file, filter, json, shown);
    EXPECT_EQ(hasShown, !shown.str().empty());
    return shown.str();
  }

  /// Returns what `corvane log tail` takes the last lines from.
  std::vector<std::string> lastLines(size_t count) const {
    LogReader log(_file, false);
    log.skipToLast(count);
    std::vector<std::string> lines;
    while (auto line = log.nextLine()) lines.push_back(std::move(*line));
    return lines;
  }

  corvane::testing::TemporaryFolder _folder;
  std::string _file = _folder.path() / "log.txt";
};

constexpr char kFan[] = "[2026-11-16 08:00:00] Fan: slow\n";
constexpr char kTwo[] = "[2026-11-16 08:00:01]     Door: one\nfan \x1b[31m\n";
constexpr char kTwoShown[] = "[2026-11-16 08:00:01]     Door: one\n| fan \\x1b[31m\n";
constexpr char kStation[] =
    "context=\"\",ts=\"2026/11/17 00:00:00\",sid=\"Fan: 1\",msg-type=\"x\"\n";
constexpr char kOther[] = "[2026-11-18 08:00:00] Other: Fan: loud\n";

TEST_F(LogShowTest, RecordsPassWholeWhereEveryConditionHolds) {
  write(std::string("cut\n") + kFan + kTwo + kStation + kOther);
  const std::pair<LogFilter, std::string> cases[] = {
      {{}, std::string("| cut\n") + kFan + kTwoShown + kStation + kOther},
      {{.test = "Fan"}, kFan},
      {{.test = "Door"}, kTwoShown},
      {{.grep = "fan "}, kTwoShown},
      {{.grep = "Fan: "}, std::string(kFan) + kStation + kOther},
      {{.test = "Fan", .grep = "loud"}, ""},
      {{.stationMessages = true}, kStation},
      {{.since = "2026-11-16T08:00:01", .until = "2026-11-17"}, std::string(kTwoShown) + kStation},
      {{.until = "2026-11-16 08:00:00"}, kFan},
  };
  for (const auto& [filter, expected] : cases) EXPECT_EQ(show(filter), expected);
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, R"("continued":["fan \u001b[31m"])",
                      show({.grep = "one"}, true));
}

TEST_F(LogShowTest, NoRecordIsLostWhereTheLogIsReadInParts) {
  // Records of many lengths, so that parts end anywhere in them; one is longer than a part.
  std::string log;
  for (size_t i = 0; i < 6000; ++i) {
    const size_t length = i == 3000 ? 700'000 : i * 37 % 400;
    log += "[2026-11-16 08:00:00] T: " + std::string(length, 'x') + (i % 3 ? "\n" : "\nneedle\n");
  }
  write(log);
  EXPECT_EQ(std::ranges::count(show(), '\n'), 8000);
  EXPECT_EQ(corvane::testing::countOf(show({.grep = "needle"}), "| needle\n"), 2000u);
  EXPECT_EQ(lastLines(7000).size(), 7000u);
}

TEST_F(LogShowTest, ZeroBytesAreLeftOutAndReported) {
  const off_t hole = (off_t{1} << 40) + 100;
  write("first\n");
  std::filesystem::resize_file(_file, hole);
  std::ofstream(_file, std::ios::app) << "last\n";
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(show(), "| first\n| last\n");
  EXPECT_EQ(lastLines(10), std::vector<std::string>{"last"});
  EXPECT_PRED_FORMAT2(::testing::IsSubstring,
                      "corvane: " + _file + ": left out " + std::to_string(hole - 6) +
                          " zero bytes before byte " + std::to_string(hole + 5) + "\n",
                      ::testing::internal::GetCapturedStderr());
}

TEST_F(LogShowTest, ALineWithoutEndIsShownInParts) {
  const std::string part(kMaxRecord, 'x');
  write("first\n" + part + part + "\nlast\n");
  const std::vector<std::string> lines = lastLines(9);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_LT(lines[0].size() + lines[1].size(), 2 * part.size());
  EXPECT_EQ(lines[2], "last");
}

}  // namespace
}  // namespace corvane::tools
