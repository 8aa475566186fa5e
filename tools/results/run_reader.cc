#include "tools/results/run_reader.h"

#include <simdjson.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <list>
#include <map>
#include <set>
#include <variant>

#include "platform/printable.h"
#include "platform/scoped_file.h"
#include "platform/time_text.h"
#include "tools/command_error.h"
#include "tools/files.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;
namespace json = simdjson::dom;
namespace field = station::line_field;
namespace type = station::line_type;
using simdjson::error_code;

/// Bytes that the parser may read after a line.
constexpr size_t kPadding = simdjson::SIMDJSON_PADDING;
/// A longer line is damaged; no more than a few of them are in memory.
constexpr size_t kMaxLine = size_t{1} << 20;
constexpr uint64_t kMaxDamagesShown = 20;

uint64_t hashOf(std::string_view text) { return std::hash<std::string_view>()(text); }

std::string anotherEnd(Verdict verdict) {
  return "is another end of its run, which ended as " + std::string(nameOf(verdict));
}

/// Calls `take` with each line, its number from 1, and whether its beginning was left out because
/// the line is too long. Throws CommandError.
template <typename Take>
void readLines(const std::string& path, const Take& take) {
  const ScopedFile file = openFile(path);
  std::vector<char> buffer(4 * kMaxLine + kPadding);
  size_t kept = 0;
  uint64_t number = 0;
  bool isCut = false;
  const auto read = [&] {
    return std::fread(&buffer[kept], 1, buffer.size() - kPadding - kept, file.get());
  };
  for (size_t count; (count = read()) > 0;) {
    std::string_view rest(buffer.data(), kept + count);
    // A file can begin with U+FEFF, which is not a part of its first line.
    if (number == 0 && !isCut && rest.starts_with("\xEF\xBB\xBF")) rest.remove_prefix(3);
    for (size_t feed; (feed = rest.find('\n')) != std::string_view::npos;) {
      take(rest.substr(0, feed), ++number, std::exchange(isCut, false));
      rest.remove_prefix(feed + 1);
    }
    isCut |= rest.size() > kMaxLine;
    kept = isCut ? 0 : rest.size();
    std::memmove(buffer.data(), rest.data(), kept);
  }
  if (std::ferror(file.get())) throw CommandError(kUsage, path + ": " + std::strerror(errno));
  if (kept > 0 || isCut) take(std::string_view(buffer.data(), kept), ++number, isCut);
}

/// The fields of a line, as far as they matter; texts are valid until the next line.
struct Line {
  std::string_view type, time, run, station, unit, phase, name, unitOfMeasure, reason, check, text,
      expected, verdictName;
  std::array<std::string_view, kGroupFields.size() - 1> fields;
  Measurement measured;  ///< Without its names and texts.
  double seconds = 0;
  uint64_t schema = 0, count = 0, attempt = 0, hash = 0;
  Verdict verdict = Verdict::kUnfinished;
};

class LineParser {
 public:
  const Line& line() const { return _line; }

  /// Parses a text that has padding after it. Returns what is wrong with it, or an empty text.
  std::string parse(std::string_view text) {
    _line = {};
    _line.hash = hashOf(text);
    if (text.find_first_not_of(" \t\r") == std::string_view::npos) return "is empty";
    if (const error_code error = parseText(text)) {
      return std::string("is not a result: ") + simdjson::error_message(error);
    }
    if (_line.schema > station::kResultsSchema) {
      return "has schema " + std::to_string(_line.schema) + ", which is newer";
    }
    if (_line.schema == 0 || _line.type.empty() || _line.run.empty() || _line.station.empty()) {
      return "lacks the schema, the type, the run or the station";
    }
    if (_line.type == type::kPhase || _line.type == type::kEnd) {
      const std::optional<Verdict> known = station::verdictNamed(_line.verdictName);
      if (!known) return "has no verdict, or one that is not known";
      _line.verdict = *known;
    }
    return {};
  }

 private:
  struct Fields;
  /// Where a field's value belongs; that of an object to the places of its own fields.
  using Place = std::variant<std::string_view*, std::optional<double>*, double*, uint64_t*, bool*,
                             const Fields*>;
  struct Fields : std::map<std::string_view, Place> {};

  error_code parseText(std::string_view text) {
    json::element line;
    const auto error = _parser.parse(text.data(), text.size(), false).get(line);
    return error ? error : parseValue(line, _fields);
  }

  error_code parseValue(json::element value, auto& place) { return value.get(place); }
  error_code parseValue(json::element value, std::optional<double>& place) {
    return value.get(place.emplace());
  }
  error_code parseValue(json::element given, const Fields& fields) {
    json::object object;
    if (const auto error = given.get(object)) return error;
    for (const auto [key, value] : object) {
      const auto field = fields.find(key);
      if (field == fields.end() || value.is_null()) continue;
      const auto take = [&, &value = value](auto* place) { return parseValue(value, *place); };
      if (const auto error = std::visit(take, field->second)) return error;
    }
    return simdjson::SUCCESS;
  }

