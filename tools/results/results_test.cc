#include <sys/wait.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <numeric>
#include <random>

#include "testing/tool_run.h"
#include "tools/results/run_filter.h"
#include "tools/results/statistics.h"

namespace corvane::tools {
namespace {

using corvane::testing::readText;
using corvane::testing::splitLines;
using corvane::testing::writeText;
using nlohmann::json;

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

TEST(ParseTimeTest, TimesWithAndWithoutZonesAreRead) {
  ::setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  ::tzset();
  const struct {
    const char* text;
    std::optional<int64_t> time;
  } cases[] = {{"1970-01-01T00:00:00Z", 0},
               {"2026-11-16T00:05:09.042+01:00", 1794783909042},
               {"2026-11-15T18:05:09.042-0500", 1794783909042},
               {"2026-11-16T00:05:09.042", 1794783909042},
               {"2026-07-01", 1782856800000},
               {"2026-07-01T00:00", 1782856800000},
               {"2026-02-30", {}},
               {"2026-11-16T24:00:00Z", {}},
               {"2026-11-16T00:05:09x", {}},
               {"16.11.2026", {}},
               {"", {}}};
  for (const auto& [text, time] : cases) EXPECT_EQ(parseTime(text), time) << text;
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

  /// Of that day at `hour` o'clock; without a verdict it does not finish.
  void addRun(const std::string& station, const std::string& unit, int hour,
              const std::string& verdict, std::optional<double> loudness) {
    char time[64];
    std::snprintf(time, sizeof time, "2026-11-16T%02d:00:00.000+01:00", hour);
    const auto add = [&](const char* type, const json& fields) {
      json line = {{"schema", 1},        {"type", type},
                   {"time", time},       {"run", "r" + std::to_string(hour)},
                   {"station", station}, {"unit", unit.empty() ? json(nullptr) : json(unit)}};
      line.update(fields);
      _text += line.dump() + "\n";
    };
    add("begin", {{"count", 1}});
    if (loudness) {
      const bool isInside = *loudness <= 75;
      add("phaseBegin", {{"phase", "tone"}});
      add("measurement", {{"phase", "tone"},
                          {"name", "loudness"},
                          {"value", *loudness},
                          {"unitOfMeasure", "dB"},
                          {"lower", nullptr},
                          {"upper", 75},
                          {"inside", isInside}});
      add("phase", {{"phase", "tone"},
                    {"verdict", isInside ? "passed" : "failed"},
                    {"seconds", 1.5},
                    {"reason", isInside ? json(nullptr) : json("too \"loud\"")}});
    }
    if (!verdict.empty()) add("end", {{"count", 1}, {"verdict", verdict}, {"seconds", 2.0}});
  }

  std::string file() const { return at("results.jsonl"); }
  std::string at(const std::string& name) const { return path(name).string(); }

  std::string shell(const std::string& command) {
    FILE* pipe = ::popen((command + " 2>'" + at("errors") + "'").c_str(), "r");
    std::string output;
    char chunk[4096];
    while (const size_t count = std::fread(chunk, 1, sizeof chunk, pipe)) {
      output.append(chunk, count);
    }
    _exitStatus = WEXITSTATUS(::pclose(pipe));
    _errors = readText(at("errors"));
    return output;
  }
  std::string run(const std::string& arguments) {
    return shell(commandLine("results " + arguments));
  }

  std::string _text;
  int _exitStatus = 0;
  std::string _errors;
};

TEST_F(ResultsTest, YieldsFailuresAndMeasurementsAreTold) {
  const json results = json::parse(run("--json " + file()));
  EXPECT_EQ(_exitStatus, 0) << _errors;
  EXPECT_EQ(results["schema"], 1);
  ASSERT_EQ(results["stations"].size(), 2u);
  const json& speaker = results["stations"][0];
  EXPECT_EQ(speaker["runs"], 5);
  EXPECT_EQ(speaker["units"], 3) << "SN4 was refused";
  EXPECT_DOUBLE_EQ(speaker["firstPassYield"], 1.0 / 3) << "SN2";
  EXPECT_DOUBLE_EQ(speaker["finalYield"], 2.0 / 3) << "SN1 and SN2";
  EXPECT_EQ(speaker["verdicts"], json::parse(R"({"passed": 2, "failed": 1, "incomplete": 0,
      "refused": 1, "untrusted": 0, "unfinished": 1})"));
  EXPECT_EQ(speaker["failures"], json::parse(R"([
      {"phase": "tone", "measurement": null, "runs": 1},
      {"phase": "tone", "measurement": "loudness", "runs": 1}])"));
  const json& loudness = speaker["measurements"][0];
  EXPECT_EQ(loudness["count"], 4);
  EXPECT_EQ(loudness["mean"], 73.25);
  EXPECT_EQ(loudness["minimum"], 70.0);
  EXPECT_EQ(loudness["maximum"], 80.0);
  EXPECT_EQ(loudness["lower"], nullptr);
  EXPECT_EQ(loudness["upper"], 75.0);
  EXPECT_EQ(loudness["outside"], 1);
  EXPECT_NEAR(loudness["deviation"], 4.573474, 1e-6);
  EXPECT_NEAR(loudness["cpk"], 1.75 / (3 * 4.573474), 1e-6);
  EXPECT_EQ(results["stations"][1]["units"], 2);

  EXPECT_NE(run(file()).find("speaker           5      3     33.33 %  66.67 %       1           1"),
            std::string::npos)
      << run(file());
}

TEST_F(ResultsTest, FiltersTakeRunsApart) {
  const std::pair<const char*, int> cases[] = {{"", 7},
                                               {"--station speaker", 5},
                                               {"--station speaker --station camera", 5},
                                               {"--unit SN1 --unit SN2", 4},
                                               {"--verdict passed", 3},
                                               {"--verdict unfinished --verdict incomplete", 2},
                                               {"--since 2026-11-16T03:00+01:00", 5},
                                               {"--until 2026-11-16T02:00:00Z", 2},
                                               {"--since 2026-11-17T01:00Z", 0}};
  for (const auto& [filters, runs] : cases) {
    const json results = json::parse(run(std::string("--json ") + filters + " " + file()));
    int count = 0;
    for (const json& station : results["stations"]) count += station["runs"].get<int>();
    EXPECT_EQ(count, runs) << filters;
  }
}

TEST_F(ResultsTest, FoldersAndStandardInputAreRead) {
  writeText(at("line/a.jsonl"), _text);
  writeText(at("line/deeper/b.jsonl"), _text);
  writeText(at("line/notes.txt"), "not read");
  EXPECT_EQ(json::parse(run("--json " + at("line")))["stations"][0]["runs"], 10);
  EXPECT_EQ(json::parse(run("--json - <" + file()))["stations"][0]["runs"], 5);
}

TEST_F(ResultsTest, ADamagedLineIsNamedAndLeftOut) {
  const std::vector<std::string> lines = splitLines(_text);
  std::string text = "{\"schema\":1,\n" + lines[0] + lines[1] + "\n\n" +
                     R"({"schema":2,"type":"end","run":"x","station":"s"})" + "\n" +
                     R"({"schema":1,"type":"end"})" + "\n[]\n\xFF\n" + std::string(3 << 20, 'x') +
                     "\n" + _text + lines.back().substr(0, 40);
  writeText(file(), text);
  const json results = json::parse(run("--json " + file()));
  EXPECT_EQ(_exitStatus, 1);
  EXPECT_EQ(results["damagedLines"], 9);
  EXPECT_EQ(results["stations"][0]["runs"], 5);
  const size_t last = 9 + lines.size();
  for (const std::string& expected :
       {file() + ":1: ", file() + ":2: ", file() + ":3: the line is empty",
        file() + ":4: the line has schema 2", file() + ":5: the line lacks",
        file() + ":6: ", file() + ":7: ", file() + ":8: the line is longer than 1 MiB",
        file() + ":" + std::to_string(last) + ": the line is cut",
        std::string("damaged lines, left out: 9")}) {
    EXPECT_NE(_errors.find(expected), std::string::npos) << expected << "\n" << _errors;
  }
}

TEST_F(ResultsTest, AJunitReportIsValid) {
  writeText(at("target.xml"), "old");
  std::filesystem::create_symlink("target.xml", path("report.xml"));
  run("--junit " + at("report.xml") + " " + file());
  EXPECT_NE(readText(at("target.xml")), "old");
  EXPECT_EQ(_exitStatus, 0) << _errors;
  shell("xmllint --noout --schema " JUNIT_SCHEMA " " + at("report.xml"));
  EXPECT_EQ(_exitStatus, 0) << _errors;
  const std::string report = readText(at("report.xml"));
  EXPECT_NE(report.find(R"(<property name="loudness" value="80 dB"/>)"), std::string::npos);
  EXPECT_NE(report.find(R"(<failure message="too &quot;loud&quot;"/>)"), std::string::npos);
  EXPECT_EQ(shell("xmllint --xpath 'concat(count(//testsuite),\" \",sum(//@failures),\" "
                  "\",sum(//@errors))' " +
                  at("report.xml")),
            "7 1 3\n");
}

TEST_F(ResultsTest, RowsAndAPageAreWritten) {
  const std::vector<std::string> rows =
      splitLines(run("--csv --html " + at("page.html") + " " + file()));
  ASSERT_EQ(rows.size(), 8u);
  EXPECT_EQ(rows[1],
            "2026-11-16T01:00:00.000+01:00,r1,speaker,SN1,1,failed,tone,loudness,80,dB,,75,false");
  EXPECT_EQ(rows[4], "2026-11-16T05:00:00.000+01:00,r5,speaker,SN4,1,refused,,,,,,,");
  const std::string page = readText(at("page.html"));
  for (const char* fetched : {"src=", "href=", "url(", "@import", "http:"}) {
    EXPECT_EQ(page.find(fetched), std::string::npos) << fetched;
  }
  EXPECT_NE(page.find("<h2>camera &amp; &lt;co&gt;</h2>"), std::string::npos);
  EXPECT_NE(page.find("<td>33.33 %</td><td>66.67 %</td>"), std::string::npos);
  EXPECT_NE(page.find("<rect "), std::string::npos);
}

/// The lines of the first block of that language in the documentation.
std::string documentedBlock(const std::string& language) {
  const std::string text = readText(RESULTS_DOCUMENTATION);
  const size_t begin = text.find("```" + language + "\n") + language.size() + 4;
  return text.substr(begin, text.find("```", begin) - begin);
}

TEST_F(ResultsTest, TheDocumentedQueriesTellTheSame) {
  writeText(at("queries.sql"), documentedBlock("sql"));
  const std::vector<std::string> rows =
      splitLines(shell("cd " + path("").string() + " && sqlite3 -batch <queries.sql"));
  EXPECT_EQ(_errors, "");
  EXPECT_EQ(rows, (std::vector<std::string>{"camera & <co>|2|2|0.5|0.5|1",
                                            "speaker|4|3|0.333|0.667|1", "speaker|tone|1"}));
}

TEST_F(ResultsTest, WrongUsageIsRefused) {
  for (const char* arguments :
       {"", "missing.jsonl", "--verdict good -", "--since yesterday -", "--csv --json -"}) {
    run(arguments);
    EXPECT_EQ(_exitStatus, 2) << arguments;
    EXPECT_NE(_errors, "") << arguments;
  }
}

}  // namespace
}  // namespace corvane::tools
