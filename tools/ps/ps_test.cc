#include "host/mach/testing/scripted_kernel.h"
#include "testing/tool_run.h"
#include "tools/ps/process_json.h"
#include "tools/ps/process_plot.h"
#include "tools/ps/process_recording.h"
#include "tools/ps/process_table.h"
#include "tools/ps/testing/xml_check.h"

namespace corvane::tools {
namespace {

using corvane::testing::countOf;
using corvane::testing::Outcome;
using corvane::testing::readText;
using corvane::testing::reasonAgainst;
using corvane::testing::shellWord;
using corvane::testing::splitLines;
using corvane::testing::writeText;
using ::testing::IsSubstring;

class PsTest : public corvane::testing::ToolTest {
 protected:
  std::string file(const std::string& name) const { return path(name).string(); }
};

TEST_F(PsTest, ProcessesAreShownAsAskedFor) {
  const auto shown = jsonOf("ps --threads --sort cpu --top 3")["processes"];
  ASSERT_EQ(shown.size(), 3u);
  EXPECT_GE(shown[0]["cpu"], shown[1]["cpu"]);
  EXPECT_EQ(shown[0]["threads"].size(), shown[0]["threadCount"]);

  const std::vector<std::string> lines = splitLines(run("ps --top 1").output);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_TRUE(lines[0].starts_with("PID  CPU%  ") && lines[0].ends_with("  NAME")) << lines[0];
  EXPECT_TRUE(lines[1].starts_with("  0  ") && lines[1].ends_with("  kernel_task")) << lines[1];
}

TEST_F(PsTest, WhatCannotBeDoneIsRefusedWithItsReason) {
  writeText(file("kept"), "text\n");
  writeText(file("empty"), "");
  const std::string kept = shellWord(file("kept")), empty = shellWord(file("empty"));
  expectEach({{"ps", 1, "", "processor_set_tasks("}}, "processor_set_tasks");
  expectEach({{"ps --json", 1, "", "host_processor_set_priv()"}}, "host_processor_set_priv");
  expectEach({{"ps --record " + shellWord(file("part")) + " --for 0.1", 1, "",
               "some processes or threads are missing: thread_info()"}},
             "thread_info=6@2");
  expectEach({{"ps --log", 1, "", "could not be written to"}}, "fopen@2+");
  expectEach({{"ps --log", 1, "", "sampled: host_processor_sets()"}}, "host_processor_sets");
  expectEach({{"ps --watch 1 </dev/null", 2, "", "needs a terminal"},
              {"ps --sort size", 2, "", "--sort takes cpu, name or pid, not 'size'\n"},
              {"ps --json --watch 1", 2, "", "cannot be used with"},
              {"ps --log --threads", 2, "", "cannot be used with"},
              {"ps --plot x --sort cpu", 2, "", "cannot be used with"},
              {"ps --over 0x10", 2, "", "0x10"},
              {"ps --over nan", 2, "", "nan"},
              {"ps --watch 1e9", 2, "", "1e9"},
              {"ps --top 0", 2, "", "0"},
              {"ps --record " + shellWord(file("new")), 2, "", "--for"},
              {"ps --record " + kept + " --for 1", 1, "", "kept: File exists"},
              {"ps --plot " + kept, 2, "", "kept:1: not a line of a recording: it is not JSON"},
              {"ps --plot " + empty, 2, "", "holds no sample"},
              {"ps --plot " + shellWord(file("missing")), 2, "", "missing: No such file"}});
  EXPECT_EQ(readText(file("kept")), "text\n");
}

class SampleTest : public ::testing::Test {
 protected:
  using Task = corvane::testing::ScriptedKernel::Task;

  SampleTest() {
    const auto thread = [](integer_t usage, integer_t state, kern_return_t failure) {
      return corvane::testing::ScriptedKernel::Thread{
          {{3, 90'000}, {0, 5'000}, usage, 1, state, 0, 0, 0}, failure};
    };
    _kernel.tasks().push_back({.pid = 20,
                               .threads = {thread(13, TH_STATE_WAITING, KERN_SUCCESS),
                                           thread(18, TH_STATE_RUNNING, KERN_SUCCESS),
                                           thread(500, TH_STATE_RUNNING, MACH_SEND_INVALID_DEST)},
                               .path = "/opt/long/path/of/\u5b9f\u884c-program",
                               .times = {{12, 50'000}, {0, 99'999}}});
    _kernel.tasks().push_back({.pid = 30, .name = "short\x9b"});
    _kernel.tasks().push_back({.pid = 40, .exits = Task::kBeforeItIsAskedForItsId});
    _kernel.tasks().push_back({.pid = 41, .exits = Task::kBeforeItsThreadsAreListed});
  }

