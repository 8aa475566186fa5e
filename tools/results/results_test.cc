#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>

#include "testing/tool_run.h"
#include "tools/results/results_output.h"

namespace corvane::tools {
namespace {

using corvane::testing::expectFields;
using corvane::testing::Outcome;
using corvane::testing::readText;
using corvane::testing::shellWord;
using corvane::testing::splitLines;
using corvane::testing::writeText;
using nlohmann::json;
using ::testing::IsSubstring;

MeasurementSummary summaryOf(const std::vector<double>& values) {
  MeasurementSummary summary;
  Measurement measurement;
  for (const double value : values) {
    measurement.value = value;
    summary.add(measurement, {});
  }
  return summary;
}

TEST(StatisticsTest, MeanAndDeviationArePreciseForAnySpread) {
  const struct {
    std::vector<double> values;
    double mean;
    std::optional<double> deviation;
    size_t bins;  ///< How many have a value.
    const char* shown;
  } cases[] = {{{6e15 + 20, 6e15 + 22, 6e15 + 21}, 6e15 + 21, 1, 3, "6000000000000021"},
               {{26e6 + 2, 26e6 - 2, 26e6}, 26e6, 2, 3, "26000000"},
               {{3e-18, 1e-18, 2e-18}, 2e-18, 1e-18, 3, "2e-18"},
               {{0, 0, 3e-9, 0}, 0.75e-9, 1.5e-9, 2, "7.5e-10"},
               {{1.7e308, -1.7e308}, 0, {}, 2, "0"},
               {{-9e307, 9e307, 0}, 0, 9e307, 3, "0"},
               {{3.3}, 3.3, {}, 1, "3.3"}};
  for (const auto& [values, mean, deviation, bins, shown] : cases) {
    const MeasurementSummary summary = summaryOf(values);
    const std::optional<double> computed = summary.values.deviation();
    EXPECT_EQ(roundedText(summary.values.mean(), computed), shown);
    EXPECT_NEAR(*summary.values.mean(), mean, 1e-9 * deviation.value_or(0)) << values[0];
    ASSERT_EQ(computed.has_value(), deviation.has_value()) << values[0];
    EXPECT_NEAR(computed.value_or(1) / deviation.value_or(1), 1, 1e-9) << values[0];
    EXPECT_EQ(summary.histogram.counts().size(), bins) << values[0];
  }
}

TEST(StatisticsTest, BinsHoldTheirValues) {
  std::mt19937 random(7);
  for (const double scale : {1e-9, 1.0, 1e12, 1e300}) {
    std::vector<double> values;
    for (size_t i = 0; i < 2000; ++i) {
      values.push_back(std::normal_distribution(i == 0 ? 5.0 : 900.0, 2.0)(random) * scale);
    }
    const MeasurementSummary summary = summaryOf(values);
    const Histogram& histogram = summary.histogram;
    EXPECT_LE(histogram.counts().size(), 64u);
    for (const auto& [bin, count] : histogram.counts()) {
      const auto isInside = [&, at = bin](double value) {
        return value >= histogram.begin(at) && value < histogram.begin(at + 1);
      };
      EXPECT_EQ(count, std::ranges::count_if(values, isInside)) << bin;
    }
    EXPECT_LT(histogram.begin(1) - histogram.begin(0), (*summary.maximum - *summary.minimum) / 30);
  }
}

/// `corvane results` over a few runs whose yields can be counted by hand.
class ResultsTest : public corvane::testing::ToolTest {
 protected:
  ResultsTest() {
    addRun("speaker", "SN1", 1, "failed", 80);
    addRun("speaker", "SN2", 2, "passed", 70);
    addRun("speaker", "SN1", 3, "passed", 71);
    addRun("speaker", "SN3", 4, "", 72);
    addRun("speaker", "SN4", 5, "refused", {});
    addRun("camera & <co>", "SN2", 6, "passed", 69);
    addRun("camera & <co>", "", 7, "incomplete", 69);
    writeText(file(), _text);
  }

