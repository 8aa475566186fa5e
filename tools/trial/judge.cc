#include <sys/wait.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include "controlbits/diagnostic_record.h"
#include "controlbits/poison_byte.h"
#include "platform/number.h"
#include "station/results_line.h"
#include "syscfg/memory_store.h"
#include "tools/trial/trial.h"

namespace corvane::tools::trial {
namespace {

namespace field = station::line_field;

constexpr size_t kRecordsEnd = slotOffset<time_t>(kRecordSlots);

std::string byteName(size_t offset) { return "byte " + std::to_string(offset); }

/// Returns the bytes that are not of records, the keys, the words of NVRAM and the files that the
/// unit has, by their names.
std::map<std::string, Bytes> placesOf(const UnitState& unit) {
  std::map<std::string, Bytes> places = {{"device.plist", unit.device}};
  for (size_t i = 0; i < unit.diagnostics.size(); ++i) {
    const bool isOfRecord = i >= kFirstRecordOffset && i < kRecordsEnd;
    if (!isOfRecord) places[byteName(i)] = {unit.byte(i)};
  }
  const MemoryStore store(unit.configuration);
  std::vector<uint32_t> keys(unit.configuration.size());
  const int32_t count = syscfg__list_key(store.get(), keys.data(), keys.size());
  keys.resize(static_cast<size_t>(std::max(count, 0)));
  for (const uint32_t key : keys) {
    places["key " + unit::keyName(key)] = unit::valueIn(unit.configuration, key).value_or(Bytes());
  }
  std::string text(unit.nvram.begin(), unit.nvram.end());
  std::ranges::replace(text, '<', ' ');
  std::ranges::replace(text, '>', ' ');
  std::istringstream words(text);
  for (std::string word; words >> word;) places["the word " + word + " of NVRAM"] = {};
  return places;
}

/// What a unit holds under the run count key.
struct RunMark {
  char form[4];
  uint32_t count;
  uint64_t run;
};

/// Returns zeros when there is no such value.
RunMark runMarkIn(const Station& station, const UnitState& state) {
  RunMark held = {};
  const auto value = unit::valueIn(state.configuration, station.runCountKey);
  if (value && value->size() >= sizeof held) std::memcpy(&held, value->data(), sizeof held);
  return held;
}

/// Returns the last line of results; an empty object when there is none.
nlohmann::json lastLineOf(const std::string& results) {
  nlohmann::json last = nlohmann::json::object();
  std::istringstream lines(results);
  for (std::string line; std::getline(lines, line);) {
    nlohmann::json fields = nlohmann::json::parse(line, nullptr, false);
    if (fields.is_object()) last = std::move(fields);
  }
  return last;
}

class Judge {
 public:
  Judge(const Station& station, const GoodRun& good, const Case& what, const Run& run)
      : _station(station),
        _good(good),
        _case(what),
        _run(run),
        _lastLine(lastLineOf(run.results)),
        _before(run.before),
        _after(*run.after) {
    if (resultsText(field::kType) == station::line_type::kEnd) {
      _verdict = resultsText(field::kVerdict);
    }
    if (run.meddled) allowForMeddling(run.meddled->first, run.meddled->second);
    if (what.stuckSet != nullptr) applyStuckByte();
    compareRecords();
  }

  Judgement judgement() const {
    std::string lie = lieOfEnd();
    // On the bare library nothing keeps another program from the slot that was found to be free.
    if (_isRecordLost && (!_run.meddled || _run.waitStatus == 0)) lie = "an old record is lost";
    if (lie.empty()) lie = changeOutside();
    if (lie.empty() && contradictsResults()) lie = "the results say " + _verdict;
    const bool isCrash = WIFSIGNALED(_run.waitStatus) && signal() != _case.signal;
    if (lie.empty() && !isCrash) return {"honest"};
    const std::string ended = WIFSIGNALED(_run.waitStatus)
                                  ? "was ended by signal " + std::to_string(signal())
                                  : "ended with " + std::to_string(status());
    return {lie.empty() ? "crash" : "lie",
            "it " + ended + (lie.empty() ? "" : ", but " + lie) + " (" + shown() + ")"};
  }

 private:
  /// Added to a signal's number, the exit status of a station that the signal has stopped.
  static constexpr int kSignalBase = 128;

  /// Returns the lie by the table in docs/trial.md; an empty text when there is none.
  std::string lieOfEnd() const {
    const char* const pass = isPass() ? "the unit shows a pass" : "";
    if (WIFSIGNALED(_run.waitStatus)) {
      if (signal() != _case.signal) return pass;
      return isHalfVerdict() ? "half a verdict is left" : "";
    }
    if (status() == 0) return isPass() ? "" : "the unit does not show a pass";
    if (!_station.isOfKit) {
      const bool isAsked = _case.signal != 0 && status() == kSignalBase + _case.signal;
      return isAsked ? "" : pass;
    }
    if (status() == 1) return isFail() ? "" : "the unit does not show a fail";
    if (status() == 3 && isUntrusted()) return lieOfUntrusted();
    if (status() <= 3) return _before == _after ? "" : "the unit was changed";
    const bool isCut = status() == 4 || status() > kSignalBase;
    if (!isCut) return "this is not a status of the station kit";
    return isIncomplete() ? "" : "the unit is not marked incomplete";
  }

