#include "tools/ps/ps.h"

#include "host/mach/testing/scripted_kernel.h"
#include "platform/scoped_file.h"
#include "testing/tool_run.h"
#include "tools/command_error.h"

namespace corvane::tools {
namespace {

using corvane::testing::countOf;
using corvane::testing::readText;
using corvane::testing::reasonAgainst;
using corvane::testing::shellWord;
using corvane::testing::splitLines;
using ::testing::IsSubstring;

class PsTest : public corvane::testing::ToolTest {};

TEST_F(PsTest, AFailureIsShownWithItsReason) {
  expectEach({{"ps", 1, "", "processor_set_tasks("}}, "processor_set_tasks");
  expectEach({{"ps >/dev/null", 1, "", "some processes or threads are missing: thread_info()"}},
             "thread_info=6@2");
  expectEach({{"ps --json", 1, "", R"({"schema":1,"error":{"status":1,"message":"the processes)"}},
             "host_processor_set_priv");
  expectEach({{"ps --log", 1, "", "could not be written to"}}, "fopen@2+");
  expectEach({{"ps --log", 1, "", "sampled: host_processor_sets()"}}, "host_processor_sets");
  expectEach({{"ps --log --threads", 2, "", "--log"},
              {"ps --watch 1e9", 2, "", "1e9"},
              {"ps --plot x </dev/null", 2, "", "standard input: holds no sample"}});
}

TEST_F(PsTest, TheReportIsWrittenToTheLog) {
  expectEach({{"ps --log", 0, ""}});
  const auto lines = splitLines(readText(log()));
  ASSERT_GT(lines.size(), 3u);
  EXPECT_TRUE(lines[0].ends_with("    PID\tCPU%\tUsr\tSys\t\tName")) << lines[0];
  EXPECT_TRUE(lines[2].ends_with("\t\tkernel_task")) << lines[2];
}

TEST_F(PsTest, LinesOfThisMachineCanBePlotted) {
  const std::string lines = shellWord(path("lines")), chart = shellWord(path("chart.svg"));
  /// Ends the program when it has shown a second sample.
  const auto watch = [&](const std::string& arguments, const std::string& mark) {
    shell(commandLine(arguments) + " >" + lines + " & for i in $(seq 300); do [ $(grep -c '" +
          mark + "' " + lines + ") -ge 2 ] && break; sleep 0.1; done; kill $!");
  };
  watch("ps --watch 0.3 --json", "}]}$");
  expectEach({{"ps --plot " + chart + " <" + lines, 0, ""}});
  EXPECT_GE(countOf(readText(path("chart.svg")), "<g><title>"), 1u);
  watch("ps --watch 0.3", "^ *PID ");
  EXPECT_PRED_FORMAT2(IsSubstring, " threads, ", splitLines(readText(path("lines"))).at(0));
}

class SampleTest : public ::testing::Test {
 protected:
  using Task = corvane::testing::ScriptedKernel::Task;

  SampleTest() {
    const auto thread = [](integer_t usage, integer_t state, kern_return_t failure) {
      return corvane::testing::ScriptedKernel::Thread{
          {{3, 90'000}, {0, 5'000}, usage, 1, state, 0, 0, 0}, failure};
    };
    _kernel.tasks().push_back({.pid = 10, .name = "short\x9b"});
    _kernel.tasks().push_back({.pid = 20,
                               .threads = {thread(13, TH_STATE_WAITING, KERN_SUCCESS),
                                           thread(18, TH_STATE_RUNNING, KERN_SUCCESS),
                                           thread(500, TH_STATE_RUNNING, MACH_SEND_INVALID_DEST)},
                               .path = "/opt/long/path/of/\u5b9f\u884c-program",
                               .times = {{12, 50'000}, {0, 99'999}}});
    _kernel.tasks().push_back({.pid = 40, .exits = Task::kBeforeItIsAskedForItsId});
    _kernel.tasks().push_back({.pid = 41, .exits = Task::kBeforeItsThreadsAreListed});
  }

  corvane::testing::ScriptedKernel _kernel;
};

TEST_F(SampleTest, FiguresAreTheKernelsOwn) {
  std::ostringstream json, line;
  Sample sample = takeSample();
  EXPECT_FALSE(sample.failure.starts_with("pid_for_task")) << "one has exited";
  printJson(json, sample, true);
  EXPECT_EQ(json.str(),
            R"({
  "schema": 1,
  "processes": [
    {"pid":20,"name":"/opt/long/path/of/\u5b9f\u884c-program","cpu":3.1,"user":12.05,"system":0.09,)"
            R"("state":"running","threadCount":2,"threads":[)"
            R"({"cpu":1.3,"state":"waiting","flags":"swapped","user":3.09,"system":0.00},)"
            R"({"cpu":1.8,"state":"running","flags":"swapped","user":3.09,"system":0.00}]},
    {"pid":10,"name":"[short\ufffd]","cpu":0.0,"user":0.00,"system":0.00,"state":"-","threadCount":0,)"
            R"("threads":[]}
  ]
}
)");
  sample.failure = "why";
  printJsonLine(line, sample, false, 3);
  EXPECT_PRED_FORMAT2(IsSubstring, R"(,"missed":3,"failure":"why","processes":[{"pid":20,)",
                      line.str());
}

TEST_F(SampleTest, ANameStaysReadableInANarrowTable) {
  std::ostringstream table;
  printTable(table, takeSample(), false, 64);
  EXPECT_EQ(table.str(),
            "PID  CPU%   USER  SYSTEM  THREADS  STATE    NAME\n"
            " 20   3.1  12.05    0.09        2  running  \u2026ath/of/\u5b9f\u884c-program\n"
            " 10   0.0   0.00    0.00        0  -        [short\\x9b]\n");
}

std::string plotOf(std::string lines) {
  const ScopedFile file(::fmemopen(lines.data(), lines.size(), "r"));
  return plotSvg(file.get(), "file");
}

TEST(PlotTest, ADamagedLineIsNamedWithItsReason) {
  const char* const cases[][2] = {
      {"not JSON", "parse error"},
      {"[]", "array"},
      {R"({"time":-1,"processes":[]})", "\"time\" must be 0 to 1e+11"},
      {R"({"time":6})", "'processes' not found"},
      {R"({"time":6,"processes":[1]})", "number"},
      {R"({"time":6,"processes":[{"name":"","pid":1,"cpu":1e12}]})", "\"cpu\" must be 0 to"},
      {R"({"time":4,"processes":[]})", "it is earlier than the line before"}};
  for (const auto& [line, reason] : cases) {
    const std::string error = reasonAgainst<CommandError>([&, line = line] {
      plotOf(std::string(R"({"time":5,"processes":[]})") + "\n" + line + "\n");
    });
    EXPECT_TRUE(error.starts_with("file:2: not a line of \"corvane ps --watch --json\": "))
        << error;
    EXPECT_PRED_FORMAT2(IsSubstring, reason, error);
  }
}

TEST_F(PsTest, TheBusiestHaveALineThatBreaksWhereTheyAreMissing) {
  std::string lines, idle;
  for (int pid = 11; pid < 18; ++pid) {
    idle += R"({"pid":)" + std::to_string(pid) + R"(,"name":"/bin/late","cpu":1},)";
  }
  const auto add = [&](int time, const std::string& processes, const char* missed = "") {
    lines +=
        R"({"time":)" + std::to_string(time) + missed + R"(,"processes":[)" + processes + "]}\n";
  };
  const auto busy = [](int usage) {
    return R"({"pid":1,"name":"/bin/<a&\"b]]>\u0001\u009b\ufffe\uffffz","cpu":)" +
           std::to_string(usage) + "}";
  };
  add(100, busy(50) + R"(,{"pid":2,"name":"/bin/idle","cpu":0.5})");
  add(101, busy(150));
  add(102, idle + R"({"pid":2,"name":"/bin/idle","cpu":0.4})");
  add(103, busy(100));
  add(104, busy(100), R"(,"missed":1)");
  lines += R"({"time": 105, "proc)";  // Cut short.
  const std::string svg = plotOf(lines);
  corvane::testing::writeText(path("chart.svg"), svg);
  if (!lacks("xmllint")) {
    EXPECT_EQ(shell("xmllint --noout " + shellWord(path("chart.svg"))).errors, "");
  }
  EXPECT_EQ(countOf(svg, "<g><title>"), 8u);
  EXPECT_EQ(svg.find("idle"), svg.npos);
  EXPECT_PRED_FORMAT2(IsSubstring,
                      R"(<title>/bin/&lt;a&amp;&quot;b]]&gt;\x01\xc2\x9b??z (1)</title>)", svg);
  EXPECT_PRED_FORMAT2(IsSubstring, "mean 100.0 %, peak 150.0 %", svg);
  // From the left edge up by a third of the frame's height a sample; then alone, twice, because a
  // sample was missed between.
  EXPECT_PRED_FORMAT2(IsSubstring, "M64.0 314.7h0L228.0 64.0M556.0 189.3h0M720.0 189.3h0\"", svg);
}

}  // namespace
}  // namespace corvane::tools
