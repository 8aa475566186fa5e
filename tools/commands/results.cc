#include <algorithm>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>

#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/command_line.h"
#include "tools/files.h"
#include "tools/json_output.h"
#include "tools/output_files.h"
#include "tools/results/cells.h"
#include "tools/results/junit_writer.h"
#include "tools/results/run_filter.h"
#include "tools/results/run_reader.h"
#include "tools/results/summary_tables.h"

namespace corvane::tools {
namespace {

constexpr uint64_t kMaxDamagesShown = 20;

struct ResultsOptions {
  std::vector<std::string> paths;
  std::vector<std::string> stations;
  std::vector<std::string> units;
  std::vector<std::string> verdicts;
  std::optional<std::string> since;
  std::optional<std::string> until;
  std::optional<size_t> by;  ///< The number in kGroupFields.
  std::optional<TableKind> table;
  std::string junit;
  std::string html;
  bool csv = false;
  bool json = false;
};

/// Reports what cannot be read, on standard error: damaged lines, the first ones in full, and
/// files.
class DamageReport {
 public:
  void addLine(const std::string& file, uint64_t line, const std::string& reason) {
    if (++_lines > kMaxDamagesShown) return;
    std::cerr << printable(file) << ":" << line << ": the line " << reason << "\n";
  }
  void addFile(const std::string& message) {
    ++_files;
    std::cerr << "corvane: " << printable(message) << "\n";
  }
  void finish() const {
    if (_lines > kMaxDamagesShown)
      std::cerr << "... and " << _lines - kMaxDamagesShown << " more\n";
  }
  uint64_t lines() const { return _lines; }
  uint64_t files() const { return _files; }

 private:
  uint64_t _lines = 0, _files = 0;
};

/// Adds the files in the folder, in the order of their names, that end in ".jsonl" or ".json".
void addFolder(const std::string& folder, std::vector<std::string>& files, DamageReport& damage) {
  namespace fs = std::filesystem;
  std::error_code error;
  std::vector<fs::path> entries;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    entries.push_back(entry->path());
  }
  if (error) damage.addFile(folder + ": " + error.message());
  std::ranges::sort(entries);
  for (const fs::path& entry : entries) {
    const fs::path extension = entry.extension();
    if (fs::is_directory(fs::symlink_status(entry, error))) {
      addFolder(entry, files, damage);
    } else if ((extension == ".jsonl" || extension == ".json") && !fs::is_directory(entry, error)) {
      files.push_back(entry);
    }
  }
}

std::vector<std::string> filesOf(const std::vector<std::string>& paths, DamageReport& damage) {
  std::vector<std::string> files;
  for (const std::string& path : paths) {
    std::error_code error;
    if (path != "-" && std::filesystem::is_directory(path, error)) {
      addFolder(path, files, damage);
    } else {
      files.push_back(path);
    }
  }
  return files;
}

TimeSpan timeOption(const std::string& name, const std::string& text) {
  const std::optional<TimeSpan> time = parseTime(text);
  if (time) return *time;
  throw CommandError(kUsage, name + ": '" + text +
                                 "' is not a time; give one such as 2026-11-16 or "
                                 "2026-11-16T08:30:00+01:00");
}

RunFilter filterOf(const ResultsOptions& options) {
  RunFilter filter{options.stations, options.units, {}, {}, {}};
  for (const std::string& name : options.verdicts) {
    filter.verdicts.push_back(station::verdictNamed(name).value());
  }
  if (options.since) filter.since = timeOption("--since", *options.since).begin;
  if (options.until) filter.until = timeOption("--until", *options.until).end;
  return filter;
}

ResultsSource sourceOf(const ResultsOptions& options) {
  ResultsSource source;
  source.paths = options.paths;
  source.hasYields = options.verdicts.empty();
  const auto add = [&](const char* name, const auto& values) {
    for (const std::string& value : values) source.filters.push_back(name + (" " + value));
  };
  add("--station", options.stations);
  add("--unit", options.units);
  add("--verdict", options.verdicts);
  if (options.since) source.filters.push_back("--since " + *options.since);
  if (options.until) source.filters.push_back("--until " + *options.until);
  return source;
}

std::vector<std::string> textsOf(std::span<const std::string_view> names) {
  return {names.begin(), names.end()};
}

/// Prints a row of CSV for each measurement, with all that is known of its run; one row for a run
/// without any.
class RowPrinter {
 public:
  explicit RowPrinter(const Names& names) : _names(names) {
    printCsvNames(std::cout, rowOf({}, {}));
  }
  void add(const Run& run) const {
    for (const Measurement& each : run.measurements) {
      printCsv(std::cout, rowOf(run, cellsOf(each, _names)));
    }
    if (run.measurements.empty()) printCsv(std::cout, rowOf(run, {}));
  }

