#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/command_line.h"
#include "tools/files.h"
#include "tools/json_output.h"
#include "tools/results/run_filter.h"
#include "tools/results/run_reader.h"
#include "tools/results/run_writers.h"
#include "tools/results/summary_view.h"
#include "tools/station_commands.h"

namespace corvane::tools {
namespace {

constexpr uint64_t kMostDamagesShown = 20;

struct ResultsOptions {
  std::vector<std::string> paths;
  std::vector<std::string> stations;
  std::vector<std::string> units;
  std::vector<std::string> verdicts;
  std::optional<std::string> since;
  std::optional<std::string> until;
  std::string junit;
  std::string html;
  bool csv = false;
  bool json = false;
};

/// Returns the files among the arguments, and those in their folders (in the order of their names)
/// that end in ".jsonl" or ".json".
std::vector<std::string> filesOf(const std::vector<std::string>& paths) {
  namespace fs = std::filesystem;
  std::vector<std::string> files;
  for (const std::string& path : paths) {
    std::error_code error;
    if (path == "-" || !fs::is_directory(path, error)) {
      if (path != "-" && !fs::exists(path, error)) {
        throw CommandError(kUsage, path + ": there is no such file");
      }
      files.push_back(path);
      continue;
    }
    std::vector<std::string> found;
    for (fs::recursive_directory_iterator entry(path, error), end; !error && entry != end;
         entry.increment(error)) {
      const std::string extension = entry->path().extension();
      if (entry->is_regular_file(error) && (extension == ".jsonl" || extension == ".json")) {
        found.push_back(entry->path());
      }
    }
    if (error) throw CommandError(kUsage, path + ": " + error.message());
    std::ranges::sort(found);
    files.insert(files.end(), found.begin(), found.end());
  }
  return files;
}

TimeSpan timeOption(const std::string& name, const std::string& text) {
  const std::optional<TimeSpan> time = parseTime(text);
  if (time) return *time;
  throw CommandError(kUsage, name + ": '" + text +
                                 "' is no time such as 2026-11-16 or "
                                 "2026-11-16T08:30:00+01:00");
}

RunFilter filterOf(const ResultsOptions& options) {
  RunFilter filter{options.stations, options.units, {}, {}, {}};
  for (const std::string& name : options.verdicts) {
    filter.verdicts.push_back(verdictOf(name).value());
  }
  if (options.since) filter.since = timeOption("--since", *options.since).begin;
  if (options.until) filter.until = timeOption("--until", *options.until).end;
  return filter;
}

std::vector<std::string> verdictNames() {
  std::vector<std::string> names;
  for (size_t i = 0; i < kVerdicts; ++i) names.emplace_back(nameOf(static_cast<RunVerdict>(i)));
  return names;
}

/// Reports damaged lines on standard error, the first ones in full.
class DamageReport {
 public:
  void add(const std::string& file, uint64_t line, const std::string& reason) {
    if (++_count > kMostDamagesShown) return;
    std::cerr << printable(file) << ":" << line << ": the line " << reason << "\n";
  }
  void finish() const {
    if (_count > kMostDamagesShown) {
      std::cerr << "... and " << _count - kMostDamagesShown << " more\n";
    }
    if (_count > 0) std::cerr << "corvane: damaged lines, left out: " << _count << "\n";
  }
  uint64_t count() const { return _count; }

 private:
  uint64_t _count = 0;
};

ExitStatus showResults(const ResultsOptions& options) {
  for (const auto& [name, file] : {std::pair("--junit", options.junit), {"--html", options.html}}) {
    if (file != "-") continue;
    throw CommandError(kUsage,
                       std::string(name) + " - would mix with what is printed; name a file");
  }
  const std::vector<std::string> files = filesOf(options.paths);
  const RunFilter filter = filterOf(options);
  Names names;
  Summary summary;
  DamageReport damage;
  std::optional<JunitWriter> junit;
  if (!options.junit.empty()) junit.emplace(options.junit);
  std::optional<CsvWriter> csv;
  if (options.csv) csv.emplace(std::cout);

  RunReader reader(
      names,
      [&](const Run& run) {
        if (!filter.takes(run, names)) return;
        summary.add(run);
        if (junit) junit->add(run, names);
        if (csv) csv->add(run, names);
      },
      [&](const std::string& file, uint64_t line, const std::string& reason) {
        damage.add(file, line, reason);
      });
  for (const std::string& file : files) reader.read(file);

  if (junit) junit->finish();
  if (!options.html.empty()) {
    const std::string page = summaryAsHtml(summary, names);
    writeFile(options.html, page);
  }
  if (options.json) {
    nlohmann::ordered_json json = summaryAsJson(summary, names);
    json["damagedLines"] = damage.count();
    printJson(json);
  } else if (!options.csv) {
    printSummary(std::cout, summary, names);
  }
  damage.finish();
  return damage.count() == 0 ? kDone : kFailed;
}

}  // namespace

void addResultsCommand(CLI::App& app) {
  const auto options = std::make_shared<ResultsOptions>();
  Command command = Command(app).add(
      "results", "Tell yields, what fails, and measurements from the results of stations");
  command
      .texts("FILE", options->paths,
             "Results as stations write them with --results; a folder stands for its\n"
             ".jsonl and .json files, - for standard input")
      .required();
  command.texts("--station", options->stations, "Only runs of this station; repeatable");
  command.texts("--unit", options->units, "Only runs on this unit; repeatable");
  command.choices("--verdict", options->verdicts, "Only runs that ended so; repeatable",
                  verdictNames());
  command.text("--since", options->since, "Only runs that began at this time or later");
  command.text("--until", options->until,
               "Only runs that began up to the end of this day, minute or second");
  command.file("--junit", options->junit,
               "Also write a JUnit report: a suite a run, a case a phase");
  command.file("--html", options->html, "Also write a page with yields, failures and histograms");
  Option csv = command.flag("--csv", options->csv,
                            "Print a row for each measurement in place of the tables");
  csv.excludes(command.jsonFlag(options->json));
  command.footer(
      "No unit is needed. A unit's first and last runs count for the yields; refused runs do not.\n"
      "Times are ISO 8601: 2026-11-16, or 2026-11-16T08:30:00+01:00. A verdict is passed, failed,\n"
      "incomplete, refused, untrusted or unfinished.\n"
      "Exit status: 0 done, 1 a line was damaged and left out, 2 a file cannot be read.\n"
      "Example:\n  corvane results line-3/ --station speaker --since 2026-11-16 --html today.html");
  command.action([=] { return showResults(*options); });
}

}  // namespace corvane::tools
