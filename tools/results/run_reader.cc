#include "tools/results/run_reader.h"

#include <simdjson.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "platform/time_text.h"

namespace corvane::tools {
namespace {

namespace json = simdjson::ondemand;
namespace field = station::line_field;
namespace type = station::line_type;

static_assert(LineSource::kPadding >= simdjson::SIMDJSON_PADDING);

/// Returns 61 bits that tell the id from others; the lowest three are 0.
uint64_t keyOf(std::string_view id) { return std::hash<std::string_view>()(id) & ~uint64_t{7}; }

std::string anotherEnd(Verdict verdict) {
  return "is another end of its run, which ended as " + std::string(nameOf(verdict));
}

}  // namespace

size_t EndedRuns::placeOf(uint64_t key) const {
  size_t place = key >> 3 & (_slots.size() - 1);
  while (_slots[place] != 0 && (_slots[place] & ~uint64_t{7}) != key) {
    place = (place + 1) & (_slots.size() - 1);
  }
  return place;
}

void EndedRuns::add(std::string_view id, Verdict verdict) {
  if (++_count * 4 > _slots.size() * 3) {
    std::vector<uint64_t> old(_slots.size() * 2);
    old.swap(_slots);
    for (const uint64_t slot : old) {
      if (slot != 0) _slots[placeOf(slot & ~uint64_t{7})] = slot;
    }
  }
  const uint64_t key = keyOf(id);
  _slots[placeOf(key)] = key | (static_cast<uint64_t>(verdict) + 1);
}

std::optional<Verdict> EndedRuns::verdictOf(std::string_view id) const {
  static_assert(kVerdicts <= 7);
  const uint64_t slot = _slots[placeOf(keyOf(id))];
  if (slot == 0) return {};
  return static_cast<Verdict>((slot & 7) - 1);
}

/// The fields of a line, as far as they matter; texts are valid until the next line.
struct RunReader::LineFields {
  std::string_view type, time, run, station, unit, phase, name, unitOfMeasure, reason, check, text,
      expected, verdictName;
  std::array<std::string_view, kRunFieldNames.size()> fields;
  std::optional<double> value, lower, upper;
  Verdict verdict = Verdict::kUnfinished;  ///< Of a phase or an end.
  double seconds = 0;
  uint64_t schema = 0, count = 0, attempt = 0;
  uint64_t hash = 0;  ///< Of the line's text.
  bool isInside = false;
};

class RunReader::Parser : public LineFields {
 public:
  /// Returns what is wrong with the line, or an empty text.
  std::string parse(const LineSource::Line& given) {
    if (given.isCut) return "is longer than 1 MiB";
    const std::string_view line = given.text;
    static_cast<LineFields&>(*this) = {};
    hash = std::hash<std::string_view>()(line);
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) return "is empty";
    json::document document;
    const auto syntaxError =
        _parser.iterate(line.data(), line.size(), line.size() + LineSource::kPadding).get(document);
    const auto error = syntaxError ? syntaxError : parseObject(document);
    // A cut leaves no value of another type.
    const bool isRead = !error || error == simdjson::INCORRECT_TYPE;
    if (!isRead && !given.isEnded) return "is cut: it has no end";
    if (error) {
      return std::string(syntaxError ? "is not JSON: " : "is not an object of results: ") +
             simdjson::error_message(error);
    }
    if (schema > station::kResultsSchema) {
      return "has schema " + std::to_string(schema) + ", which is newer";
    }
    if (schema == 0 || type.empty() || run.empty() || station.empty()) {
      return "lacks the schema, the type, the run or the station";
    }
    if (type == type::kPhase || type == type::kEnd) {
      const std::optional<Verdict> known = station::verdictNamed(verdictName);
      if (!known) return "has no verdict, or one that is not known";
      verdict = *known;
    }
    return {};
  }

 private:
  simdjson::error_code parseObject(json::document& document) {
    json::object object;
    if (const auto error = document.get_object().get(object)) return error;
    if (const auto error = parseFields(object, &Parser::takeField)) return error;
    // Text after the object makes the line damaged too, such as a second line that ran into it.
    const bool isAtEnd = document.current_location().error() == simdjson::OUT_OF_BOUNDS;
    return isAtEnd ? simdjson::SUCCESS : simdjson::TRAILING_CONTENT;
  }

  using TakeField = simdjson::error_code (Parser::*)(json::raw_json_string key, json::value& held);
  simdjson::error_code parseFields(json::object& object, TakeField take) {
    for (auto each : object) {
      json::raw_json_string key;
      json::value held;
      if (const auto error = each.key().get(key)) return error;
      if (const auto error = each.value().get(held)) return error;
      if (const auto error = (this->*take)(key, held)) return error;
    }
    return simdjson::SUCCESS;
  }