 private:
  Cells rowOf(const Run& run, Cells measurement) const {
    if (measurement.empty()) {
      measurement = cellsOf(Measurement(), _names);
      for (Cell& cell : measurement) cell.value = {};
    }
    Cells row = headOf(run, _names);
    append(row, std::move(measurement));
    append(row, restOf(run, _names));
    return row;
  }

  const Names& _names;
};

/// Reads the files and adds their runs to the summary. A file that cannot be read does not stop
/// the others.
void readRuns(const ResultsOptions& options, const std::vector<std::string>& files, Names& names,
              Summary& summary, JunitWriter* junit, DamageReport& damage, ResultsSource& source) {
  const RunFilter filter = filterOf(options);
  std::optional<RowPrinter> rows;
  if (options.csv && !options.table) rows.emplace(names);
  RunReader reader(
      names,
      [&](const Run& run) {
        if (!filter.concerns(run, names)) return;
        const bool isTaken = filter.takes(run, names);
        summary.add(run, isTaken);
        if (isTaken && junit) junit->add(run, names);
        if (isTaken && rows) rows->add(run);
      },
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
  summary.finish();
  source.damagedLines = damage.lines();
  source.unreadableFiles = damage.files();
  source.repeatedLines = reader.repeatedLines();
}

void print(const ResultsOptions& options, const Results& results) {
  if (options.json) return printJson(summaryAsJson(results));
  if (options.table) return printTable(std::cout, *options.table, results, options.csv);
  if (!options.csv) printSummary(std::cout, results);
}

/// Tells what was left out, and that nothing was found.
void reportSource(const ResultsSource& source, uint64_t runs) {
  for (const auto& [text, count] : leftOut(source)) {
    std::cerr << "corvane: " << text << ": " << count << "\n";
  }
  if (runs > 0) return;
  std::cerr << "corvane: no run was found"
            << (source.filters.empty() ? "" : " that the filters take") << " in " << source.files
            << (source.files == 1 ? " file\n" : " files\n");
}

ExitStatus showResults(const ResultsOptions& options) {
  const std::vector<std::pair<std::string, std::string>> outputs = {{"--junit", options.junit},
                                                                    {"--html", options.html}};
  for (const auto& [name, file] : outputs) {
    if (file == "-") {
      throw CommandError(kUsage, name + " - would mix with what is printed; name a file");
    }
  }
  filterOf(options);
  DamageReport damage;
  const std::vector<std::string> files = filesOf(options.paths, damage);
  requireDistinctOutputs(outputs, files);
  // Before all reading, so that a name that cannot be written is reported at once.
  std::optional<JunitWriter> junit;
  if (!options.junit.empty()) junit.emplace(options.junit);
  if (!options.html.empty()) requireWritable(options.html);

  Names names;
  Summary summary(names, options.by, !options.units.empty());
  ResultsSource source = sourceOf(options);
  readRuns(options, files, names, summary, junit ? &*junit : nullptr, damage, source);

  const Results results{summary, names, source};
  if (junit) junit->finish();
  if (!options.html.empty()) {
    const std::optional<std::string> now = isoTimeText(std::time(nullptr));
    writeFile(options.html, summaryAsHtml(results, now.value_or("(no time)")));
  }
  print(options, results);
  damage.finish();
  reportSource(source, summary.runs());
  if (damage.files() > 0) return kUsage;
  return damage.lines() > 0 || summary.runs() == 0 ? kFailed : kDone;
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
