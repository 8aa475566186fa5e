#include "tools/results/run_reader.h"

#include <simdjson.h>

#include <utility>

#include "platform/time_text.h"
#include "tools/results/run_filter.h"

namespace corvane::tools {
namespace {

namespace json = simdjson::ondemand;

constexpr uint64_t kSchema = 1;
/// The most runs of one file that are open at the same time; with more, the oldest did not finish.
constexpr size_t kMostOpenRuns = 4096;

static_assert(LineSource::kPadding >= simdjson::SIMDJSON_PADDING);

}  // namespace

/// The fields of a line, as far as they matter; texts are valid until the next line.
class RunReader::Parser {
 public:
  std::string_view type, time, run, station, unit, phase, name, unitOfMeasure, reason;
  std::optional<double> value, lower, upper;
  RunVerdict verdict = RunVerdict::kUnfinished;  ///< Of a phase or an end.
  double seconds = 0;
  uint64_t schema = 0;
  uint64_t count = 0;
  bool isInside = false;

  /// Returns what is wrong with the line, or an empty text.
  std::string parse(const LineSource::Line& given) {
    if (given.isCut) return "is longer than 1 MiB";
    const std::string_view line = given.text;
    type = time = run = station = unit = phase = name = unitOfMeasure = reason = _verdict = {};
    value = lower = upper = std::nullopt;
    seconds = 0;
    schema = count = 0;
    isInside = false;
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) return "is empty";
    json::document document;
    const auto syntaxError =
        _parser.iterate(line.data(), line.size(), line.size() + LineSource::kPadding).get(document);
    const auto error = syntaxError ? syntaxError : parseObject(document);
    // A cut leaves no value of another type.
    const bool isRead = !error || error == simdjson::INCORRECT_TYPE;
    if (!isRead && !given.isEnded) return "is cut: it has no end";
    if (error) {
      return std::string(syntaxError ? "is not JSON: " : "is no object of results: ") +
             simdjson::error_message(error);
    }
    if (schema > kSchema) return "has schema " + std::to_string(schema) + ", which is newer";
    if (schema == 0 || type.empty() || run.empty() || station.empty()) {
      return "lacks the schema, the type, the run or the station";
    }
    if (type == "phase" || type == "end") {
      const std::optional<RunVerdict> known = verdictOf(_verdict);
      if (!known) return "has no verdict, or one that is not known";
      verdict = *known;
    }
    return {};
  }

 private:
  simdjson::error_code parseObject(json::document& document) {
    json::object object;
    if (const auto error = document.get_object().get(object)) return error;
    for (auto field : object) {
      json::raw_json_string key;
      json::value held;
      if (const auto error = field.key().get(key)) return error;
      if (const auto error = field.value().get(held)) return error;
      if (const auto error = takeField(key, held)) return error;
    }
    // Text after the object makes the line damaged too, such as a second line that ran into it.
    const bool isAtEnd = document.current_location().error() == simdjson::OUT_OF_BOUNDS;
    return isAtEnd ? simdjson::SUCCESS : simdjson::TRAILING_CONTENT;
  }

  simdjson::error_code takeField(json::raw_json_string key, json::value& held) {
    const std::pair<const char*, std::string_view*> texts[] = {
        {"type", &type},       {"time", &time},        {"run", &run},
        {"station", &station}, {"unit", &unit},        {"phase", &phase},
        {"name", &name},       {"verdict", &_verdict}, {"unitOfMeasure", &unitOfMeasure},
        {"reason", &reason}};
    for (const auto& [text, field] : texts) {
      if (key == text) return isNull(held) ? simdjson::SUCCESS : held.get_string().get(*field);
    }
    const std::pair<const char*, std::optional<double>*> numbers[] = {
        {"value", &value}, {"lower", &lower}, {"upper", &upper}};
    for (const auto& [text, field] : numbers) {
      if (key == text)
        return isNull(held) ? simdjson::SUCCESS : held.get_double().get(field->emplace());
    }
    if (key == "seconds") return held.get_double().get(seconds);
    if (key == "schema") return held.get_uint64().get(schema);
    if (key == "count") return isNull(held) ? simdjson::SUCCESS : held.get_uint64().get(count);
    if (key == "inside") return held.get_bool().get(isInside);
    return simdjson::SUCCESS;  // Skipped with the next field.
  }

  static bool isNull(json::value& held) {
    bool isIt = false;
    return held.is_null().get(isIt) == simdjson::SUCCESS && isIt;
  }

  json::parser _parser;
  std::string_view _verdict;
};

RunReader::RunReader(Names& names, TakeRun takeRun, TakeDamage takeDamage)
    : _names(names),
      _takeRun(std::move(takeRun)),
      _takeDamage(std::move(takeDamage)),
      _parser(std::make_unique<Parser>()) {}

RunReader::~RunReader() = default;

void RunReader::read(const std::string& path) {
  LineSource source(path);
  LineSource::Line line;
  while (source.next(line)) {
    std::string fault = _parser->parse(line);
    if (fault.empty()) fault = takeLine(*_parser);
    if (!fault.empty()) _takeDamage(path, line.number, fault);
  }
  while (!_open.empty()) end(_open.begin());
}

std::string RunReader::takeLine(const Parser& line) {
  Run* const found = runOf(line);
  if (!found) return "has no time, or one that is not ISO 8601";
  Run& run = *found;
  if (line.count != 0) run.count = static_cast<uint32_t>(line.count);
  if (line.type == "measurement") {
    run.measurements.push_back({_names.idOf(line.phase), _names.idOf(line.name),
                                _names.idOf(line.unitOfMeasure), line.isInside, line.value,
                                line.lower, line.upper});
  } else if (line.type == "phaseBegin") {
    run.phases.push_back({_names.idOf(line.phase), RunVerdict::kUnfinished, 0, {}});
  } else if (line.type == "phase") {
    const uint32_t name = _names.idOf(line.phase);
    if (run.phases.empty() || run.phases.back().name != name) {
      run.phases.push_back({name, RunVerdict::kUnfinished, 0, {}});
    }
    PhaseResult& phase = run.phases.back();
    phase.verdict = line.verdict;
    phase.seconds = line.seconds;
    phase.reason = line.reason;
  } else if (line.type == "end") {
    run.verdict = line.verdict;
    run.seconds = line.seconds;
    run.reason = line.reason;
    end(_openById.at(line.run));
  }
  return {};
}

Run* RunReader::runOf(const Parser& line) {
  if (!_open.empty() && _open.back().id == line.run) return &_open.back();
  if (const auto known = _openById.find(line.run); known != _openById.end()) return &*known->second;
  const std::optional<TimeSpan> time = parseTime(line.time);
  if (!time) return nullptr;
  if (_open.size() == kMostOpenRuns) end(_open.begin());

  if (_spare.empty()) _spare.emplace_back();
  _open.splice(_open.end(), _spare, _spare.begin());
  Run& run = _open.back();
  run.id = line.run;
  run.station = _names.idOf(line.station);
  run.unit = line.unit;
  run.timeText = line.time;
  run.time = time->begin;
  run.count = 0;
  run.verdict = RunVerdict::kUnfinished;
  run.seconds = 0;
  run.reason.clear();
  run.phases.clear();
  run.measurements.clear();
  _openById.emplace(run.id, std::prev(_open.end()));
  return &run;
}

void RunReader::end(OpenRuns::iterator run) {
  _takeRun(*run);
  _openById.erase(run->id);
  _spare.splice(_spare.end(), _open, run);
}

}  // namespace corvane::tools