  corvane::testing::ScriptedKernel _kernel;
};

TEST_F(SampleTest, FiguresAreTheKernelsOwn) {
  std::ostringstream json;
  const Sample sample = takeSample();
  EXPECT_FALSE(sample.failure.starts_with("pid_for_task")) << "one has exited";
  printJson(json, sample.processes, true);
  EXPECT_EQ(json.str(), R"({
  "schema": 1,
  "processes": [
    {"pid":20,"name":"/opt/long/path/of/実行-program","cpu":3.1,"user":12.05,"system":0.09,)"
                        R"("state":"running","threadCount":2,"threads":[
      {"cpu":1.3,"state":"waiting","flags":"swapped","user":3.09,"system":0},
      {"cpu":1.8,"state":"running","flags":"swapped","user":3.09,"system":0}]},
    {"pid":30,"name":"[short�]","cpu":0,"user":0,"system":0,"state":"-","threadCount":0,)"
                        R"("threads":[]}
  ]
}
)");
}

TEST_F(SampleTest, ANameStaysReadableInANarrowTable) {
  const std::pair<std::optional<size_t>, std::vector<std::string>> cases[] = {
      {{},
       {"PID  CPU%   USER  SYSTEM  THREADS  STATE    NAME",
        " 20   3.1  12.05    0.09        2  running  /opt/long/path/of/\u5b9f\u884c-program",
        " 30   0.0   0.00    0.00        0  -        [short\\x9b]"}},
      {49,
       {"PID  CPU%  THREADS  STATE    NAME",
        " 20   3.1        2  running  \u2026ath/of/\u5b9f\u884c-program",
        " 30   0.0        0  -        [short\\x9b]"}},
      {20, {"PID  CPU%  NAME", " 20   3.1  \u2026-program", " 30   0.0  \u2026ort\\x9b]"}},
  };
  for (const auto& [width, lines] : cases) {
    EXPECT_EQ(tableOf(takeSample().processes, false, width), lines);
  }
}

TEST_F(SampleTest, AFailureThatIsNoExitIsTold) {
  _kernel.tasks()[1].threads[0].failure = KERN_RESOURCE_SHORTAGE;
  const Sample sample = takeSample();
  EXPECT_EQ(sample.failure, "thread_info(): (os/kern) resource shortage");
  EXPECT_EQ(sample.processes.size(), 2u);
  EXPECT_EQ(sample.processes[0].usage, 18);
}

TEST(RecordingTest, ADamagedLineIsNamedWithItsReason) {
  const char* const cases[][2] = {
      {"[]", "\"time\" is missing"},
      {R"({"time":-1})", "\"time\" is not a number from 0 to 253402300800"},
      {R"({"time":1e300})", "\"time\" is not a number"},
      {R"({"time":6,"missed":"x"})", "\"missed\" is not a number"},
      {R"({"time":6,"processes":1})", "\"processes\" is not a list"},
      {R"({"time":6,"processes":[1]})", "\"name\" is missing"},
      {R"({"time":6,"processes":[{"name":1}]})", "\"name\" is not a text"},
      {R"({"time":6,"processes":[{"name":"","pid":3e9}]})", "\"pid\" is not a number"},
      {R"({"time":6,"processes":[{"name":"","pid":1,"cpu":1e10}]})", "\"cpu\" is not a number"},
      {R"({"time":4,"processes":[]})", "it is earlier than the line before"},
  };
  for (const auto& [line, reason] : cases) {
    std::istringstream input(std::string(R"({"time":5,"processes":[]})") + "\n" + line + "\n");
    EXPECT_PRED_FORMAT2(IsSubstring, std::string("file:2: not a line of a recording: ") + reason,
                        reasonAgainst<CommandError>([&] { readRecording(input, "file"); }));
  }
}

TEST_F(PsTest, TheReportStandsInTheLog) {
  expectEach({{"ps --log", 0, ""}});
  const auto lines = splitLines(readText(log()));
  ASSERT_GT(lines.size(), 3u);
  EXPECT_TRUE(lines[0].ends_with("    PID\tCPU%\tUsr\tSys\t\tName")) << lines[0];
  EXPECT_TRUE(lines[2].ends_with("\t\tkernel_task")) << lines[2];
}

/// Time that passes only while the recording waits, and in one stall.
struct ScriptedPace : Pace {
  Seconds time{0};
  std::vector<double> waits;
  double stallAt = 0;
  double stall = 0;
  double end = 1e9;

