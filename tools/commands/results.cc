#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <span>

#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/command_line.h"
#include "tools/files.h"
#include "tools/json_output.h"
#include "tools/results/cells.h"
#include "tools/results/junit_writer.h"
#include "tools/results/run_reader.h"
#include "tools/results/summary_tables.h"

namespace corvane::tools {
namespace {

constexpr uint64_t kMaxDamagesShown = 20;

struct ResultsOptions {
  std::vector<std::string> paths, stations, units, verdicts;
  std::optional<std::string> since, until;
  std::optional<size_t> by;  ///< The number in kGroupFields.
  std::optional<TableKind> table;
  std::string junit, html;
  bool csv = false, json = false;
};

/// Which runs count. A list that is empty takes all.
struct RunFilter {
  std::vector<std::string> stations;
  std::vector<std::string> units;
  std::vector<Verdict> verdicts;
  std::optional<int64_t> since;  ///< The earliest time at which a run begins.
  std::optional<int64_t> until;  ///< The time before which it begins.

  /// Returns whether the run is one of those among which a unit's first and last are looked for.
  bool concerns(const Run& run, const Names& names) const {
    return isAmong(stations, names.text(run.station)) && isAmong(units, run.unit);
  }
  bool takes(const Run& run, const Names& names) const {
    return concerns(run, names) && isAmong(verdicts, run.verdict) &&
           (!since || run.time >= *since) && (!until || run.time < *until);
  }

 private:
  template <typename T>
  static bool isAmong(const std::vector<T>& list, const T& value) {
    return list.empty() || std::ranges::find(list, value) != list.end();
  }
};

/// Reports what cannot be read, on standard error, and counts it.
class DamageReport {
 public:
  explicit DamageReport(ResultsSource& source) : _source(source) {}
  /// Reports a line, if it is one of the first.
  void addLine(const std::string& file, uint64_t line, const std::string& reason) {
    if (++_source.damagedLines > kMaxDamagesShown) return;
    std::cerr << printable(file) << ":" << line << ": the line " << reason << "\n";
  }
  void addFile(const std::string& message) {
    ++_source.unreadableFiles;
    std::cerr << "corvane: " << printable(message) << "\n";
  }

