// How a run ends on the thread that executes it: the verdict is left, and the end is told.

#include <nlohmann/json.hpp>

#include "log/log.h"
#include "platform/or_null.h"
#include "platform/text.h"
#include "station/results_line.h"
#include "station/run.h"
#include "station/run_text.h"
#include "unit/error.h"

namespace corvane::station {

using nlohmann::ordered_json;

Outcome Run::attempted(const std::function<Outcome()>& work) {
  try {
    return work();
  } catch (const RefusedUnit& error) {
    return {Verdict::kRefused, error.what()};
  } catch (const unit::Error& error) {
    const bool isLocked = error.fault() == unit::Fault::kLocked;
    return {Verdict::kUntrusted,
            (isLocked ? "" : "the unit cannot be trusted: ") + std::string(error.what())};
  } catch (const UntrustedUnit& error) {
    return {Verdict::kUntrusted, std::string("the unit cannot be trusted: ") + error.what()};
  } catch (const std::exception& error) {
    return {Verdict::kUntrusted, error.what()};
  }
}

Outcome Run::leaveResult() {
  // First the unit's lock, for which a run may have to wait: until it has the lock, a signal
  // counts.
  unit::Lock unitLock;
  if (claimEnd()) return leaveVerdict(unitLock);
  _visit.verifyMark();
  return interrupted(interruptedBy(_watch.signal()));
}

bool Run::claimEnd() {
  Lock lock(_lock);
  if (_stage == Stage::kCut || _stage == Stage::kCutEnding) {
    lock.unlock();
    blockUntilProcessEnds();
  }
  _stage = Stage::kEnding;
  return !isInterrupted();
}

Outcome Run::leaveVerdict(unit::Lock& unitLock) {
  if (const std::string error = resultsError(); !error.empty()) throw ResultsError(error);
  const bool isPassed = _failures.isEmpty();
  _visit.leaveVerdict(unitLock, isPassed, recordTextFor(isPassed));
  return {isPassed ? Verdict::kPassed : Verdict::kFailed, _failures.text()};
}

Outcome Run::interrupted(std::string reason) const {
  if (!_isMarked) reason += " before the unit was marked";
  if (_last && !_last->failures.empty()) reason += "; " + _last->name + ": " + _last->failures;
  return {Verdict::kIncomplete, reason, _watch.signal()};
}

std::string Run::resultsError() const {
  return _areResultsStuck ? "the results cannot be written: the body is stuck while it writes them"
                          : _results.error();
}

std::string Run::recordTextFor(bool isPassed) {
  const std::string passedText = _recordText.empty() ? _profile.name + " ok" : _recordText;
  const std::string& text = isPassed ? passedText : _failures.recordText();
  std::string fitting = unit::textForRecord(text);
  if (fitting != text) {
    const std::string notice = "the record's text \"" + text + "\" is cut to \"" + fitting + "\"";
    writeLog(notice, 1);
    report(line_type::kNotice, {{line_field::kText, notice}});
  }
  return fitting;
}

void Run::finish(Outcome& outcome, std::optional<uint8_t> after) {
  const ordered_json runCount = count() == 0 ? ordered_json(nullptr) : ordered_json(count());
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - _start).count();
  _results.end({{line_field::kCount, runCount},
                {line_field::kVerdict, nameOf(outcome.verdict)},
                {line_field::kReason, orNull(outcome.reason)},
                {line_field::kSeconds, seconds},
                {line_field::kAfter, byteJson(_profile.statusOffset, after)}});
  const std::string error = _results.error();
  if (!error.empty() && outcome.verdict < Verdict::kIncomplete) {
    outcome = {Verdict::kUntrusted,
               error + "; the unit holds the verdict " + std::string(nameOf(outcome.verdict))};
  } else if (!error.empty() && outcome.reason != error) {
    outcome.reason += "; " + error;
  }
  tellEnd(outcome, after);
}

void Run::tellEnd(const Outcome& outcome, std::optional<uint8_t> after) {
  const std::string verdict(nameOf(outcome.verdict));
  const std::string reason = outcome.reason.empty() ? "" : ": " + outcome.reason;
  writeLog("end: " + verdict + reason, 0);
  if (const char* message = stationMessage(outcome.verdict)) {
    tell([this, message] {
      Log::writePalvireMessage(textFromBytes(message).get(), textFromBytes(_profile.name).get(),
                               CFSTR("status"));
    });
  }
  tell([=, this] {
    if (after) _console.statusByte("after", _profile.statusOffset, *after);
    if (outcome.verdict == Verdict::kPassed || outcome.verdict == Verdict::kFailed) {
      _console.records(_visit.records());
      _console.line("result", verdict + reason);
    } else {
      const bool isUntrusted = outcome.verdict == Verdict::kUntrusted;
      _console.error(_profile.name + (isUntrusted ? "" : ": " + verdict) + reason);
    }
  });
}

}  // namespace corvane::station