  json::parser _parser;
  Line _line;
  const Fields _facts = {
      {{kGroupFields[4], &_line.fields[4]}, {kGroupFields[5], &_line.fields[5]}}};
  const Fields _fields = {{{field::kType, &_line.type},
                           {field::kTime, &_line.time},
                           {field::kRun, &_line.run},
                           {field::kStation, &_line.station},
                           {field::kUnit, &_line.unit},
                           {field::kPhase, &_line.phase},
                           {field::kName, &_line.name},
                           {field::kSchema, &_line.schema},
                           {field::kValue, &_line.measured.value},
                           {field::kLower, &_line.measured.lower},
                           {field::kUpper, &_line.measured.upper},
                           {field::kInside, &_line.measured.isInside},
                           {field::kUnitOfMeasure, &_line.unitOfMeasure},
                           {field::kVerdict, &_line.verdictName},
                           {field::kSeconds, &_line.seconds},
                           {field::kReason, &_line.reason},
                           {field::kCount, &_line.count},
                           {field::kAttempt, &_line.attempt},
                           {field::kCheck, &_line.check},
                           {field::kText, &_line.text},
                           {field::kExpected, &_line.expected},
                           {field::kHost, &_line.fields[0]},
                           {field::kFixture, &_line.fields[1]},
                           {field::kOperator, &_line.fields[2]},
                           {field::kProgram, &_line.fields[3]},
                           {field::kFacts, &_facts}}};
};

/// Assembles runs from their lines. Of a run that has ended only its verdict is kept.
class RunReader {
 public:
  RunReader(Names& names, ResultsSource& source, const std::function<void(const Run&)>& take)
      : _names(names), _source(source), _take(take) {}

  void read(const std::string& path) {
    ++_file;
    readLines(path, [&](std::string_view text, uint64_t number, bool isCut) {
      const bool isLong = isCut || text.size() > kMaxLine;
      std::string fault = isLong ? "is longer than 1 MiB" : _parser.parse(text);
      if (fault.empty()) fault = takeLine(_parser.line());
      if (fault.empty() || ++_source.damagedLines > kMaxDamagesShown) return;
      std::cerr << printable(path) << ":" << number << ": the line " << fault << "\n";
    });
    // Runs whose end was read before their beginning; both halves are here now.
    for (auto run = _open.begin(); run != _open.end();) {
      const auto next = std::next(run);
      if (run->hasBegin && run->hasEnd) finish(run);
      run = next;
    }
  }

  /// Takes the runs that have no end.
  void finish() {
    while (!_open.empty()) finish(_open.begin());
  }

 private:
  struct OpenRun : Run {
    bool hasBegin = false, hasEnd = false;
    uint64_t file = 0;  ///< The number of the file that its last line is from.
    /// Hashes of its lines; the first `earlier` of them, sorted, are from earlier files.
    std::vector<uint64_t> lines;
    size_t earlier = 0;
  };
  using OpenRuns = std::list<OpenRun>;

  /// Returns what is wrong with the line, or an empty text.
  std::string takeLine(const Line& line) {
    OpenRun* run = find(line.run);
    if (const auto ended = _ended.find(hashOf(line.run)); !run && ended != _ended.end()) {
      const bool isOther = line.type == type::kEnd && line.verdict != ended->second;
      if (isOther) return anotherEnd(ended->second);
      ++_source.repeatedLines;
      return {};
    }
    // Parsing the times of all lines would take too long.
    if (!run || run->file != _file || (run->hasBegin && line.type == type::kBegin)) {
      const std::optional<TimeSpan> time = parseTime(line.time);
      if (!time) return "has no time, or one that is not ISO 8601";
      if (!run) run = &open(line);
      goOn(*run, line, time->begin);
    }
    const auto earlier = run->lines.begin() + static_cast<std::ptrdiff_t>(run->earlier);
    if (std::binary_search(run->lines.begin(), earlier, line.hash)) {
      ++_source.repeatedLines;
      return {};
    }
    run->lines.push_back(line.hash);
    return add(*run, line);
  }

  OpenRun* find(std::string_view id) {
    if (!_open.empty() && _open.back().id == id) return &_open.back();
    const auto known = _openById.find(id);
    return known == _openById.end() ? nullptr : &*known->second;
  }

  OpenRun& open(const Line& line) {
    OpenRun& run = _open.emplace_back();
    run.id = line.run;
    run.station = _names.idOf(line.station);
    run.unit = line.unit;
    run.time = INT64_MAX;
    _openById.emplace(run.id, std::prev(_open.end()));
    return run;
  }

  /// Notes that the run, which may be new, has lines in this file, the first with this time.
  void goOn(OpenRun& run, const Line& line, int64_t time) const {
    run.file = _file;
    run.earlier = run.lines.size();
    std::ranges::sort(run.lines);
    if (time >= run.time) return;
    run.time = time;
    run.timeText = line.time;
  }

