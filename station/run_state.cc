#include "station/run_state.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "controlbits/control_bits.h"
#include "controlbits/poison_byte.h"
#include "log/log.h"
#include "platform/text.h"
#include "station/record_text.h"
#include "station/unit_facts.h"

namespace corvane::station {
namespace {

using nlohmann::ordered_json;

/// The unit is not fit for the station.
class RefusedUnit : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

double secondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : "; ") + text;
  return all;
}

std::string shownNumber(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", value);
  return text;
}

std::string shownLimits(const Limits& limits) {
  if (!limits.lower && !limits.upper) return "no limits";
  if (!limits.upper) return "at least " + shownNumber(*limits.lower);
  if (!limits.lower) return "at most " + shownNumber(*limits.upper);
  return shownNumber(*limits.lower) + " to " + shownNumber(*limits.upper);
}

ordered_json byteJson(uint8_t byte) {
  return {{"byte", byte}, {"status", statusName(byte)}, {"failCount", failCountOf(byte)}};
}

ordered_json orNull(const std::string& text) {
  return text.empty() ? ordered_json(nullptr) : ordered_json(text);
}

ordered_json factsJson(const UnitFacts& facts) {
  return {
      {"model", orNull(facts.model)},
      {"build", orNull(facts.build)},
      {"wifi", facts.hasWiFi},
      {"compass", facts.hasCompass},
      {"gyroscope", facts.hasGyro},
      {"baseband", facts.hasBaseband},
      {"batteryPercent", facts.battery < 0 ? ordered_json(nullptr) : ordered_json(facts.battery)},
      {"externalPower", facts.isPowered}};
}

const char* verdictName(Verdict verdict) {
  switch (verdict) {
    case Verdict::kPassed:
      return "passed";
    case Verdict::kFailed:
      return "failed";
    case Verdict::kIncomplete:
      return "incomplete";
    case Verdict::kRefused:
      return "refused";
    case Verdict::kUntrusted:
      return "untrusted";
    case Verdict::kMisused:
      break;
  }
  return "misused";
}

/// The fields of the station message; null for a run that has none.
const char* stationMessage(Verdict verdict) {
  switch (verdict) {
    case Verdict::kPassed:
      return "result=\"pass\"";
    case Verdict::kFailed:
      return "result=\"fail\"";
    case Verdict::kIncomplete:
      return "result=\"incomplete\"";
    default:
      return nullptr;
  }
}

std::string interruptedBy(int signal) {
  return std::string("interrupted by ") + (signal == SIGINT    ? "SIGINT"
                                           : signal == SIGTERM ? "SIGTERM"
                                                               : "SIGHUP");
}

}  // namespace

RunState::RunState(const Profile& profile, const RunOptions& options)
    : _profile(profile),
      _unit(options.unit),
      _console(options.isQuiet),
      _results(options.results),
      _interruption([this](int signal) { abandon(signal); }) {
  _results.identify(profile.name, options.unit);
}

Outcome RunState::execute(const std::function<void(TestRun&)>& body) {
  Outcome outcome;
  try {
    begin();
    runBody(body);
    outcome = claimEnd() ? leaveVerdict() : leaveIncomplete();
  } catch (const RefusedUnit& error) {
    outcome = {Verdict::kRefused, error.what()};
  } catch (const UntrustedUnit& error) {
    outcome = {Verdict::kUntrusted, std::string("the unit cannot be trusted: ") + error.what()};
  } catch (const std::exception& error) {
    outcome = {Verdict::kUntrusted, error.what()};
  }
  {
    const std::lock_guard lock(_lock);
    _isEnding = true;
  }
  finish(outcome, statusAfter());
  return outcome;
}

// ---- Begin