  /// Adds a run of that day at `hour` o'clock; without a verdict it does not finish.
  void addRun(const std::string& station, const std::string& unit, int hour,
              const std::string& verdict, std::optional<double> loudness) {
    const std::string number = std::to_string(hour);
    int second = 0;
    const auto add = [&](const std::string& type, const std::string& fields) {
      json line = json::parse("{" + fields + "}");
      line.update({{"schema", 1}, {"type", type}, {"run", "r" + number}, {"station", station}});
      line["time"] = "2026-11-16T0" + number + ":00:0" + std::to_string(second++) + ".000+01:00";
      line["unit"] = unit.empty() ? json(nullptr) : json(unit);
      _text += line.dump() + "\n";
    };
    add("begin", R"("count": 1)");
    if (loudness) {
      const bool isInside = *loudness <= 75;
      add("phaseBegin", R"("phase": "tone")");
      add("measurement", R"("phase": "tone", "name": "loudness", "unitOfMeasure": "dB",
                            "lower": null, "upper": 75, "inside": )" +
                             std::string(isInside ? "true" : "false") + R"(, "value": )" +
                             std::to_string(*loudness));
      add("phase", R"("phase": "tone", "seconds": 1.5, )" +
                       std::string(isInside ? R"("verdict": "passed", "reason": null)"
                                            : R"("verdict": "failed", "reason": "too \"loud\"")"));
    }
    if (!verdict.empty()) add("end", R"("count": 1, "seconds": 2, "verdict": ")" + verdict + '"');
  }

  std::string file() const { return path("results.jsonl"); }
  Outcome run(const std::string& arguments) const { return ToolTest::run("results " + arguments); }
  json jsonOf(const std::string& arguments) const {
    return json::parse(run("--json " + arguments).output);
  }

