#include <sys/wait.h>

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>

#include "controlbits/diagnostic_record.h"
#include "controlbits/poison_byte.h"
#include "platform/number.h"
#include "station/results_line.h"
#include "station/run_mark.h"
#include "tools/trial/trial.h"

namespace corvane::tools::trial {
namespace {

/// Returns what the unit holds under the run count key; zeros when there is no such value.
station::RunMark runMarkIn(const Station& station, const UnitState& state) {
  struct {
    char form[4];
    uint32_t count;
    uint64_t run;
  } held = {};
  const auto value = unit::valueIn(state.configuration, station.runCountKey.value_or(0));
  if (value && value->size() >= sizeof held) std::memcpy(&held, value->data(), sizeof held);
  return {held.count, held.run};
}

/// What the results of one run say.
struct Results {
  std::string run, verdict, reason;
};

Results resultsIn(const std::string& text) {
  namespace field = station::line_field;
  Results results;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const auto fields = nlohmann::json::parse(line, nullptr, false);
    const auto textOf = [&](const char* name) {
      const bool isText = fields.is_object() && fields.contains(name) && fields[name].is_string();
      return isText ? fields[name].get<std::string>() : "";
    };
    results.run = textOf(field::kRun);
    if (textOf(field::kType) != station::line_type::kEnd) continue;
    results.verdict = textOf(field::kVerdict);
    results.reason = textOf(field::kReason);
  }
  return results;
}

class Judge {
 public:
  Judge(const Station& station, const GoodRun& good, const Case& what, const Run& run)
      : _station(station),
        _good(good),
        _case(what),
        _run(run),
        _results(resultsIn(run.results)),
        _before(run.before),
        _after(*run.after) {
    if (run.meddled) allowForMeddling(run.meddled->first, run.meddled->second);
    if (what.stuck) applyStuckByte(*what.stuck);
    compareRecords();
  }

  Judgement judgement() const {
    const End end = endOf(_run.waitStatus);
    std::string lie = lieOf(end);
    // On the bare library nothing keeps another program from the slot that was found to be free.
    if (_isRecordLost && (!_run.meddled || _run.waitStatus == 0)) lie = "an old record is lost";
    if (lie.empty()) lie = changeOutside();
    if (lie.empty() && contradictsResults()) lie = "the results say " + _results.verdict;
    if (lie.empty() && end != kOwnSignal) return {};
    const std::string ended = WIFSIGNALED(_run.waitStatus)
                                  ? "was ended by signal " + std::to_string(signal())
                                  : "ended with " + std::to_string(status());
    return {lie.empty() ? Finding::kCrash : Finding::kLie,
            "it " + ended + (lie.empty() ? "" : ", but " + lie) + " (" + shown() + ")"};
  }

 private:
  /// How the station ended.
  enum End { kZero, kOne, kRefused, kUntrusted, kIncomplete, kAnother, kSentSignal, kOwnSignal };

  End endOf(int waitStatus) const {
    constexpr End kEnds[] = {kZero, kOne, kRefused, kRefused, kIncomplete};
    if (WIFSIGNALED(waitStatus)) return signal() == _case.signal ? kSentSignal : kOwnSignal;
    if (status() == 3 && isUntrusted()) return kUntrusted;
    if (status() > kSignalBase) return kIncomplete;
    return status() < static_cast<int>(std::size(kEnds)) ? kEnds[status()] : kAnother;
  }

