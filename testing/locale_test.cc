#include <clocale>
#include <cstdlib>
#include <iostream>
#include <locale>
#include <regex>

#include "device/power.h"
#include "host/mach/testing/scripted_kernel.h"
#include "log/log.h"
#include "platform/number.h"
#include "processes/processes.h"
#include "station/station.h"
#include "testing/unit_test.h"

// The C library keeps the folders of $LOCPATH for each locale that it looks up, and never frees
// them.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:argz_add_sep\n";
}

namespace corvane::testing {
namespace {

/// Returns the text without what differs from run to run: times, and the run's own number. What is
/// left shows the mark of a decimal fraction wherever the text has one.
std::string withoutTimes(const std::string& text) {
  static const std::regex kTimes(
      R"re("(time|run|host|version|operator)":"[^"]*"|"seconds":[0-9.]+|[0-9]+\.[0-9]+ s)re"
      R"re(|\[[-0-9: .]+\] |[0-9]{2}:[0-9]{2}:[0-9]{2}|0x52554e53[0-9a-f]+)re"
      R"re(|[0-9]{4}[-/][^ ]+ [:0-9.]+ [^ ]+\[[0-9:]+\])re");
  return std::regex_replace(text, kTimes, "");
}

/// Has each subsystem and the kit make and read numbers on a new unit. Returns what they leave and
/// return.
std::vector<std::string> everything() {
  const TemporaryFolder folder;
  host::VirtualDevice unit(folder.path() / "unit");
  unit.use();
  std::vector<std::string> found;
  const auto device = unit.folder() / "device.plist";
  writeText(device,
            "<plist version=\"1.0\"><dict><key>registry</key><dict>"
            "<key>VelmoDiagnosticDataAccess</key><dict/>"
            "<key>IOPMPowerSource</key><dict><key>CurrentCapacity</key><real>0.75</real>"
            "<key>MaxCapacity</key><real>1.5</real><key>offset</key><integer>-50</integer></dict>"
            "</dict></dict></plist>");
  changeFacts(unit, [](host::UnitFacts& facts) { facts.radio = true; });
  found.push_back(readText(device));
  found.push_back("battery " + std::to_string(getBatteryCapacity()));

  found.push_back(decimalText(parseDecimal("1234.5").value_or(0)));

  ScriptedKernel kernel;
  kernel.tasks().push_back({.pid = 100, .path = "/bin/p", .times = {{1, 500'000}, {0, 0}}});
  kernel.tasks().back().threads.resize(1);
  kernel.tasks().back().threads[0].info.cpu_usage = 125;
  Processes().prettyPrintToLog();

  const auto results = folder.path() / "results.jsonl";
  ::testing::internal::CaptureStdout();
  station::run(
      {.name = "scale", .number = 8, .statusOffset = 20, .poisonOffset = 21, .runCountKey = "SCAL"},
      {.results = results, .unit = "1"}, [](station::TestRun& run) {
        run.phase("weigh", [](station::Phase& phase) {
          phase.measure("weight", 12.5, "g", {.lower = 0.5, .upper = 1000.25});
          phase.measure("drift", 1e-7, "g", {.upper = 0});
        });
      });
  found.push_back(withoutTimes(::testing::internal::GetCapturedStdout()));
  found.push_back(withoutTimes(readText(results)));
  found.push_back(withoutTimes(readText(unit.filePath(kLogFile))));
  found.push_back(withoutTimes(readText(unit.filePath("/private/var/log/system.log"))));
  return found;
}

TEST(LocaleTest, ADecimalCommaChangesNothing) {
  const TemporaryFolder locales;
  const std::string make =
      "localedef -i de_DE -f UTF-8 " + locales.path().string() + "/de_DE.UTF-8";
  const bool isMade = std::system((make + " 2>&1").c_str()) == 0;
  if (!isMade && !std::getenv("CI")) GTEST_SKIP() << "needs localedef of the package locales";
  ASSERT_TRUE(isMade);

  const std::vector<std::string> expected = everything();
  EXPECT_PRED_FORMAT2(::testing::IsSubstring, "<integer>-50", expected[0]);
  ::setenv("LOCPATH", locales.path().c_str(), 1);
  ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
  std::locale::global(std::locale("de_DE.UTF-8"));
  const std::vector<std::string> under = everything();
  std::locale::global(std::locale::classic());
  EXPECT_EQ(under, expected);
}

}  // namespace
}  // namespace corvane::testing