  std::string _text;
};

// That the numbers are right is compared by results_numbers_test.py.
TEST_F(ResultsTest, YieldsFailuresAndMeasurementsAreShown) {
  const Outcome table = run(file());
  EXPECT_EQ(table.exitStatus, 0) << table.errors;
  // SN2 passed at first, SN1 in the end; SN4 was refused.
  for (const char* part :
       {"speaker           33.33 %  66.67 %      3     5       1           1        1          0",
        "speaker  tone                   1  25.00 %  SN1\n", "\nSN1             2026-11-16 ",
        "80 dB (at most 75)", "failed, then passed", "loudness, dB      4  73.25      4.573 ",
        "tone   loudness, dB  2026-11-16T0", "PASSED  FIRST PASS\ncamera & <co>  2026-11-16T06"}) {
    EXPECT_PRED_FORMAT2(IsSubstring, part, table.output);
  }
  EXPECT_EQ(jsonOf(file())["schema"], 1);
}

TEST_F(ResultsTest, FiltersChooseRuns) {
  const std::tuple<std::string, int, const char*> cases[] = {
      {"", 7, "0.333 0.666 3"},
      {"--station speaker --station camera", 5, "0.333 0.666 3"},
      {"--unit SN1 --unit SN2", 4, "0.5 1.0 2"},
      {"--verdict unfinished --verdict incomplete", 2, "null null null"},
      // SN1's run of 3 o'clock is a retest.
      {"--station speaker --since 2026-11-16T03:00+01:00", 3, "0.0 0.5 2"},
      {"--until 2026-11-16T02:00:00Z", 3, "0.5 1.0 2"},
      {"--until 2026-11-16T01:59:59Z", 2, "0.5 0.5 2"},
      {"--until 2026-11-16", 7, "0.333 0.666 3"},
      {"--by host --station speaker", 5, "0.333 0.666 3"},
      {"--since 2026-11-17T01:00Z", 0, ""}};
  for (const auto& [filters, runs, yields] : cases) {
    const json results = jsonOf(filters + " " + file());
    int count = 0;
    for (const json& station : results["stations"]) count += station["runs"].get<int>();
    EXPECT_EQ(count, runs) << filters;
    if (runs == 0) continue;
    const json& station = results["stations"][0];
    std::string text;
    for (const char* name : {"firstPassYield", "finalYield", "units"}) {
      text += (text.empty() ? "" : " ") + station[name].dump().substr(0, 5);
    }
    EXPECT_EQ(text, yields) << filters;
  }
}

TEST_F(ResultsTest, ARunCountsOnceInFilesOfAFolder) {
  const size_t firstRun = _text.find("\"end\"");
  // Cut before the first run's end, which is read first.
  const size_t cut = _text.rfind('\n', firstRun) + 1;
  writeText(path("line/a.jsonl"), "\xEF\xBB\xBF" + _text.substr(cut));
  writeText(path("line/deeper/b.jsonl"), _text.substr(0, cut));
  writeText(path("line/notes.txt"), "not read");
  for (const std::string& given :
       {path("line").string(), "- <" + file(), path("line").string() + " " + file()}) {
    const json results = jsonOf(given);
    EXPECT_EQ(results["stations"][0]["runs"].get<int>() + results["stations"][1]["runs"].get<int>(),
              7);
    EXPECT_EQ(results["damagedLines"], 0) << given;
    EXPECT_EQ(results["failedRuns"].back()["time"], "2026-11-16T01:00:00.000+01:00") << given;
  }
  EXPECT_EQ(jsonOf(file() + " " + file())["repeatedLines"], splitLines(_text).size());
  // More at once than a limit could allow.
  std::string begins, ends;
  for (int i = 0; i < 5000; ++i) {
    const std::string head = R"({"schema":1,"time":"2026-11-16","station":"s","run":"n)" +
                             std::to_string(i) + R"(","unit":"u)" + std::to_string(i) +
                             R"(","type":)";
    begins += head + "\"begin\"}\n";
    ends += head + "\"end\",\"verdict\":\"passed\"}\n";
  }
  writeText(path("many.jsonl"), begins + ends);
  EXPECT_EQ(jsonOf(path("many.jsonl").string())["stations"][0]["firstPassYield"], 1.0);
}

TEST_F(ResultsTest, ChecksAttemptsLimitsAndGroupsAreShown) {
  const auto add = [&](const std::string& fields) {
    _text +=
        R"({"schema":1,"time":"2026-11-17","station":"s","run":"x","unit":"SN9",)" + fields + "}\n";
  };
  add(R"("type":"begin","host":"h","fixture":"f2","facts":{"model":"M","run":"y"})");
  add(R"("type":"phaseBegin","phase":"p")");
  const std::string volts = R"("type":"measurement","phase":"p","name":"v","unitOfMeasure":"V",)";
  add(volts + R"("attempt":1,"value":9,"lower":3,"upper":4,"inside":false)");
  add(R"("type":"attempt","phase":"p","attempt":1,"verdict":"failed","seconds":1)");
  add(volts + R"("attempt":2,"value":3.3,"lower":3,"upper":4,"inside":true)");
  add(volts + R"("attempt":2,"value":3.3,"lower":3,"upper":5,"inside":true)");
  add(R"("type":"measurement","phase":"p","name":"c","check":"equals","text":"red",)"
      R"("expected":"blue","value":null,"inside":false)");
  add(R"("type":"phase","phase":"p","verdict":"failed","seconds":2,"reason":"wrong")");
  add(R"("type":"end","verdict":"failed","seconds":3,"reason":"r")");
  writeText(file(), _text);
  const json results = jsonOf("--unit SN9 --by fixture " + file());
  const json& station = results["stations"][0];
  EXPECT_EQ(station["fixture"], "f2");
  ASSERT_EQ(station["measurements"].size(), 3u);
  expectFields(results["failedRuns"][0], R"({"unit": "SN9", "phase": "p", "reason": "wrong"})");
  EXPECT_EQ(results["failedRuns"][0]["measurement"]["expected"], "blue");
  expectFields(results["history"][0], R"({"host": "h", "model": "M", "build": null})");
  EXPECT_EQ(results["history"][0]["measurements"].size(), 4u);
  for (const char* part : {"red, expected blue", "3.3 V (3 to 4)"}) {
    EXPECT_PRED_FORMAT2(IsSubstring, part, run("--unit SN9 " + file()).output);
  }
}

