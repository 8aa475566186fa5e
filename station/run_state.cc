#include "station/run_state.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>

#include "controlbits/control_bits.h"
#include "log/log.h"
#include "platform/unit_lock.h"
#include "platform/text.h"
#include "station/record_text.h"
#include "station/results_line.h"
#include "station/run_text.h"

namespace corvane::station {
namespace {

using nlohmann::ordered_json;

double secondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
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
  finish(outcome, _visit.readStatus());
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
  std::unique_lock lock(_lock);
  _results.identify(_profile.name, _unit);
  _console.facts(facts);
  lock.unlock();
  {
    const auto unitLock = holdUnitLock();
    // A run that is abandoned meanwhile ends before the look or after the marks, not in between.
    lock.lock();
    _visit.look();
    const uint8_t before = *_visit.status();
    _console.statusByte("before", _profile.statusOffset, before);
    report(line_type::kBegin, {{"count", count()},
                               {"number", _profile.number},
                               {"facts", factsJson(facts)},
                               {"before", byteJson(before)}});
    _visit.refuseUnlessFit(facts);
    if (!_resultsError.empty()) throw ResultsError(_resultsError);
    _visit.markIncomplete();
    _isMarked = true;
    lock.unlock();
  }
  writeLog("begin, run " + std::to_string(count()), 0);
  _console.line("run", std::to_string(count()) + " of this station on this unit");
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
    report(line_type::kPhaseBegin, {{"phase", name}});
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
  report(line_type::kPhase, {{"phase", _phase->name},
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
  report(line_type::kMeasurement, {{"phase", _phase ? _phase->name : ""},
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
  const std::string text = recordTextFor(isPassed);
  const auto lock = holdUnitLock();
  _visit.leaveVerdict(isPassed, text);
  return {isPassed ? Verdict::kPassed : Verdict::kFailed, joined(_failures)};
}

Outcome RunState::leaveIncomplete() {
  _visit.verifyStatus();
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
    report(line_type::kNotice, {{"text", notice}});
  }
  return fitting;
}

void RunState::finish(Outcome& outcome, std::optional<uint8_t> after) {
  const std::string verdict(nameOf(outcome.verdict));
  const std::string reason = outcome.reason.empty() ? "" : ": " + outcome.reason;
  writeLog("end: " + verdict + reason, 0);
  if (const char* result = stationMessage(outcome.verdict)) {
    Log::writePalvireMessage(textFromBytes(result).get(), textFromBytes(_profile.name).get(),
                             CFSTR("status"));
  }
  report(line_type::kEnd, {{"count", count() == 0 ? ordered_json(nullptr) : ordered_json(count())},
                           {"verdict", verdict},
                           {"reason", orNull(outcome.reason)},
                           {"seconds", secondsSince(_start)},
                           {"after", byteJson(after)}});
  if (_resultsError.empty()) {
    try {
      _results.sync();
    } catch (const ResultsError& error) {
      _resultsError = error.what();
    }
  }
  if (!_resultsError.empty() && outcome.verdict < Verdict::kIncomplete) {
    outcome = {Verdict::kUntrusted, _resultsError + "; the unit holds the verdict " + verdict};
  } else if (!_resultsError.empty() && outcome.reason != _resultsError) {
    outcome.reason += "; " + _resultsError;
  }
  if (after) _console.statusByte("after", _profile.statusOffset, *after);
  if (outcome.verdict == Verdict::kPassed || outcome.verdict == Verdict::kFailed) {
    _console.records(_visit.records());
    _console.line("result", verdict + reason);
  } else {
    const bool isUntrusted = outcome.verdict == Verdict::kUntrusted;
    _console.error(_profile.name + ": " + (isUntrusted ? "" : verdict + ": ") + outcome.reason);
  }
}

void RunState::abandon(int signal) {
  std::unique_lock lock(_lock, std::defer_lock);
  for (int attempt = 0; attempt < 100 && !lock.try_lock(); ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  // Whoever holds it waits for ever: for a reader of the results, for instance.
  if (!lock.owns_lock()) ::_exit(128 + signal);
  if (_isEnding) return;
  // The body may be in the middle of a call into the library, of which only the log can be entered
  // from here. The byte was read back after it was written.
  Outcome outcome{Verdict::kIncomplete, interruptedBy(signal), signal};
  if (!_isMarked) outcome.reason += " before the unit was marked";
  finish(outcome, _isMarked ? _visit.status() : std::nullopt);
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