void RunState::begin() {
  static const char* const kNotReady[] = {"", "it has no registry", "it has no data area",
                                          "its data area cannot be read"};
  const int32_t ready = ControlBits::getReady();
  if (ready != 0) throw UntrustedUnit(kNotReady[std::clamp(ready, 1, 3)]);

  const UnitFacts facts = readUnitFacts();
  if (_unit.empty() && !_profile.unitKey.empty()) _unit = readKeyText(_profile.unitKey);
  _results.identify(_profile.name, _unit);
  _console.facts(facts);
  _status.emplace(_profile.statusOffset);
  _poison.emplace(_profile.poisonOffset);
  _failCount = failCountOf(_status->value());
  _records = readRecords();
  RunCounter counter(_profile.runCountKey);
  _count = counter.count() + 1;
  _console.statusByte("before", _status->offset(), _status->value());
  report("begin", {{"count", _count},
                   {"number", _profile.number},
                   {"facts", factsJson(facts)},
                   {"before", byteJson(_status->value())}});

  refuseUnlessFit(facts, _records);
  if (!_resultsError.empty()) throw ResultsError(_resultsError);

  // Until the result is known the unit counts as incomplete, also if the power fails now.
  uint8_t incomplete = _status->value();
  changeTestStatus(&incomplete, kCorvaneControlBitsIncompleteTest);
  _status->write(incomplete);
  counter.increase();
  writeLog("begin, run " + std::to_string(_count), 0);
  _console.line("run", std::to_string(_count) + " of this station on this unit");
}

void RunState::refuseUnlessFit(const UnitFacts& facts, const std::vector<Record>& records) const {
  std::vector<std::string> reasons = unmetConditions(_profile.conditions, facts);
  const auto checkPoison = [&](uint32_t offset) {
    const uint8_t byte = readUnitByte(offset);
    if (!isPoisoned(static_cast<uint8_t>(offset), byte)) return;
    char text[64];
    std::snprintf(text, sizeof text, "the unit is poisoned: byte %u holds 0x%02x", offset, byte);
    reasons.emplace_back(text);
  };
  checkPoison(_profile.poisonOffset);
  for (const uint32_t offset : _profile.conditions.earlierPoisonOffsets) checkPoison(offset);
  if (records.size() >= kMostRecords) {
    reasons.push_back("the chain of records is full: it holds " + std::to_string(records.size()));
  }
  if (!reasons.empty()) throw RefusedUnit(joined(reasons));
}

// ---- During

void RunState::runBody(const std::function<void(TestRun&)>& body) {
  TestRun run(*this);
  try {
    body(run);
  } catch (const std::exception& error) {
    const std::lock_guard lock(_lock);
    addFailure("exception", std::string("the station threw: ") + error.what());
  } catch (...) {
    const std::lock_guard lock(_lock);
    addFailure("exception", "the station threw");
  }
  const std::lock_guard lock(_lock);
  if (_phaseCount == 0 && _failures.empty()) addFailure("no phase", "no phase ran");
}

bool RunState::phase(std::string_view name, const std::function<void(Phase&)>& body) {
  {
    const std::lock_guard lock(_lock);
    if (_phase) {
      addFailure(_phase->name, std::string(name) + " began inside phase " + _phase->name);
      return false;
    }
    if (_isCutShort || isInterrupted()) return false;
    _phase.emplace(PhaseInProgress{std::string(name), std::chrono::steady_clock::now(), {}});
    ++_phaseCount;
    report("phaseBegin", {{"phase", name}});
    writeLog(name, 1);
  }
  std::string thrown;
  try {
    Phase inProgress(*this);
    body(inProgress);
  } catch (const std::exception& error) {
    thrown = std::string("it threw: ") + error.what();
  } catch (...) {
    thrown = "it threw";
  }
  const std::lock_guard lock(_lock);
  if (!thrown.empty()) {
    addFailure(_phase->name, thrown);
    _isCutShort = true;
  }
  const bool isPassed = _phase->failures.empty() && !isInterrupted();
  endPhase();
  return isPassed;
}

