#include <algorithm>
#include <ctime>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <optional>

#include "platform/time_text.h"
#include "tools/command_line.h"
#include "tools/files.h"
#include "tools/json_output.h"
#include "tools/results/results_output.h"

namespace corvane::tools {
namespace {

struct ResultsOptions {
  std::vector<std::string> paths, stations, units, verdicts;
  std::optional<std::string> since, until;
  std::optional<size_t> by;  ///< The number in kGroupFields.
  std::optional<TableKind> table;
  std::string junit, html;
  bool csv = false, json = false;
};

/// Returns whether the value is in the list; an empty list takes all.
bool isAmong(const std::vector<std::string>& list, std::string_view value) {
  return list.empty() || std::ranges::find(list, value) != list.end();
}

/// Which runs count.
struct RunFilter {
  RunFilter(const ResultsOptions& given, const Names& texts) : options(given), names(texts) {
    if (given.since) since = parseTime(*given.since).value().begin;
    if (given.until) until = parseTime(*given.until).value().end;
  }

  /// Returns whether the run is one of those among which a unit's first and last are looked for.
  bool concerns(const Run& run) const {
    return isAmong(options.stations, names.text(run.station)) && isAmong(options.units, run.unit);
  }
  bool takes(const Run& run) const {
    return concerns(run) && isAmong(options.verdicts, nameOf(run.verdict)) && run.time >= since &&
           run.time < until;
  }