  simdjson::error_code takeField(json::raw_json_string key, json::value& held) {
    for (const auto& [name, place] : kTexts) {
      if (key.raw()[0] == name[0] && key == name) return takeText(held, this->*place);
    }
    for (const auto& [name, place] : kNumbers) {
      if (key == name)
        return isNull(held) ? simdjson::SUCCESS : held.get_double().get((this->*place).emplace());
    }
    for (size_t i = 0; i < kFields.size(); ++i) {
      if (key == kFields[i]) return takeText(held, fields[i]);
    }
    if (key == field::kSeconds) return held.get_double().get(seconds);
    if (key == field::kSchema) return held.get_uint64().get(schema);
    if (key == field::kCount || key == field::kAttempt) {
      uint64_t& number = key == field::kCount ? count : attempt;
      return isNull(held) ? simdjson::SUCCESS : held.get_uint64().get(number);
    }
    if (key == field::kInside) return held.get_bool().get(isInside);
    if (key == field::kFacts) {
      json::object facts;
      if (const auto error = held.get_object().get(facts)) return error;
      return parseFields(facts, &Parser::takeFact);
    }
    return simdjson::SUCCESS;  // Skipped with the next field.
  }

  simdjson::error_code takeFact(json::raw_json_string key, json::value& held) {
    for (const RunField fact : {RunField::kModel, RunField::kBuild}) {
      const auto at = static_cast<size_t>(fact);
      if (key == kRunFieldNames[at].data()) return takeText(held, fields[at]);
    }
    return simdjson::SUCCESS;
  }

  static simdjson::error_code takeText(json::value& held, std::string_view& place) {
    return isNull(held) ? simdjson::SUCCESS : held.get_string().get(place);
  }

  static bool isNull(json::value& held) {
    bool isIt = false;
    return held.is_null().get(isIt) == simdjson::SUCCESS && isIt;
  }

  json::parser _parser;

  static constexpr std::pair<const char*, std::string_view Parser::*> kTexts[] = {
      {field::kType, &Parser::type},
      {field::kTime, &Parser::time},
      {field::kRun, &Parser::run},
      {field::kStation, &Parser::station},
      {field::kUnit, &Parser::unit},
      {field::kPhase, &Parser::phase},
      {field::kName, &Parser::name},
      {field::kVerdict, &Parser::verdictName},
      {field::kUnitOfMeasure, &Parser::unitOfMeasure},
      {field::kReason, &Parser::reason},
      {field::kCheck, &Parser::check},
      {field::kText, &Parser::text},
      {field::kExpected, &Parser::expected}};
  static constexpr std::pair<const char*, std::optional<double> Parser::*> kNumbers[] = {
      {field::kValue, &Parser::value},
      {field::kLower, &Parser::lower},
      {field::kUpper, &Parser::upper}};
  /// As `fields` has them, those of RunField that are not facts.
  static constexpr std::array kFields = {field::kHost, field::kFixture, field::kOperator,
                                         field::kProgram};
};

RunReader::RunReader(Names& names, TakeRun takeRun, TakeDamage takeDamage)
    : _names(names),
      _takeRun(std::move(takeRun)),
      _takeDamage(std::move(takeDamage)),
      _parser(std::make_unique<Parser>()) {}

RunReader::~RunReader() = default;

void RunReader::read(const std::string& path) {
  ++_file;
  LineSource source(path);
  LineSource::Line line;
  while (source.next(line)) {
    std::string fault = _parser->parse(line);
    if (fault.empty()) fault = takeLine(*_parser);
    if (!fault.empty()) _takeDamage(path, line.number, fault);
  }
  // Runs whose end was read before their beginning; both halves are here now.
  for (auto run = _open.begin(); run != _open.end();) {
    const auto next = std::next(run);
    if (run->hasBegin && run->hasEnd) take(run);
    run = next;
  }
}

void RunReader::finish() {
  while (!_open.empty()) take(_open.begin());
}

std::string RunReader::takeLine(const Parser& line) {
  OpenRun* found = find(line.run);
  if (!found) {
    if (const std::optional<Verdict> verdict = _ended.verdictOf(line.run)) {
      if (line.type == type::kEnd && line.verdict != *verdict) return anotherEnd(*verdict);
      ++_repeatedLines;
      return {};
    }
  }
  // Parsing the times of all lines would take too long.
  const bool isBegunAgain = found && found->hasBegin && line.type == type::kBegin;
  if (!found || found->file != _file || isBegunAgain) {
    const std::optional<TimeSpan> time = parseTime(line.time);
    if (!time) return "has no time, or one that is not ISO 8601";
    found = found ? continueRun(*found, line, time->begin) : openRun(line, time->begin);
  }
  OpenRun& run = *found;
  if (isRepeated(run, line)) {
    ++_repeatedLines;
    return {};
  }
  if (line.count != 0) run.count = static_cast<uint32_t>(line.count);
  if (line.type == type::kMeasurement) {
    takeMeasurement(run, line);
  } else if (line.type == type::kBegin) {
    takeBegin(run, line);
  } else if (line.type == type::kPhaseBegin || line.type == type::kPhase) {
    takePhase(run, line, line.type == type::kPhaseBegin);
  } else if (line.type == type::kAttempt) {
    run.repeatedAttempts.emplace_back(_names.idOf(line.phase), line.attempt);
  } else if (line.type == type::kEnd) {
    return takeEnd(run, line);
  }
  return {};
}