  /// Returns the lie by the table in docs/trial.md; an empty text when there is none.
  std::string lieOf(End end) const {
    const auto when = [](bool isLie, const char* lie) { return isLie ? lie : ""; };
    const char* const noPass = when(!isPass(), "the unit does not show a pass");
    const char* const pass = when(isPass(), "the unit shows a pass");
    const char* const noFail = when(!isFail(), "the unit does not show a fail");
    const char* const changed = when(_before != _after, "the unit was changed");
    const char* const unmarked = when(!isIncomplete(), "the unit is not marked incomplete");
    const char* const unknown = "this is not a status of the station kit";
    const char* const half = when(isHalfVerdict(), "half a verdict is left");
    const bool isAsked = _case.signal != 0 && status() == kSignalBase + _case.signal;
    const struct {
      const char *kit, *bareLibrary;
    } lies[] = {/* kZero */ {noPass, noPass},
                /* kOne */ {noFail, pass},
                /* kRefused */ {changed, pass},
                /* kUntrusted */ {lieOfUntrusted(), pass},
                /* kIncomplete */ {unmarked, isAsked ? "" : pass},
                /* kAnother */ {unknown, pass},
                /* kSentSignal */ {half, half},
                /* kOwnSignal */ {pass, pass}};
    return _station.isOfKit ? lies[end].kit : lies[end].bareLibrary;
  }

  const char* lieOfUntrusted() const {
    const std::string& reason = _results.verdict.empty() ? _run.output : _results.reason;
    if (isPass()) return reason.find("passed") == std::string::npos ? "the unit shows a pass" : "";
    const bool isLeft = isPassed() && hasChangedStatus() && !hasRecord();
    return isLeft ? "the status is left passed without its record" : "";
  }

  /// Added to a signal's number, the exit status of a station that the signal has stopped.
  static constexpr int kSignalBase = 128;
  int status() const { return WEXITSTATUS(_run.waitStatus); }
  int signal() const { return WTERMSIG(_run.waitStatus); }
  bool isUntrusted() const {
    return _results.verdict.empty() ? _run.output.find("refused: ") == std::string::npos
                                    : _results.verdict == "untrusted";
  }
  bool isIncomplete() const {
    return statusOf(_after) == kCorvaneControlBitsIncompleteTest ||
           statusOf(_after) == statusOf(_before);
  }
  /// Returns whether the run changed the status to a verdict without what belongs to it.
  bool isHalfVerdict() const {
    if ((!_station.isOfKit && !_good.writesRecordFirst) || !hasChangedStatus()) return false;
    return isPassed() ? isPoisonSet() || !hasRecord() : isFailed() && !isFail();
  }

  bool contradictsResults() const {
    const std::string& verdict = _results.verdict;
    if (verdict.empty() || verdict == "untrusted") return false;
    if (verdict == "failed") return !isFail();
    return isPass() != (verdict == "passed");
  }

  /// Returns which place the run changed that neither the profile nor the good run has.
  std::string changeOutside() const {
    for (const std::string& place : changedPlaces(_before, _after)) {
      const bool isOwn = _good.places.contains(place) || _outside.contains(place) ||
                         place == byteName(_station.statusOffset) ||
                         place == byteName(_station.poisonOffset) ||
                         place == "key " + unit::keyName(_station.runCountKey.value_or(0));
      // A stuck byte of the configuration area changes what any key holds.
      if (!isOwn && !(_case.stuck && place.starts_with("key "))) return place + " was changed";
    }
    return "";
  }

  /// The change is part of the unit as the station met it when the station has looked at the unit
  /// and written to it since. Otherwise the unit is judged as it was before the change.
  void allowForMeddling(const UnitState& from, const UnitState& to) {
    const auto hasCalledSince = [&](const char* call) {
      const auto then = _run.callsAtStop.find(call), now = _run.calls.find(call);
      return now != _run.calls.end() &&
             (then == _run.callsAtStop.end() || then->second < now->second);
    };
    const bool isMet = hasCalledSince("IORegistryEntryCreateCFProperty") &&
                       hasCalledSince("IORegistryEntrySetCFProperties");
    _outside = changedPlaces(from, to);
    if (_case.swapsUnit) {
      (isMet ? _before : _after) = isMet ? to : from;
      return;
    }
    for (const size_t offset : differences(from.diagnostics, to.diagnostics)) {
      if (isMet && offset < kFirstRecordOffset) _before.diagnostics[offset] = to.byte(offset);
      uint8_t& byte = _after.diagnostics[offset];
      if (!isMet && byte == to.byte(offset)) byte = from.byte(offset);
    }
    if (isMet && from.configuration != to.configuration) _before.configuration = to.configuration;
    if (!isMet && _after.configuration == to.configuration) {
      _after.configuration = from.configuration;
    }
    const std::vector<unit::Record> records = from.records(), now = to.records();
    if (isMet) _others.assign(now.begin() + static_cast<ptrdiff_t>(records.size()), now.end());
  }

