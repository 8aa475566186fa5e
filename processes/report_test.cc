#include "host/mach/testing/scripted_kernel.h"
#include "processes/numeric_compare.h"
#include "processes/processes.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using Strings = std::vector<std::string>;

class ReportTest : public corvane::testing::UnitTest {
 protected:
  corvane::testing::ScriptedKernel _kernel;
};

TEST_F(ReportTest, ProcessesAreSortedByNumber) {
  for (const int32_t pid : {100, 2, 10, 0}) {
    _kernel.tasks().push_back({.pid = pid, .path = pid == 0 ? "" : "/bin/p" + std::to_string(pid)});
  }
  auto& hundred = _kernel.tasks()[1];
  hundred.threads.resize(2);
  hundred.threads[0].info.cpu_usage = 1000;
  hundred.threads[1].info.cpu_usage = 875;
  hundred.times = {{12, 990'000}, {0, 40'000}};
  Processes().prettyPrintToLog();
  const Strings expected = {
      "    PID\tCPU%\tUsr\tSys\t\tName",     "    ---\t----\t---\t---\t\t----",
      "    0\t0.0\t0.0\t0.0\t\tkernel_task", "    2\t0.0\t0.0\t0.0\t\t/bin/p2",
      "    10\t0.0\t0.0\t0.0\t\t/bin/p10",   "    100\t187.5\t13.0\t0.4\t\t/bin/p100"};
  EXPECT_EQ(logLines(), expected);
  EXPECT_EQ(_unit.systemLog().at(5), "100\t187.5\t13.0\t0.4\t\t/bin/p100");
}

TEST_F(ReportTest, AMissingFigureReadsAsZero) {
  _kernel.tasks().push_back({.pid = 7, .times = {{5, 0}, {5, 0}}});
  host::VirtualDevice::setFaults("task_info");
  Processes().prettyPrintToLog();
  EXPECT_EQ(logLines().at(2), "    7\t0.0\t0.0\t0.0\t\t[Unknown Name]");
}

TEST_F(ReportTest, AReportTakesASampleOnlyWhenThereIsNone) {
  host::VirtualDevice::setFaults("CFDictionaryCreateMutable@1");
  Processes processes;
  ASSERT_EQ(processes.getCachedProcesses(), nullptr);
  _kernel.tasks().push_back({.pid = 1});
  processes.prettyPrintToLog();
  _kernel.tasks().push_back({.pid = 2});
  processes.prettyPrintToLog();
  EXPECT_EQ(logLines().size(), 6u);
}

TEST(NumericCompareTest, TextsOfEqualValueCompareAsAscendingAndOtherObjectsAsEqual) {
  struct Case {
    CFTypeRef receiver, other;
    CFIndex result;
  };
  const int32_t seven = 7;
  const CFRef<CFNumberRef> number(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &seven));
  const Case cases[] = {
      {CFSTR("2"), CFSTR("10"), -1},
      {CFSTR("10"), CFSTR("2"), 1},
      {CFSTR("7"), CFSTR("007"), -1},
      {CFSTR("007"), CFSTR("7"), -1},
      {CFSTR("abc"), CFSTR("0"), -1},
      {CFSTR(" +3x"), CFSTR("-4"), 1},
      {CFSTR("99999999999"), CFSTR("2147483647"), -1},
      {CFSTR("7"), number.get(), 0},
      {CFSTR("7"), nullptr, 0},
      {nullptr, CFSTR("7"), 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(numericCompare(static_cast<CFStringRef>(c.receiver), c.other), c.result);
  }
}

}  // namespace
}  // namespace corvane