 private:
  ResultsSource& _source;
};

/// Adds what the command line names; of a folder, the files in it that end in ".jsonl" or ".json",
/// in the order of their names.
void addFiles(const std::filesystem::path& path, bool isNamed, std::vector<std::string>& files,
              DamageReport& damage) {
  namespace fs = std::filesystem;
  std::error_code error;
  const bool isLink = !isNamed && fs::is_symlink(path, error);
  if (path == "-" || isLink || !fs::is_directory(path, error)) {
    const bool isResults = path.extension() == ".jsonl" || path.extension() == ".json";
    if (isNamed || (isResults && !fs::is_directory(path, error))) files.push_back(path);
    return;
  }
  std::set<fs::path> entries;
  for (fs::directory_iterator entry(path, error), end; !error && entry != end;
       entry.increment(error)) {
    entries.insert(entry->path());
  }
  if (error) damage.addFile(path.string() + ": " + error.message());
  for (const fs::path& entry : entries) addFiles(entry, false, files, damage);
}

TimeSpan timeOption(const std::string& name, const std::string& text) {
  const std::optional<TimeSpan> time = parseTime(text);
  if (time) return *time;
  throw CommandError(kUsage, name + ": '" + text +
                                 "' is not a time; give one such as 2026-11-16 or "
                                 "2026-11-16T08:30:00+01:00");
}

/// Which runs count, as `source` then has it. A list that is empty takes all.
RunFilter filterOf(const ResultsOptions& options, ResultsSource& source) {
  RunFilter filter{options.stations, options.units, {}, {}, {}};
  const auto add = [&](const char* name, const auto& values) {
    for (const std::string& value : values) source.filters.push_back(name + (" " + value));
  };
  add("--station", options.stations);
  add("--unit", options.units);
  add("--verdict", options.verdicts);
  for (const std::string& name : options.verdicts) {
    filter.verdicts.push_back(station::verdictNamed(name).value());
  }
  if (options.since) {
    filter.since = timeOption("--since", *options.since).begin;
    add("--since", std::array{*options.since});
  }
  if (options.until) {
    filter.until = timeOption("--until", *options.until).end;
    add("--until", std::array{*options.until});
  }
  source.hasYields = options.verdicts.empty();
  return filter;
}

std::vector<std::string> textsOf(std::span<const std::string_view> names) {
  return {names.begin(), names.end()};
}

/// Returns the run's row of CSV for one of its measurements, or for none.
Cells rowOf(const Run& run, const Measurement* measurement, const Names& names) {
  Cells row = headOf(run, names);
  append(row, measurement ? cellsOf(*measurement, names) : blank(cellsOf(Measurement(), names)));
  append(row, restOf(run, names));
  return row;
}

/// Calls `take` with each run. A file that cannot be read does not stop the others.
void readRuns(const std::vector<std::string>& files, Names& names, ResultsSource& source,
              DamageReport& damage, const RunReader::TakeRun& take) {
  RunReader reader(names, take,
                   [&](const std::string& file, uint64_t line, const std::string& reason) {
                     damage.addLine(file, line, reason);
                   });
  for (const std::string& file : files) {
    try {
      reader.read(file);
      ++source.files;
    } catch (const CommandError& error) {
      damage.addFile(error.what());
    }
  }
  reader.finish();
  source.repeatedLines = reader.repeatedLines();
}

void print(const ResultsOptions& options, const Results& results) {
  if (options.json) return printJson(summaryAsJson(results));
  if (options.table) return printTable(std::cout, *options.table, results, options.csv);
  if (!options.csv) printSummary(std::cout, results);
}

/// Tells what was left out, and that nothing was found. Returns the exit status.
ExitStatus reportSource(const ResultsSource& source, uint64_t runs) {
  for (const auto& [text, count] : leftOut(source)) {
    std::cerr << "corvane: " << text << ": " << count << "\n";
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
  for (const auto& [name, file] : outputs) {
    if (file == "-") {
      throw CommandError(kUsage, name + " - would mix with what is printed; name a file");
    }
  }
  requireDistinctOutputs(outputs, files);
  if (!options.html.empty()) requireWritable(options.html);
}

ExitStatus showResults(const ResultsOptions& options) {
  ResultsSource source;
  source.paths = options.paths;
  const RunFilter filter = filterOf(options, source);
  DamageReport damage(source);
  std::vector<std::string> files;
  for (const std::string& path : options.paths) addFiles(path, true, files, damage);
  checkOutputs(options, files);
  std::optional<JunitWriter> junit;
  if (!options.junit.empty()) junit.emplace(options.junit);

  Names names;
  Summary summary(names, options.by, !options.units.empty());
  const bool hasRows = options.csv && !options.table;
  if (hasRows) printCsv(std::cout, rowOf({}, nullptr, names), true);
  readRuns(files, names, source, damage, [&](const Run& run) {
    if (!filter.concerns(run, names)) return;
    const bool isTaken = filter.takes(run, names);
    summary.add(run, isTaken);
    if (!isTaken) return;
    if (junit) junit->add(run, names);
    if (!hasRows) return;
    if (run.measurements.empty()) printCsv(std::cout, rowOf(run, nullptr, names));
    for (const Measurement& each : run.measurements) printCsv(std::cout, rowOf(run, &each, names));
  });
  summary.finish();

  const Results results{summary, names, source};
  if (junit) junit->finish();
  if (!options.html.empty()) {
    const std::optional<std::string> now = isoTimeText(std::time(nullptr));
    writeFile(options.html, summaryAsHtml(results, now.value_or("(no time)")));
  }
  print(options, results);
  return reportSource(source, summary.runs());
}

}  // namespace

void addResults(CLI::App& app) {
  const auto options = std::make_shared<ResultsOptions>();
  Command command = Command(app).add(
      "results", "Tell yields, what fails, and measurements from the results of stations");
  command
      .text("FILE", options->paths,
            "Results as stations write them with --results; a folder stands for its\n"
            ".jsonl and .json files, - for standard input")
      .required();
  command.text("--station", options->stations, "Only runs of this station; repeatable");
  command.text("--unit", options->units, "Only runs on this unit, one by one; repeatable");
  command.choices("--verdict", options->verdicts, "Only runs that ended so; repeatable",
                  textsOf(station::internal::kVerdictNames));
  command.text("--since", options->since, "Only runs that began at this time or later");
  command.text("--until", options->until,
               "Only runs that began up to the end of this day, minute or second");
  std::map<std::string, size_t> groups;
  for (size_t i = 0; i < kGroupFields.size(); ++i) groups.emplace(kGroupFields[i], i);
  command.choice("--by", options->by, "Group the runs of a station by this", groups);
  std::map<std::string, TableKind> tables;
  for (size_t i = 0; i < kTableNames.size(); ++i) {
    tables.emplace(kTableNames[i], static_cast<TableKind>(i));
  }
  Option table =
      command.choice("--table", options->table, "Print only this table, all of it", tables);
  command.file("--junit", options->junit,
               "Also write a JUnit report: a suite a run, a case a phase");
  command.file("--html", options->html, "Also write a page with yields, failures and histograms");
  Option csv = command.flag("--csv", options->csv,
                            "Print CSV: the table, or without one a row for each measurement");
  const Option json = command.jsonFlag(options->json);
  csv.excludes(json);
  table.excludes(json);
  command.footer(
      "No unit is needed. A unit's first and last runs count for the yields; refused runs do not.\n"
      "A run counts once, in however many files its lines are. Times are ISO 8601: 2026-11-16, or\n"
      "2026-11-16T08:30:00+01:00; a day without a time is the whole day.\n"
      "Exit status: 0 done, 1 no run was found or a line was damaged, 2 a file cannot be read.\n"
      "Example:\n  corvane results line-3/ --station speaker --since 2026-11-16 --html today.html");
  command.action([=] { return showResults(*options); });
}

}  // namespace corvane::tools