bool RunReader::isRepeated(OpenRun& run, const Parser& line) {
  const auto earlier = run.lines.begin() + static_cast<std::ptrdiff_t>(run.earlier);
  if (std::binary_search(run.lines.begin(), earlier, line.hash)) return true;
  run.lines.push_back(line.hash);
  return false;
}

void RunReader::takeBegin(OpenRun& run, const Parser& line) {
  run.hasBegin = true;
  for (size_t i = 0; i < line.fields.size(); ++i) run.fields[i] = _names.idOf(line.fields[i]);
}

void RunReader::takePhase(OpenRun& run, const Parser& line, bool isBegin) {
  const uint32_t name = _names.idOf(line.phase);
  // The other line of a phase may have come first, in the other half of the run.
  auto phase = std::find_if(run.phases.rbegin(), run.phases.rend(), [&](const PhaseResult& other) {
    return other.name == name &&
           (isBegin ? !other.isBegun : other.isBegun && other.verdict == Verdict::kUnfinished);
  });
  if (phase == run.phases.rend()) {
    run.phases.push_back({name, Verdict::kUnfinished, 0, {}, false});
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

void RunReader::takeMeasurement(OpenRun& run, const Parser& line) {
  Measurement& measurement = run.measurements.emplace_back();
  measurement.phase = _names.idOf(line.phase);
  measurement.name = _names.idOf(line.name);
  measurement.unitOfMeasure = _names.idOf(line.unitOfMeasure);
  measurement.attempt = static_cast<uint32_t>(line.attempt);
  measurement.isInside = line.isInside;
  measurement.isCheck = !line.check.empty();
  measurement.value = line.value;
  measurement.lower = line.lower;
  measurement.upper = line.upper;
  measurement.text = line.text;
  measurement.expected = line.expected;
}

std::string RunReader::takeEnd(OpenRun& run, const Parser& line) {
  if (run.hasEnd) {
    return run.verdict == line.verdict ? "" : anotherEnd(run.verdict);
  }
  run.hasEnd = true;
  run.verdict = line.verdict;
  run.seconds = line.seconds;
  run.reason = line.reason;
  // Without its beginning, that half of the run may be in a file that is still to come.
  if (run.hasBegin) take(_openById.at(line.run));
  return {};
}

RunReader::OpenRun* RunReader::find(std::string_view id) {
  if (!_open.empty() && _open.back().id == id) return &_open.back();
  const auto known = _openById.find(id);
  return known == _openById.end() ? nullptr : &*known->second;
}

RunReader::OpenRun* RunReader::continueRun(OpenRun& run, const Parser& line, int64_t time) {
  run.file = _file;
  run.earlier = run.lines.size();
  std::ranges::sort(run.lines);
  if (time < run.time) {
    run.time = time;
    run.timeText = line.time;
  }
  return &run;
}

RunReader::OpenRun* RunReader::openRun(const Parser& line, int64_t time) {
  if (_spare.empty()) _spare.emplace_back();
  _open.splice(_open.end(), _spare, _spare.begin());
  OpenRun& run = _open.back();
  run.id = line.run;
  run.station = _names.idOf(line.station);
  run.unit = line.unit;
  run.timeText = line.time;
  run.time = time;
  run.count = 0;
  run.verdict = Verdict::kUnfinished;
  run.seconds = 0;
  run.reason.clear();
  run.fields.fill(0);
  run.phases.clear();
  run.measurements.clear();
  run.repeatedAttempts.clear();
  run.hasBegin = run.hasEnd = false;
  run.file = _file;
  run.lines.clear();
  run.earlier = 0;
  _openById.emplace(run.id, std::prev(_open.end()));
  return &run;
}

void RunReader::take(OpenRuns::iterator run) {
  for (Measurement& measurement : run->measurements) {
    measurement.isRepeated = std::ranges::find(run->repeatedAttempts,
                                               std::pair(measurement.phase, measurement.attempt)) !=
                             run->repeatedAttempts.end();
  }
  _takeRun(*run);
  _ended.add(run->id, run->verdict);
  _openById.erase(run->id);
  _spare.splice(_spare.end(), _open, run);
}

}  // namespace corvane::tools