  /// The next station reads the byte so.
  void applyStuckByte(const StuckByte& stuck) {
    for (UnitState* unit : {&_before, &_after}) (unit->*stuck.set).at(stuck.offset) = stuck.value;
    if (stuck.set == &UnitState::diagnostics) _outside.insert(byteName(stuck.offset));
  }

  void compareRecords() {
    _added = _after.records();
    const auto take = [&](const unit::Record& record, auto found) {
      _isRecordLost |= found == _added.end() || *found != record;
      if (found != _added.end()) _added.erase(found);
    };
    for (const unit::Record& record : _before.records()) take(record, _added.begin());
    for (const unit::Record& record : _others) take(record, std::ranges::find(_added, record));
  }

  uint32_t statusOf(const UnitState& unit) const {
    return testStatusOf(unit.byte(_station.statusOffset));
  }
  /// Returns whether this run itself changed the status.
  bool hasChangedStatus() const {
    return statusOf(_before) != statusOf(_after) &&
           !_outside.contains(byteName(_station.statusOffset));
  }
  /// Returns whether the run left its one record; none for a station that leaves no records.
  bool hasRecord() const {
    if (!_station.number) return _added.empty();
    return _added.size() == 1 && _added[0].station == *_station.number;
  }
  bool isPassed() const { return showsPassed(_station, _after); }
  bool isFailed() const { return statusOf(_after) == kCorvaneControlBitsFailed; }
  bool isPoisonSet() const {
    return isPoisoned(static_cast<uint8_t>(_station.poisonOffset),
                      _after.byte(_station.poisonOffset));
  }
  bool isFail() const { return isFailed() && isPoisonSet() && hasRecord(); }
  bool isPass() const {
    const bool isMarked =
        isPassed() && !isPoisonSet() && !_isRecordLost && hasRecord() &&
        (!_station.number || _added[0].result == _good.run.after->records().back().result);
    if (!isMarked || !_station.runCountKey) return isMarked;
    const station::RunMark mark = runMarkIn(_station, _after);
    const bool isCounted = mark.count == runMarkIn(_station, _run.before).count + 1 ||
                           mark.count == runMarkIn(_station, _before).count + 1;
    const std::string run = hexNumber(mark.run, 16).substr(2);
    return isCounted && (_results.run.empty() || _results.run == run);
  }

  std::string shown() const {
    std::string text;
    for (const uint32_t offset : {_station.statusOffset, _station.poisonOffset}) {
      text += byteName(offset) + " is " + hexNumber(_after.byte(offset), 2) + ", ";
    }
    return text + "new records: " + std::to_string(_added.size());
  }

  const Station& _station;
  const GoodRun& _good;
  const Case& _case;
  const Run& _run;
  const Results _results;
  /// The unit as the next station would have read it before the run, and as it reads it now.
  UnitState _before, _after;
  /// Places that are stuck or that another program changed.
  std::set<std::string> _outside;
  std::vector<unit::Record> _others, _added;
  bool _isRecordLost = false;
};

}  // namespace

Judgement judge(const Station& station, const GoodRun& good, const Case& what, const Run& run) {
  if (run.isHung) {
    return {Finding::kHang,
            "it had not ended after " + std::to_string(static_cast<int>(run.seconds)) + " s"};
  }
  if (!run.isReached) return {Finding::kNotReached, what.obstacle};
  if (!run.after) return {Finding::kUnjudged, run.unreadable};
  return Judge(station, good, what, run).judgement();
}

bool showsPassed(const Station& station, const UnitState& state) {
  return testStatusOf(state.byte(station.statusOffset)) == kCorvaneCotnrolBitsPassed;
}

}  // namespace corvane::tools::trial