  const ResultsOptions& options;
  const Names& names;
  int64_t since = INT64_MIN, until = INT64_MAX;
};

/// Returns the options that choose runs, such as "--since 2026-11-16".
std::vector<std::string> filtersOf(const ResultsOptions& options) {
  std::vector<std::string> filters;
  const auto add = [&](const std::string& option, const std::vector<std::string>& values) {
    for (const std::string& value : values) filters.push_back(std::string(option) += " " + value);
  };
  add("--station", options.stations);
  add("--unit", options.units);
  add("--verdict", options.verdicts);
  if (options.since) filters.push_back("--since " + *options.since);
  if (options.until) filters.push_back("--until " + *options.until);
  return filters;
}

/// Prints the run's rows of CSV: one for each of its measurements, or one without.
void printRows(const Run& run, const Names& names, bool asNames = false) {
  const auto print = [&](Cells measured) {
    Cells row = joined(headOf(run, names), std::move(measured));
    printCsv(std::cout, joined(std::move(row), restOf(run, names)), asNames);
  };
  if (run.measurements.empty()) print(blank(cellsOf(Measurement(), names)));
  for (const Measurement& each : run.measurements) print(cellsOf(each, names));
}

/// Reports what was left out, and when no run was found. Returns the exit status.
ExitStatus reportSource(const ResultsSource& source, uint64_t runs) {
  for (const Cell& left : leftOut(source)) {
    if (left.value.data != 0) std::cerr << "corvane: " << left.title << ": " << left.text() << "\n";
  }
  if (runs == 0) {
    std::cerr << "corvane: no run was found"
              << (source.filters.empty() ? "" : " that the filters take") << " in " << source.files
              << (source.files == 1 ? " file\n" : " files\n");
  }
  if (source.unreadableFiles > 0) return kUsage;
  return source.damagedLines > 0 || runs == 0 ? kFailed : kDone;
}

/// Refuses outputs that cannot be written, before all reading.
void checkOutputs(const ResultsOptions& options, const std::vector<std::string>& files) {
  const std::vector<std::pair<std::string, std::string>> outputs = {{"--junit", options.junit},
                                                                    {"--html", options.html}};
  requireDistinctOutputs(outputs, files);
  for (const auto& [name, file] : outputs) {
    if (file == "-")
      throw CommandError(kUsage, name + " - would mix with what is printed; name a file");
    std::error_code error;
    // A pipe or a device is opened once only.
    if (!file.empty() && !std::filesystem::is_other(file, error)) const FileReplacement probe(file);
  }
}

ExitStatus showResults(const ResultsOptions& options) {
  Names names;
  const RunFilter filter(options, names);
  ResultsSource source{options.paths, filtersOf(options), options.verdicts.empty()};
  const std::vector<std::string> files = findResults(source);
  checkOutputs(options, files);
  std::optional<JunitWriter> junit;
  if (!options.junit.empty()) junit.emplace(options.junit);

  Summary summary(names, options.by, !options.units.empty());
  const bool hasRows = options.csv && !options.table;
  if (hasRows) printRows({}, names, true);
  readRuns(files, names, source, [&](const Run& run) {
    if (!filter.concerns(run)) return;
    const bool isTaken = filter.takes(run);
    summary.add(run, isTaken);
    if (isTaken && junit) junit->add(run, names);
    if (isTaken && hasRows) printRows(run, names);
  });
  summary.finish();

  const Results results{summary, names, source};
  if (junit) junit->finish();
  if (!options.html.empty()) {
    const std::optional<std::string> now = isoTimeText(std::time(nullptr));
    writeFile(options.html, summaryAsHtml(results, now.value_or("(no time)")));
  }
  if (options.json) {
    printJson(summaryAsJson(results));
  } else if (options.table) {
    printTable(std::cout, *options.table, results, options.csv);
  } else if (!options.csv) {
    printSummary(std::cout, results);
  }
  return reportSource(source, summary.runs);
}

/// Returns the names as choices that mean their places.
template <typename T>
std::map<std::string, T> choicesOf(const auto& things, auto nameOf) {
  std::map<std::string, T> choices;
  for (size_t i = 0; i < things.size(); ++i) choices.emplace(nameOf(things[i]), static_cast<T>(i));
  return choices;
}

}  // namespace

void addResults(CLI::App& app) {
  Command command = Command(app).add(
      "results", "Show yields, failures and measurements from the results of stations",
      "No unit is needed. A unit's first and last runs count for the yields; refused runs do not.\n"
      "A run counts once, in however many files its lines are. Times are ISO 8601: 2026-11-16, or\n"
      "2026-11-16T08:30:00+01:00; a day without a time is the whole day.\n"
      "Exit status: 0 done, 1 no run was found or a line was damaged, 2 a file cannot be read.\n"
      "Example:\n  corvane results line-3/ --station speaker --since 2026-11-16 --html today.html");
  auto& options = command.actionOn<ResultsOptions>(showResults);
  command
      .text("FILE", options.paths,
            "Results as stations write them with --results; a folder stands for its\n"
            ".jsonl and .json files, - for standard input")
      .required();
  command.text("--station", options.stations, "Only runs of this station; repeatable");
  command.text("--unit", options.units, "Only runs on this unit, one by one; repeatable");
  const auto& verdicts = station::internal::kVerdictNames;
  command.choices("--verdict", options.verdicts, "Only runs that ended so; repeatable",
                  {verdicts.begin(), verdicts.end()});
  command.time("--since", options.since, "Only runs that began at this time or later");
  command.time("--until", options.until,
               "Only runs that began up to the end of this day, minute or second");
  command.choice("--by", options.by, "Group the runs of a station by this",
                 choicesOf<size_t>(kGroupFields, std::identity()));
  Option table = command.choice("--table", options.table, "Print only this table, all of it",
                                choicesOf<TableKind>(kTables, std::mem_fn(&TableAbout::name)));
  command.file("--junit", options.junit,
               "Also write a JUnit report: a suite a run, a case a phase");
  command.file("--html", options.html, "Also write a page with yields, failures and histograms");
  Option csv = command.flag("--csv", options.csv,
                            "Print CSV: the table, or without one a row for each measurement");
  const Option json = command.jsonFlag(options.json);
  csv.excludes(json);
  table.excludes(json);
}

}  // namespace corvane::tools