TEST_F(ResultsTest, ADamagedLineIsNamedAndLeftOut) {
  const std::vector<std::string> lines = splitLines(_text);
  writeText(file(), "{\"schema\":1,\n" + lines[0] + lines[1] + "\n\n" +
                        R"({"schema":2,"type":"end","run":"x","station":"s"})" + "\n" +
                        R"({"schema":1,"type":"end"})" + "\n[]\n\xFF\n" +
                        std::string(3 << 20, 'x') + "\n" + _text + lines.back().substr(0, 40));
  const std::string line = R"({"schema":1,"run":"x","station":"speaker","type":")";
  writeText(path("whole"), line + "begin\",\"time\":\"today\"}\n" + line +
                               "end\",\"time\":\"2026-11-16\",\"verdict\":\"pased\"}\n" +
                               R"({"schema":2,"type":"end"})");
  const Outcome outcome = run("--json " + file() + " " + path("whole").string());
  EXPECT_EQ(outcome.exitStatus, 1);
  const json results = json::parse(outcome.output);
  EXPECT_EQ(results["damagedLines"], 12);
  EXPECT_EQ(results["stations"][0]["runs"], 5);
  for (const std::string& place :
       {std::string("1: "), std::string("2: "), std::string("3: the line is empty"),
        std::string("4: the line has schema 2"), std::string("5: the line lacks"),
        std::string("6: "), std::string("7: "), std::string("8: the line is longer than 1 MiB"),
        std::to_string(9 + lines.size()) + ": the line is not a result"}) {
    EXPECT_PRED_FORMAT2(IsSubstring, file() + ":" + place, outcome.errors);
  }
  for (const char* place :
       {"1: the line has no time", "2: the line has no verdict", "3: the line has schema 2"}) {
    EXPECT_PRED_FORMAT2(IsSubstring, path("whole").string() + ":" + place, outcome.errors);
  }
  EXPECT_PRED_FORMAT2(IsSubstring, "damaged lines, left out: 12", outcome.errors);
}

TEST_F(ResultsTest, AJunitReportIsValid) {
  if (lacks("xmllint")) GTEST_SKIP() << "xmllint is not installed";
  const std::string report = path("report.xml");
  writeText(path("target.xml"), "old");
  std::filesystem::create_symlink("target.xml", report);
  addRun("speaker", "SN5", 8, "failed", {});
  writeText(file(), _text);
  EXPECT_EQ(run("--junit " + report + " " + file()).exitStatus, 0);
  EXPECT_NE(readText(path("target.xml")), "old");
  const Outcome valid = shell("xmllint --noout --schema " + shellWord(JUNIT_SCHEMA) + " " + report);
  EXPECT_EQ(valid.exitStatus, 0) << valid.errors;
  EXPECT_PRED_FORMAT2(IsSubstring, R"~(<property name="loudness" value="80 dB (at most 75)"/>)~",
                      readText(report));
  EXPECT_PRED_FORMAT2(IsSubstring, R"(<failure message="too &quot;loud&quot;"/>)",
                      readText(report));
  EXPECT_PRED_FORMAT2(IsSubstring, "name=\"tone\" classname=\"speaker.SN1.r1\"", readText(report));
  const std::string counts =
      "concat(count(//testsuite),' ',sum(//@failures),' ',count(//failure),' ',sum(//@errors))";
  EXPECT_EQ(shell("xmllint --xpath \"" + counts + "\" " + report).output, "8 2 2 3\n");
}