  std::string add(OpenRun& run, const Line& line) {
    if (line.count != 0) run.count = static_cast<uint32_t>(line.count);
    if (line.type == type::kMeasurement) {
      addMeasurement(run, line);
    } else if (line.type == type::kBegin) {
      run.hasBegin = true;
      for (size_t i = 0; i < line.fields.size(); ++i) run.fields[i] = _names.idOf(line.fields[i]);
    } else if (line.type == type::kPhaseBegin || line.type == type::kPhase) {
      addPhase(run, line, line.type == type::kPhaseBegin);
    } else if (line.type == type::kAttempt) {
      run.repeatedAttempts.emplace_back(_names.idOf(line.phase), line.attempt);
    } else if (line.type == type::kEnd) {
      return end(run, line);
    }
    return {};
  }

  void addPhase(OpenRun& run, const Line& line, bool isBegin) {
    const uint32_t name = _names.idOf(line.phase);
    // The other line of a phase may have come first, in the other half of the run.
    auto phase = std::find_if(run.phases.rbegin(), run.phases.rend(), [&](const auto& other) {
      return other.name == name &&
             (isBegin ? !other.isBegun : other.isBegun && other.verdict == Verdict::kUnfinished);
    });
    if (phase == run.phases.rend()) {
      run.phases.emplace_back().name = name;
      phase = run.phases.rbegin();
    }
    if (isBegin) {
      phase->isBegun = true;
      return;
    }
    phase->verdict = line.verdict;
    phase->seconds = line.seconds;
    phase->reason = line.reason;
  }

  void addMeasurement(OpenRun& run, const Line& line) {
    Measurement& measurement = run.measurements.emplace_back(line.measured);
    measurement.phase = _names.idOf(line.phase);
    measurement.name = _names.idOf(line.name);
    measurement.unitOfMeasure = _names.idOf(line.unitOfMeasure);
    measurement.isCheck = !line.check.empty();
    measurement.attempt = static_cast<uint32_t>(line.attempt);
    measurement.text = line.text;
    measurement.expected = line.expected;
  }

  std::string end(OpenRun& run, const Line& line) {
    if (run.hasEnd) return run.verdict == line.verdict ? "" : anotherEnd(run.verdict);
    run.hasEnd = true;
    run.verdict = line.verdict;
    run.seconds = line.seconds;
    run.reason = line.reason;
    // Without its beginning, that half of the run may be in a file that is still to come.
    if (run.hasBegin) finish(_openById.at(line.run));
    return {};
  }

  void finish(OpenRuns::iterator run) {
    for (Measurement& measurement : run->measurements) {
      const std::pair attempt(measurement.phase, measurement.attempt);
      measurement.isRepeated =
          std::ranges::find(run->repeatedAttempts, attempt) != run->repeatedAttempts.end();
    }
    _take(*run);
    _ended.emplace(hashOf(run->id), run->verdict);
    _openById.erase(run->id);
    _open.erase(run);
  }

  Names& _names;
  ResultsSource& _source;
  const std::function<void(const Run&)>& _take;
  LineParser _parser;
  /// In the order in which they began, the newest last.
  OpenRuns _open;
  std::unordered_map<std::string_view, OpenRuns::iterator> _openById;
  std::unordered_map<uint64_t, Verdict> _ended;  ///< By the hashes of their ids.
  uint64_t _file = 0;
};

void reportUnreadable(ResultsSource& source, const std::string& message) {
  ++source.unreadableFiles;
  std::cerr << "corvane: " << printable(message) << "\n";
}

/// Finds files in a folder and below it, or takes the file itself when it was named.
void findIn(const fs::path& path, bool isNamed, ResultsSource& source,
            std::vector<std::string>& files) {
  std::error_code error;
  const bool isResults = path.extension() == ".jsonl" || path.extension() == ".json";
  if (path == "-" || !fs::is_directory(path, error)) {
    if (isNamed || isResults) files.push_back(path);
    return;
  }
  if (!isNamed && fs::is_symlink(path, error)) return;
  std::set<fs::path> entries;
  for (fs::directory_iterator entry(path, error), end; !error && entry != end;
       entry.increment(error)) {
    entries.insert(entry->path());
  }
  if (error) reportUnreadable(source, path.string() + ": " + error.message());
  for (const fs::path& entry : entries) findIn(entry, false, source, files);
}

}  // namespace

std::vector<std::string> findResults(ResultsSource& source) {
  std::vector<std::string> files;
  for (const std::string& path : source.paths) findIn(path, true, source, files);
  return files;
}

void readRuns(const std::vector<std::string>& files, Names& names, ResultsSource& source,
              const std::function<void(const Run&)>& take) {
  RunReader reader(names, source, take);
  for (const std::string& file : files) {
    try {
      reader.read(file);
      ++source.files;
    } catch (const CommandError& error) {
      reportUnreadable(source, error.what());
    }
  }
  reader.finish();
}

}  // namespace corvane::tools
