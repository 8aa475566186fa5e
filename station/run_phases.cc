// What a body does with a run: its phases, and what they measure, check and say.

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "platform/or_null.h"
#include "station/expectation.h"
#include "station/results_line.h"
#include "station/run.h"
#include "station/run_text.h"

namespace corvane::station {

using nlohmann::ordered_json;

thread_local bool Run::sRunsLastPhase = false;

namespace {

constexpr int kLogIndentation = 2;

double secondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

}  // namespace

// ---- Phases

bool Run::phase(std::string_view name, const PhaseOptions& options, const PhaseBody& body) {
  Phase* const phase = beginPhase(name, options);
  if (!phase) return false;
  for (;;) {
    switch (endAttempt(*phase, thrownBy("it", [&] { body(*phase); }))) {
      case AttemptEnd::kPassed:
        return true;
      case AttemptEnd::kFailed:
        return false;
      case AttemptEnd::kRepeated:
        break;
    }
  }
}

Phase* Run::beginPhase(std::string_view name, const PhaseOptions& options) {
  Phase* phase = nullptr;
  {
    const Lock lock = enter(false);
    if (!lock) return nullptr;
    if (_phase) {
      const std::string& outer = _phase->handle->_name;
      _phase->failures.add(outer, std::string(name) + " began inside phase " + outer);
      return nullptr;
    }
    if (_isCutShort || isInterrupted()) return nullptr;
    phase = openPhase(lock, name, options, false);
  }
  report(line_type::kPhaseBegin, {{line_field::kPhase, name}});
  writeLog(name, 1);
  return phase;
}

Phase* Run::openPhase(const Lock&, std::string_view name, const PhaseOptions& options,
                      bool isLast) {
  _phases.emplace_back(new Phase(*this, name, isLast));
  Phase* const phase = _phases.back().get();
  const auto number = static_cast<uint32_t>(_phases.size());
  const auto now = std::chrono::steady_clock::now();
  _phase.emplace(PhaseInProgress{phase, number, options, now, now});
  if (_stage == Stage::kBody) _watch.beginLimit(number, options.timeLimit, isLast);
  return phase;
}

void Run::setLastPhase(std::string_view name, const PhaseBody& body,
                       std::chrono::milliseconds limit) {
  const Lock lock = enter(false);
  if (!lock) return;
  if (_last) {
    _failures.add(std::string(name),
                  "the run has two last phases: " + _last->name + " and " + std::string(name));
    return;
  }
  _last.emplace(LastPhase{std::string(name), body, limit});
}

void Run::runLastPhase() {
  Phase* phase = nullptr;
  {
    const Lock lock = enter(true);
    if (!lock || !_last || _last->hasBegun) return;
    _last->hasBegun = true;
    phase = openPhase(lock, _last->name, {.timeLimit = _last->limit, .isSetUp = true}, true);
  }
  report(line_type::kPhaseBegin, {{line_field::kPhase, _last->name}});
  writeLog(_last->name, 1);
  sRunsLastPhase = true;
  const std::string thrown = thrownBy("it", [&] { _last->body(*phase); });
  sRunsLastPhase = false;
  endAttempt(*phase, thrown);
}

Run::AttemptEnd Run::endAttempt(const Phase& phase, const std::string& thrown) {
  std::function<void()> told;
  AttemptEnd end = AttemptEnd::kFailed;
  {
    const Lock lock = enter(phase._isLast);
    if (!lock || !_phase || _phase->handle != &phase) return AttemptEnd::kFailed;
    if (!thrown.empty()) {
      _phase->failures.add(phase._name, thrown);
      _isCutShort = true;
    }
    const bool isInterrupted = this->isInterrupted() && !phase._isLast;
    Failures& failures = _phase->failures;
    if (_phase->checks == 0 && failures.isEmpty() && !isInterrupted && !_phase->options.isSetUp) {
      failures.add(phase._name, "nothing was measured or checked");
    }
    if (failures.isEmpty() && !isInterrupted) end = AttemptEnd::kPassed;
    if (!failures.isEmpty() && !_isCutShort && !isInterrupted &&
        _phase->attempt < _phase->options.attempts) {
      end = AttemptEnd::kRepeated;
    }
    told = end == AttemptEnd::kRepeated ? repeatPhase(lock) : closePhase(lock);
  }
  told();
  return end;
}

std::function<void()> Run::repeatPhase(const Lock&) {
  const int attempt = _phase->attempt++;
  const std::string name = _phase->handle->_name;
  const std::string reason = std::exchange(_phase->failures, {}).text();
  const double seconds =
      secondsSince(std::exchange(_phase->attemptBegin, std::chrono::steady_clock::now()));
  const std::string place =
      std::to_string(attempt) + " of " + std::to_string(_phase->options.attempts);
  _phase->checks = 0;
  return [=, this] {
    report(line_type::kAttempt, {{line_field::kPhase, name},
                                 {line_field::kAttempt, attempt},
                                 {line_field::kVerdict, nameOf(Verdict::kFailed)},
                                 {line_field::kSeconds, seconds},
                                 {line_field::kReason, reason}});
    writeLog("attempt " + place + " failed: " + reason, kLogIndentation);
    tell([=, this] {
      _console.line("attempt", "failed    " + shownSeconds(seconds) + "  " + name + ", " + place +
                                   ": " + reason);
    });
  };
}

std::function<void()> Run::closePhase(const Lock&, bool hasEnded) {
  const PhaseInProgress phase = std::move(*_phase);
  _phase.reset();
  _watch.endLimit();
  const std::string name = phase.handle->_name;
  std::string reason = phase.failures.text();
  if (phase.handle->_isLast && _last) _last->failures = reason;
  _failures.addAll(name, phase.failures);
  if (!hasEnded) {
    reason += std::string(reason.empty() ? "" : "; ") + "did not end";
    _failures.add(name, "phase " + name + " did not end");
  }
  const bool isInterrupted = this->isInterrupted() && !phase.handle->_isLast;
  const Verdict verdict = !reason.empty() ? Verdict::kFailed
                          : isInterrupted ? Verdict::kIncomplete
                                          : Verdict::kPassed;
  const double seconds = secondsSince(phase.begin);
  return [=, this, attempt = phase.attempt, hasAttempts = phase.options.attempts > 1] {
    ordered_json fields = {{line_field::kPhase, name},
                           {line_field::kVerdict, nameOf(verdict)},
                           {line_field::kSeconds, seconds},
                           {line_field::kReason, orNull(reason)}};
    if (hasAttempts) fields[line_field::kAttempt] = attempt;
    report(line_type::kPhase, fields);
    std::string text(nameOf(verdict));
    text.resize(10, ' ');
    text += shownSeconds(seconds) + "  " + name + (reason.empty() ? "" : ": " + reason);
    tell([=, this] { _console.line("phase", text); });
  };
}

// ---- What a phase reports

bool Run::measure(const Phase& phase, std::string_view name, double value, std::string_view unit,
                  const Limits& limits) {
  const bool isInside = std::isfinite(value) && (!limits.lower || value >= *limits.lower) &&
                        (!limits.upper || value <= *limits.upper);
  const auto bound = [](const std::optional<double>& limit) {
    return limit ? ordered_json(*limit) : ordered_json(nullptr);
  };
  return takeCheck(phase, name, isInside, shownMeasurement(value, unit, limits, isInside),
                   {{line_field::kValue, value},
                    {line_field::kUnitOfMeasure, orNull(std::string(unit))},
                    {line_field::kLower, bound(limits.lower)},
                    {line_field::kUpper, bound(limits.upper)}});
}

bool Run::check(const Phase& phase, std::string_view name, std::string_view text,
                const Expected& expected) {
  const CheckResult result = checked(text, expected);
  if (result.mistake.empty()) return takeTextCheck(phase, name, std::string(text), result);
  fail(phase, std::string(name) + " cannot be checked: " + result.mistake);
  return false;
}

bool Run::check(const Phase& phase, std::string_view name, bool holds) {
  return takeTextCheck(phase, name, holds ? "true" : "false", {"isTrue", "true", holds, {}});
}

bool Run::takeTextCheck(const Phase& phase, std::string_view name, const std::string& text,
                        const CheckResult& result) {
  return takeCheck(phase, name, result.isMet,
                   text + (result.isMet ? "" : ", expected " + result.expected),
                   {{line_field::kValue, nullptr},
                    {line_field::kUnitOfMeasure, nullptr},
                    {line_field::kLower, nullptr},
                    {line_field::kUpper, nullptr},
                    {line_field::kCheck, result.kind},
                    {line_field::kText, text},
                    {line_field::kExpected, result.expected}});
}

bool Run::takeCheck(const Phase& phase, std::string_view name, bool isInside,
                    const std::string& shownValue, const ordered_json& fields) {
  const std::string shown = std::string(name) + " is " + shownValue;
  ordered_json line = {{line_field::kPhase, phase._name}, {line_field::kName, name}};
  line.update(fields);
  line[line_field::kInside] = isInside;
  {
    const Lock lock = enter(phase._isLast);
    if (!lock) return isInside;
    if (_phase && _phase->handle == &phase) {
      ++_phase->checks;
      if (_phase->options.attempts > 1) line[line_field::kAttempt] = _phase->attempt;
    }
    if (!isInside) addFailure(lock, phase, name, shown);
  }
  report(line_type::kMeasurement, line);
  writeLog(shown, kLogIndentation);
  if (!isInside) writeLog("failed: " + shown, kLogIndentation);
  return isInside;
}

void Run::addFailure(const Lock&, const Phase& phase, std::string_view recordText,
                     const std::string& reason) {
  if (_phase && _phase->handle == &phase) {
    _phase->failures.add(std::string(recordText), reason);
  } else {
    // The phase has ended, but a thread that it began has not.
    _failures.add(std::string(recordText), phase._name + ": " + reason);
  }
}

void Run::fail(const Phase& phase, std::string_view reason) {
  {
    const Lock lock = enter(phase._isLast);
    if (!lock) return;
    addFailure(lock, phase, reason, std::string(reason));
  }
  writeLog("failed: " + std::string(reason), kLogIndentation);
}

void Run::log(const Phase& phase, std::string_view text) {
  if (enter(phase._isLast)) writeLog(text, kLogIndentation);
}

void Run::log(std::string_view text) {
  if (enter(false)) writeLog(text, 1);
}

void Run::progress(const Phase& phase, double fraction) {
  if (!enter(phase._isLast)) return;
  tell([this, name = phase._name, fraction] { _console.progress(name, fraction); });
}

bool Run::wait(const Phase& phase, std::chrono::milliseconds duration) {
  if (!enter(phase._isLast)) return false;
  const bool isWhole = _watch.wait(duration);
  enter(phase._isLast);  // Does not return when the run was cut meanwhile.
  return isWhole;
}

void Run::setRecordText(std::string_view text) {
  const Lock lock = enter(false);
  if (lock) _recordText = text;
}

bool Run::isPassing() const {
  const Lock lock = enter(false);
  return _failures.isEmpty() && !(_phase && !_phase->failures.isEmpty());
}

}  // namespace corvane::station