TEST_F(ResultsTest, RowsAndAPageAreWritten) {
  addRun("speaker", "SN6", 8, "untrusted", {});
  writeText(file(), "{\n" + _text);
  const std::vector<std::string> rows = splitLines(
      run("--csv --since 2026-11-16 --html " + path("page.html").string() + " " + file()).output);
  ASSERT_EQ(rows.size(), 9u);
  EXPECT_TRUE(
      rows[1].starts_with("2026-11-16T01:00:00.000+01:00,r1,speaker,SN1,1,failed,tone,"
                          "loudness,80,dB,,75,false,"));
  const auto columns = std::ranges::count(rows[0], ',');
  for (const std::string& row : rows) EXPECT_EQ(std::ranges::count(row, ','), columns) << row;
  // The same for the runs that did not pass, the newest first.
  const std::vector<std::string> failed =
      splitLines(run("--csv --table failed-runs " + file()).output);
  ASSERT_EQ(failed.size(), 5u);
  EXPECT_TRUE(failed[0].starts_with("unit,time,station,phase,reason,run,verdict,passedSince,"));
  EXPECT_EQ(failed[4],
            "SN1,2026-11-16T01:00:00.000+01:00,speaker,tone,\"too \"\"loud\"\"\",r1,failed,true,"
            "tone,loudness,80,dB,,75,false,,,,false");
  const std::string page = readText(path("page.html"));
  for (const char* part : {"camera &amp; &lt;co&gt;</th>", "id=\"run-r1\"", "href=\"#run-r1\"",
                           "href=\"#chart-", "SN6", "untrusted", "Made at", "Refused</th>",
                           "--since 2026-11-16<", "damaged lines, left out: 1</strong>"}) {
    EXPECT_PRED_FORMAT2(IsSubstring, part, page);
  }
}

TEST_F(ResultsTest, InputsAreNotReplacedAndProblemsAreReported) {
  std::filesystem::create_symlink(file(), path("link"));
  writeText(path("damaged.jsonl"), "{");
  const std::tuple<std::string, int, const char*> cases[] = {
      {file() + " --junit " + file(), 2, "would replace"},
      {file() + " --html " + path("link").string(), 2, "would replace"},
      {file() + " --html " + path("x").string() + " --junit " + path("x").string(), 2, "same file"},
      {file() + " --csv --html " + path("none/x").string(), 1, "No such file"},
      {file() + " " + path("missing").string(), 2, "cannot be read: 1"},
      {path("empty").string(), 1, "no run was found in 0 files"},
      {"--station speker " + file(), 1, "no run was found that the filters take in 1 file"},
      {path("damaged.jsonl").string(), 1, "damaged lines, left out: 1"},
      {"", 2, "FILE"},
      {"--verdict good -", 2, "good"},
      {"--by moon -", 2, "moon"},
      {"--since '' -", 2, "--since"},
      {"--csv --json -", 2, "--csv"}};
  std::filesystem::create_directory(path("empty"));
  for (const auto& [arguments, status, message] : cases) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.exitStatus, status) << arguments;
    EXPECT_PRED_FORMAT2(IsSubstring, message, outcome.errors);
    // An output that cannot be written is refused before anything is read.
    const bool isRefused = arguments.find(" --") != std::string::npos;
    EXPECT_TRUE(!isRefused || outcome.output.empty()) << arguments;
  }
  EXPECT_EQ(readText(file()), _text);
  const std::string folder = path("killed").string();
  shell("mkdir " + folder + " && mkfifo " + folder + "/p");
  EXPECT_EQ(run(folder + "/p --junit " + folder + "/j.xml --html " + folder +
                "/h.html & sleep 0.5; kill -9 $!; ls " + folder)
                .output,
            "p\n");
}

}  // namespace
}  // namespace corvane::tools