  const char* lieOfUntrusted() const {
    const std::string reason = _verdict.empty() ? _run.output : resultsText(field::kReason);
    if (isPass()) return reason.find("passed") == std::string::npos ? "the unit shows a pass" : "";
    const bool isLeft = isPassed() && hasChangedStatus() && !hasRecord();
    return isLeft ? "the status is left passed without its record" : "";
  }

  int status() const { return WEXITSTATUS(_run.waitStatus); }
  int signal() const { return WTERMSIG(_run.waitStatus); }
  /// Returns a field of the results' last line; empty when it is absent or not a text.
  std::string resultsText(const char* name) const {
    const auto found = _lastLine.find(name);
    const bool isText = found != _lastLine.end() && found->is_string();
    return isText ? found->get<std::string>() : "";
  }
  bool isUntrusted() const {
    return _verdict.empty() ? _run.output.find("refused: ") == std::string::npos
                            : _verdict == "untrusted";
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
    if (_verdict.empty() || _verdict == "untrusted") return false;
    if (_verdict == "failed") return !isFail();
    return isPass() != (_verdict == "passed");
  }

  /// Returns which place the run changed that neither the profile nor the good run has.
  std::string changeOutside() const {
    for (const std::string& place : changedPlaces(_before, _after)) {
      const bool isOwn = _good.places.contains(place) || _outside.contains(place) ||
                         place == byteName(_station.statusOffset) ||
                         place == byteName(_station.poisonOffset) ||
                         place == "key " + unit::keyName(_station.runCountKey);
      // A stuck byte of the configuration area changes what any key holds.
      if (!isOwn && !(_case.stuckSet != nullptr && place.starts_with("key ")))
        return place + " was changed";
    }
    return "";
  }

  /// The change is part of the unit as the station met it when the station has looked at the unit
  /// and written to it since. Otherwise the unit is judged as it was before the change.
  void allowForMeddling(const UnitState& from, const UnitState& to) {
    Calls then = _run.callsAtStop, now = _run.calls;
    const auto hasCalledSince = [&](const char* call) { return then[call] < now[call]; };
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
    if (!isMet && _after.configuration == to.configuration) {
      _after.configuration = from.configuration;
    }
    if (!isMet) return;
    if (from.configuration != to.configuration) _before.configuration = to.configuration;
    _others = to.records();
    _others.erase(_others.begin(), _others.begin() + ptrdiff_t(from.records().size()));
  }

  /// The next station reads the byte so.
  void applyStuckByte() {
    for (UnitState* unit : {&_before, &_after}) {
      (unit->*_case.stuckSet).at(_case.stuckOffset) = _case.stuckValue;
    }
    if (_case.stuckSet == &UnitState::diagnostics) _outside.insert(byteName(_case.stuckOffset));
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
    return isPoisoned(_station.poisonOffset, _after.byte(_station.poisonOffset));
  }
  bool isFail() const { return isFailed() && isPoisonSet() && hasRecord(); }
  bool isPass() const {
    const bool isMarked =
        isPassed() && !isPoisonSet() && !_isRecordLost && hasRecord() &&
        (!_station.number || _added[0].result == _good.run.after->records().back().result);
    if (!isMarked || _station.runCountKey == 0) return isMarked;
    const RunMark mark = runMarkIn(_station, _after);
    const bool isCounted = mark.count == runMarkIn(_station, _run.before).count + 1 ||
                           mark.count == runMarkIn(_station, _before).count + 1;
    const std::string told = resultsText(field::kRun);
    return isCounted && (told.empty() || told == hexNumber(mark.run, 16).substr(2));
  }

  std::string shown() const {
    return "status byte " + hexNumber(_after.byte(_station.statusOffset), 2) + ", poison byte " +
           hexNumber(_after.byte(_station.poisonOffset), 2) +
           ", new records: " + std::to_string(_added.size());
  }

  const Station& _station;
  const GoodRun& _good;
  const Case& _case;
  const Run& _run;
  const nlohmann::json _lastLine;
  /// Of the results' end line; empty without one.
  std::string _verdict;
  /// The unit as the next station would have read it before the run, and as it reads it now.
  UnitState _before, _after;
  /// Places that are stuck or that another program changed.
  std::set<std::string> _outside;
  std::vector<unit::Record> _others, _added;
  bool _isRecordLost = false;
};

}  // namespace

std::set<size_t> differences(const Bytes& left, const Bytes& right) {
  std::set<size_t> offsets;
  for (size_t i = 0; i < std::min(left.size(), right.size()); ++i) {
    if (left[i] != right[i]) offsets.insert(i);
  }
  return offsets;
}

std::set<std::string> changedPlaces(const UnitState& left, const UnitState& right) {
  std::vector<std::pair<const std::string, Bytes>> different;
  std::ranges::set_symmetric_difference(placesOf(left), placesOf(right),
                                        std::back_inserter(different));
  std::set<std::string> names;
  for (const auto& [name, contents] : different) names.insert(name);
  return names;
}

Judgement judge(const Station& station, const GoodRun& good, const Case& what, const Run& run) {
  if (run.isHung) {
    return {"hang",
            "it had not ended after " + std::to_string(static_cast<int>(run.seconds)) + " s"};
  }
  if (!run.isReached) return {"not reached"};
  if (!run.after) return {"unjudged", run.unreadable};
  return Judge(station, good, what, run).judgement();
}

bool showsPassed(const Station& station, const UnitState& state) {
  return testStatusOf(state.byte(station.statusOffset)) == kCorvaneCotnrolBitsPassed;
}

}  // namespace corvane::tools::trial