void RunState::endPhase() {
  const std::vector<std::string>& failures = _phase->failures;
  const char* verdict = !failures.empty() ? "failed" : isInterrupted() ? "incomplete" : "passed";
  const double seconds = secondsSince(_phase->begin);
  report("phase", {{"phase", _phase->name},
                   {"verdict", verdict},
                   {"seconds", seconds},
                   {"reason", orNull(joined(failures))}});
  char text[64];
  std::snprintf(text, sizeof text, "%-10s  %8.2f s  ", verdict, seconds);
  _console.line("phase", text + _phase->name + (failures.empty() ? "" : ": " + joined(failures)));
  _phase.reset();
}

bool RunState::measure(std::string_view name, double value, std::string_view unit,
                       const Limits& limits) {
  const bool isInside = std::isfinite(value) && (!limits.lower || value >= *limits.lower) &&
                        (!limits.upper || value <= *limits.upper);
  const auto bound = [](const std::optional<double>& limit) {
    return limit ? ordered_json(*limit) : ordered_json(nullptr);
  };
  const std::lock_guard lock(_lock);
  const std::string shown = std::string(name) + " is " + shownNumber(value) +
                            (unit.empty() ? "" : " ") + std::string(unit);
  report("measurement", {{"phase", _phase ? _phase->name : ""},
                         {"name", name},
                         {"value", value},
                         {"unitOfMeasure", orNull(std::string(unit))},
                         {"lower", bound(limits.lower)},
                         {"upper", bound(limits.upper)},
                         {"inside", isInside}});
  writeLog(shown + (isInside ? "" : ", outside " + shownLimits(limits)), 2);
  if (!isInside) addFailure(name, shown + ", outside " + shownLimits(limits));
  return isInside;
}

void RunState::fail(std::string_view reason) {
  const std::lock_guard lock(_lock);
  addFailure(reason, std::string(reason));
}

void RunState::log(std::string_view text, int indentation) {
  const std::lock_guard lock(_lock);
  writeLog(text, indentation);
}

void RunState::progress(double fraction) {
  const std::lock_guard lock(_lock);
  if (_phase) _console.progress(_phase->name, fraction);
}

void RunState::setRecordText(std::string_view text) {
  const std::lock_guard lock(_lock);
  _recordText = text;
}

bool RunState::isPassing() const {
  const std::lock_guard lock(_lock);
  return _failures.empty();
}

void RunState::addFailure(std::string_view recordText, const std::string& reason) {
  if (_failures.empty()) _failureText = recordText;
  if (_phase) _phase->failures.push_back(reason);
  _failures.push_back(_phase ? _phase->name + ": " + reason : reason);
  writeLog("failed: " + reason, 2);
}

// ---- End

bool RunState::claimEnd() {
  const std::lock_guard lock(_lock);
  _isEnding = true;
  return !isInterrupted();
}

Outcome RunState::leaveVerdict() {
  if (!_resultsError.empty()) throw ResultsError(_resultsError);
  const bool isPassed = _failures.empty();
  const auto status = isPassed ? kCorvaneCotnrolBitsPassed : kCorvaneControlBitsFailed;
  uint8_t verdict = _status->value();
  changeTestStatus(&verdict, status);
  changeFailCount(&verdict, gFailCountMap[isPassed ? _failCount : std::min(_failCount + 1, 7)]);
  try {
    // The status last: what shows a verdict has the rest as well.
    _poison->write(poisonByte(static_cast<uint8_t>(_poison->offset()), !isPassed));
    const std::string text = recordTextFor(isPassed);
    const Record record = appendRecord(_records, _profile.number, status, text);
    _records.push_back(record);
    _status->write(verdict);
    _status->verify();
    _poison->verify();
    if (readRecords() != _records) {
      throw UntrustedUnit("record " + std::to_string(_records.size()) + " does not stay");
    }
  } catch (...) {
    withdrawVerdict();
    throw;
  }
  return {isPassed ? Verdict::kPassed : Verdict::kFailed, joined(_failures)};
}