  Seconds now() override { return time; }
  bool waitUntil(Seconds until) override {
    waits.push_back(until.count());
    time = until + Seconds(until.count() == stallAt ? stall : 0);
    return until.count() < end;
  }
};

TEST_F(PsTest, SamplesThatWereMissedStayAGap) {
  ScriptedPace pace;
  pace.stallAt = 2;
  pace.stall = 3.5;
  int taken = 0;
  const auto sample = [&] {
    ++taken;
    return std::vector{ProcessSample{.pid = 1, .name = "/bin/<\xff", .usage = 125}};
  };
  EXPECT_EQ(record(file("run"), {Seconds(8), Seconds(1)}, pace, sample), kDone);
  EXPECT_EQ(pace.waits, (std::vector<double>{1, 2, 6, 7, 8}));
  EXPECT_EQ(taken, 6) << "one to measure from, and one a line";
  const std::vector<RecordedSample> samples = readRecording(file("run"));
  ASSERT_EQ(samples.size(), 5u);
  EXPECT_NEAR(samples[1].time - samples[0].time, 4.5, 0.01);
  EXPECT_NEAR(samples[2].time - samples[1].time, 0.5, 0.01);
  EXPECT_EQ(samples[1].missed, 3);
  EXPECT_EQ(samples[2].missed, 0);
  EXPECT_EQ(samples[4].processes[0].usage, 12.5);
  EXPECT_EQ(samples[4].processes[0].name, "/bin/<\uFFFD");

  writeText(file("run"), readText(file("run")) + R"({"time": 1, "proc)");
  EXPECT_EQ(readRecording(file("run")).size(), 5u) << "a line that was cut short does not count";

  ScriptedPace interrupted;
  interrupted.end = 0.45;
  EXPECT_EQ(record(file("short"), {Seconds(1), Seconds(0.1)}, interrupted, sample), kFailed);
  EXPECT_EQ(readRecording(file("short")).size(), 2u) << "after the quarter of a second it needs";
}

TEST_F(PsTest, ARecordingOfThisMachineCanBePlotted) {
  const std::string recording = shellWord(file("run")), chart = shellWord(file("run.svg"));
  expectEach({{"ps --record " + recording + " --for 0.3 --every 0.3 --top 4", 0, ""},
              {"ps --plot " + recording + " --output " + chart, 0, ""}});
  EXPECT_EQ(readRecording(file("run")).at(0).processes.size(), 4u);
  EXPECT_EQ(run("ps --plot " + recording).output, readText(file("run.svg")));
}

TEST(PlotTest, TheBusiestHaveALineThatBreaksWhereTheyAreMissing) {
  const char* const busy = "/bin/<a&\"b]]>\x01\xff\xC2\x9B\xEF\xBF\xBE\xEF\xBF\xBFz";
  const std::vector<RecordedSample> samples = {
      {100, 0, {{1, busy, 50}, {2, "/bin/idle", 0.5}}},
      {101, 0, {{1, busy, 150}}},
      {102, 0, {{2, "/bin/idle", 0.5}, {3, "/bin/late", 20}}},
      {103, 0, {{1, busy, 100}, {3, "/bin/late", 20}}},
      {104, 1, {{1, busy, 100}}},
  };
  const std::string svg = plotSvg(samples, 2);
  EXPECT_STREQ(corvane::testing::xmlError(svg), nullptr);
  EXPECT_EQ(countOf(svg, "<g><title>"), 2u);
  EXPECT_EQ(svg.find("idle"), svg.npos);
  EXPECT_NE(svg.find(R"(<title>/bin/&lt;a&amp;&quot;b]]&gt;\x01\xff\xc2\x9b??z (1)</title>)"),
            svg.npos);
  EXPECT_NE(svg.find("mean 100.0 %, peak 150.0 %"), svg.npos);
  // From the left edge up by a third of the frame's height a sample; then alone, twice, because a
  // sample was missed between.
  EXPECT_NE(svg.find("d=\"M64.0 314.7L228.0 64.0M556.0 189.3M720.0 189.3\""), svg.npos) << svg;
  EXPECT_EQ(countOf(svg, "<circle"), 2u);
}

TEST(PlotTest, OneSampleOfNothingIsAChartToo) {
  EXPECT_EQ(countOf(plotSvg({{5, 0, {}}}, 8), "<path"), 0u);
  EXPECT_EQ(countOf(plotSvg({{5, 0, {{1, "", 0}}}}, 8), "<circle"), 1u);
}

}  // namespace
}  // namespace corvane::tools
