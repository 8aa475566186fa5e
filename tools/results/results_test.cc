#include <array>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <random>

#include "testing/tool_run.h"
#include "tools/results/run_filter.h"
#include "tools/results/statistics.h"

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

TEST(StatisticsTest, TheyAgreeWithASecondLookAtTheValues) {
  std::mt19937 random(7);
  for (const double scale : {1e-9, 1.0, 1e12}) {
    Statistics statistics;
    std::vector<double> values;
    for (int i = 0; i < 2000; ++i) {
      values.push_back(std::normal_distribution(5.0, 2.0)(random) * scale);
      statistics.add(values.back());
    }
    const double mean = std::accumulate(values.begin(), values.end(), 0.0) / 2000;
    double squares = 0;
    for (const double value : values) squares += (value - mean) * (value - mean);
    const double deviation = std::sqrt(squares / 1999);
    EXPECT_NEAR(statistics.mean() / mean, 1, 1e-12);
    EXPECT_NEAR(statistics.deviation() / deviation, 1, 1e-9);
    EXPECT_NEAR(statistics.capability(mean - 3 * deviation, mean + 6 * deviation).value(), 1, 1e-9);
    EXPECT_NEAR(statistics.capability({}, mean + 6 * deviation).value(), 2, 1e-9);

    const Histogram& histogram = statistics.histogram();
    std::array<uint64_t, Histogram::kBins> expected{};
    for (const double value : values) {
      ++expected.at(static_cast<size_t>((value - histogram.begin()) / histogram.width()));
    }
    EXPECT_EQ(histogram.counts(), expected);
    EXPECT_LT(histogram.width() * Histogram::kBins,
              4 * (statistics.maximum() - statistics.minimum()));
  }
  EXPECT_EQ(Statistics().capability(0, 1), std::nullopt);
}

/// `corvane results` over a few runs whose yields can be told by hand.
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
    const auto add = [&](const std::string& type, const std::string& fields) {
      json line = json::parse("{" + fields + "}");
      line.update({{"schema", 1}, {"type", type}, {"run", "r" + number}, {"station", station}});
      line["time"] = "2026-11-16T0" + number + ":00:00.000+01:00";
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

TEST_F(ResultsTest, YieldsFailuresAndMeasurementsAreTold) {
  const json results = jsonOf(file());
  ASSERT_EQ(results["stations"].size(), 2u);
  EXPECT_EQ(results["schema"], 1);
  EXPECT_EQ(results["stations"][1]["units"], 2);
  const json& speaker = results["stations"][0];
  // SN2 passed at first, SN1 in the end; SN4 was refused.
  EXPECT_DOUBLE_EQ(speaker["firstPassYield"], 1.0 / 3);
  EXPECT_DOUBLE_EQ(speaker["finalYield"], 2.0 / 3);
  expectFields(speaker, R"({"runs": 5, "units": 3,
      "verdicts": {"passed": 2, "failed": 1, "incomplete": 0, "refused": 1, "untrusted": 0,
                   "unfinished": 1},
      "failures": [{"phase": "tone", "measurement": null, "runs": 1},
                   {"phase": "tone", "measurement": "loudness", "runs": 1}]})");
  const json& loudness = speaker["measurements"][0];
  expectFields(loudness, R"({"count": 4, "mean": 73.25, "minimum": 70, "maximum": 80,
                             "lower": null, "upper": 75, "outside": 1})");
  EXPECT_NEAR(loudness["deviation"], 4.573474, 1e-6);
  EXPECT_NEAR(loudness["cpk"], 1.75 / (3 * 4.573474), 1e-6);

  const Outcome table = run(file());
  EXPECT_EQ(table.exitStatus, 0) << table.errors;
  EXPECT_PRED_FORMAT2(IsSubstring,
                      "speaker           5      3     33.33 %  66.67 %       1           1",
                      table.output);
}

TEST_F(ResultsTest, FiltersTakeRunsApart) {
  const std::pair<std::string, int> cases[] = {{"", 7},
                                               {"--station speaker", 5},
                                               {"--station speaker --station camera", 5},
                                               {"--unit SN1 --unit SN2", 4},
                                               {"--verdict unfinished --verdict incomplete", 2},
                                               {"--since 2026-11-16T03:00+01:00", 5},
                                               {"--until 2026-11-16T02:00:00Z", 3},
                                               {"--until 2026-11-16T01:59:59Z", 2},
                                               {"--until 2026-11-16", 7},
                                               {"--since 2026-11-17T01:00Z", 0}};
  for (const auto& [filters, runs] : cases) {
    const json results = jsonOf(filters + " " + file());
    int count = 0;
    for (const json& station : results["stations"]) count += station["runs"].get<int>();
    EXPECT_EQ(count, runs) << filters;
  }
}

TEST_F(ResultsTest, FoldersAndStandardInputAreRead) {
  writeText(path("line/a.jsonl"), _text);
  writeText(path("line/deeper/b.jsonl"), _text);
  writeText(path("line/notes.txt"), "not read");
  EXPECT_EQ(jsonOf(path("line"))["stations"][0]["runs"], 10);
  EXPECT_EQ(jsonOf("- <" + file())["stations"][0]["runs"], 5);
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
        std::to_string(9 + lines.size()) + ": the line is cut"}) {
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
  EXPECT_PRED_FORMAT2(IsSubstring, R"(<property name="loudness" value="80 dB"/>)",
                      readText(report));
  EXPECT_PRED_FORMAT2(IsSubstring, R"(<failure message="too &quot;loud&quot;"/>)",
                      readText(report));
  const std::string counts =
      "concat(count(//testsuite),' ',sum(//@failures),' ',count(//failure),' ',sum(//@errors))";
  EXPECT_EQ(shell("xmllint --xpath \"" + counts + "\" " + report).output, "8 2 2 3\n");
}

TEST_F(ResultsTest, RowsAndAPageAreWritten) {
  const std::vector<std::string> rows =
      splitLines(run("--csv --html " + path("page.html").string() + " " + file()).output);
  ASSERT_EQ(rows.size(), 8u);
  EXPECT_EQ(rows[1],
            "2026-11-16T01:00:00.000+01:00,r1,speaker,SN1,1,failed,tone,loudness,80,dB,,75,false");
  EXPECT_EQ(rows[4], "2026-11-16T05:00:00.000+01:00,r5,speaker,SN4,1,refused,,,,,,,");
  const std::string page = readText(path("page.html"));
  for (const char* part :
       {"<h2>camera &amp; &lt;co&gt;</h2>", "<td>33.33 %</td><td>66.67 %</td>", "<rect "}) {
    EXPECT_PRED_FORMAT2(IsSubstring, part, page);
  }
}

TEST_F(ResultsTest, TheDocumentedQueriesTellTheSame) {
  if (lacks("sqlite3")) GTEST_SKIP() << "sqlite3 is not installed";
  const Outcome outcome =
      shell("cd " + path("").string() + " && sed -n '/^```sql$/,/^```$/{//!p}' " +
            shellWord(RESULTS_DOCUMENTATION) + " | sqlite3 -batch");
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.output,
            "camera & <co>|2|2|0.5|0.5|1\nspeaker|4|3|0.333|0.667|1\nspeaker|tone|1\n");
}

TEST_F(ResultsTest, WrongUsageIsRefused) {
  for (const char* arguments : {"", "missing.jsonl", "--verdict good -", "--since yesterday -",
                                "--since '' -", "--csv --json -"}) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.exitStatus, 2) << arguments;
    EXPECT_NE(outcome.errors, "") << arguments;
  }
}

}  // namespace
}  // namespace corvane::tools