void RunState::withdrawVerdict() noexcept {
  try {
    uint8_t incomplete = _status->value();
    changeTestStatus(&incomplete, kCorvaneControlBitsIncompleteTest);
    changeFailCount(&incomplete, gFailCountMap[_failCount]);
    _status->write(incomplete);  // Whatever it reads back as: that may not be what it holds.
  } catch (const std::exception&) {
    // The unit is reported as untrusted already.
  }
}

Outcome RunState::leaveIncomplete() {
  _status->verify();
  const int signal = _interruption.signal();
  return {Verdict::kIncomplete, interruptedBy(signal), signal};
}

std::string RunState::recordTextFor(bool isPassed) {
  const std::string passedText = _recordText.empty() ? _profile.name + " ok" : _recordText;
  const std::string& text = isPassed ? passedText : _failureText;
  std::string fitting = textForRecord(text);
  if (fitting != text) {
    const std::string notice = "the record's text \"" + text + "\" is cut to \"" + fitting + "\"";
    writeLog(notice, 1);
    report("notice", {{"text", notice}});
  }
  return fitting;
}

ordered_json RunState::statusAfter() const {
  try {
    if (_status) return byteJson(readUnitByte(_status->offset()));
  } catch (const UntrustedUnit&) {
    // Not known.
  }
  return nullptr;
}

void RunState::finish(Outcome& outcome, const ordered_json& after) {
  const std::string verdict = verdictName(outcome.verdict);
  const std::string reason = outcome.reason.empty() ? "" : ": " + outcome.reason;
  writeLog("end: " + verdict + reason, 0);
  if (const char* result = stationMessage(outcome.verdict)) {
    Log::writePalvireMessage(textFromBytes(result).get(), textFromBytes(_profile.name).get(),
                             CFSTR("status"));
  }
  report("end", {{"count", _count == 0 ? ordered_json(nullptr) : ordered_json(_count)},
                 {"verdict", verdict},
                 {"reason", orNull(outcome.reason)},
                 {"seconds", secondsSince(_start)},
                 {"after", after}});
  if (_resultsError.empty()) {
    try {
      _results.sync();
    } catch (const ResultsError& error) {
      _resultsError = error.what();
    }
  }
  if (!_resultsError.empty() && outcome.verdict < Verdict::kIncomplete) {
    outcome = {Verdict::kUntrusted, _resultsError + "; the unit holds the verdict " + verdict};
  }
  if (!after.is_null()) {
    _console.statusByte("after", _status->offset(), after["byte"].get<uint8_t>());
  }
  if (outcome.verdict == Verdict::kPassed || outcome.verdict == Verdict::kFailed) {
    _console.records(_records);
    _console.line("result", verdict + reason);
  } else {
    const bool isUntrusted = outcome.verdict == Verdict::kUntrusted;
    _console.error(_profile.name + ": " + (isUntrusted ? "" : verdict + ": ") + outcome.reason);
  }
}

void RunState::abandon(int signal) {
  const std::lock_guard lock(_lock);
  if (_isEnding) return;
  // The body may be in the middle of a call into the library, which cannot be entered from here but
  // for its log. The byte was read back after it was written.
  Outcome outcome{Verdict::kIncomplete, interruptedBy(signal), signal};
  finish(outcome, _status ? byteJson(_status->value()) : ordered_json(nullptr));
  ::_exit(outcome.exitStatus());
}

// ---- What all of them use

void RunState::report(const char* type, const ordered_json& fields) {
  if (!_resultsError.empty()) return;
  try {
    _results.append(type, fields);
  } catch (const std::exception& error) {
    _resultsError = error.what();
    _isCutShort = true;
  }
}

void RunState::writeLog(std::string_view text, int indentation) const {
  Log::write(textFromBytes(text).get(), textFromBytes(_profile.name).get(), indentation);
}

}  // namespace corvane::station
