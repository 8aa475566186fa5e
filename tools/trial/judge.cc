#include <sys/wait.h>

#include <algorithm>
#include <cstring>
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

using Slot = DiagnosticRecord<time_t>;
constexpr size_t kRecordsEnd = slotOffset<time_t>(kRecordSlots);

constexpr char kRecordPlace[] = "record ";
std::string bytePlace(size_t offset) { return "byte " + std::to_string(offset); }
std::string keyPlace(uint32_t key) { return "key " + unit::keyName(key); }
uint8_t byteIn(const Places& unit, size_t offset) { return unit.at(bytePlace(offset)).at(0); }

/// Returns what the unit has under the name; empty when it has nothing.
Bytes contentsIn(const Places& unit, const std::string& name) {
  const auto found = unit.find(name);
  return found == unit.end() ? Bytes() : found->second;
}

/// What a unit holds under the run count key.
struct RunMark {
  char form[4];
  uint32_t count;
  uint64_t run;
};

/// Returns zeros when there is no such value.
RunMark runMarkIn(const Places& unit, const Station& station) {
  RunMark held = {};
  const Bytes value = contentsIn(unit, keyPlace(station.runCountKey));
  if (value.size() >= sizeof held) std::memcpy(&held, value.data(), sizeof held);
  return held;
}

/// Returns the results' last line; an empty object when that is not an end line.
nlohmann::json endLineOf(const std::string& results) {
  const size_t begin = results.rfind('\n', results.size() - 2) + 1;
  nlohmann::json line = nlohmann::json::parse(results.substr(begin), nullptr, false);
  const bool isEnd = line.is_object() && line[field::kType] == station::line_type::kEnd;
  return isEnd ? line : nlohmann::json::object();
}

class Judge {
 public:
  Judge(const Station& station, const GoodRun& good, const Case& what, const Run& run)
      : _station(station), _good(good), _case(what), _run(run), _end(endLineOf(run.results)) {
    const auto asRead = [&](UnitState unit) {
      if (what.stick) what.stick(unit);  // The next station reads the byte so.
      return placesOf(unit);
    };
    _before = asRead(run.before);
    _after = asRead(*run.after);
    if (run.meddled) allowForMeddling(placesOf(run.meddled->first), placesOf(run.meddled->second));
    _changed = changedPlaces(_before, _after);
    for (const std::string& place : _changed) {
      if (!place.starts_with(kRecordPlace)) continue;
      const bool isNew = contentsIn(_before, place).empty();
      if (isNew) _added.push_back(_after[place]);
      _isRecordLost |= !isNew;
    }
  }

  Judgement judgement() const {
    std::string lie = lieOfEnd();
    // On the bare library nothing keeps another program from the slot that was found to be free.
    if (_isRecordLost && (!_run.meddled || _run.waitStatus == 0)) lie = "an old record is lost";
    if (lie.empty()) lie = changeOutside();
    if (lie.empty() && contradictsResults()) lie = "the results say " + endText(field::kVerdict);
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
    if (status() <= 3) return _changed.empty() ? "" : "the unit was changed";
    const bool isCut = status() == 4 || status() > kSignalBase;
    if (!isCut) return "this is not a status of the station kit";
    const bool isIncomplete = statusOf(_after) == kCorvaneControlBitsIncompleteTest ||
                              statusOf(_after) == statusOf(_before);
    return isIncomplete ? "" : "the unit is not marked incomplete";
  }

  const char* lieOfUntrusted() const {
    const std::string reason = _end.empty() ? _run.output : endText(field::kReason);
    if (isPass()) return reason.find("passed") == std::string::npos ? "the unit shows a pass" : "";
    const bool isLeft = isPassed() && hasChangedStatus() && !hasRecord();
    return isLeft ? "the status is left passed without its record" : "";
  }

  int status() const { return WEXITSTATUS(_run.waitStatus); }
  int signal() const { return WTERMSIG(_run.waitStatus); }
  /// Returns a field of the results' end line; empty when it is absent or not a text.
  std::string endText(const char* name) const {
    const auto found = _end.find(name);
    return found != _end.end() && found->is_string() ? found->get<std::string>() : "";
  }
  bool isUntrusted() const {
    const std::string verdict = endText(field::kVerdict);
    return verdict.empty() ? _run.output.find("refused: ") == std::string::npos
                           : verdict == "untrusted";
  }
  /// Returns whether the run changed the status to a verdict without what belongs to it.
  bool isHalfVerdict() const {
    if ((!_station.isOfKit && !_good.writesRecordFirst) || !hasChangedStatus()) return false;
    return isPassed() ? isPoisonSet() || !hasRecord() : isFailed() && !isFail();
  }
  bool contradictsResults() const {
    const std::string verdict = endText(field::kVerdict);
    if (verdict.empty() || verdict == "untrusted") return false;
    return verdict == "failed" ? !isFail() : isPass() != (verdict == "passed");
  }

  /// Returns which place the run changed that neither the profile nor the good run has.
  std::string changeOutside() const {
    const std::set<std::string> own = {bytePlace(_station.statusOffset),
                                       bytePlace(_station.poisonOffset),
                                       keyPlace(_station.runCountKey)};
    for (const std::string& place : _changed) {
      // A stuck byte of the configuration area changes what any key holds.
      const bool isJudged =
          place.starts_with(kRecordPlace) || (_case.stick && place.starts_with("key "));
      if (!isJudged && !own.contains(place) && !_good.places.contains(place) &&
          !_outside.contains(place)) {
        return place + " was changed";
      }
    }
    return "";
  }

  /// The change is part of the unit as the station met it when the station has looked at the unit
  /// and written to it since. Otherwise the unit is judged as it was before the change.
  void allowForMeddling(Places from, Places to) {
    Calls then = _run.callsAtStop, now = _run.calls;
    const auto hasCalledSince = [&](const char* call) { return then[call] < now[call]; };
    const bool isMet = hasCalledSince("IORegistryEntryCreateCFProperty") &&
                       hasCalledSince("IORegistryEntrySetCFProperties");
    _outside = changedPlaces(from, to);
    for (const std::string& place : _outside) {
      if (isMet) _before[place] = to[place];
      if (!isMet && _after[place] == to[place]) _after[place] = from[place];
    }
  }

  uint32_t statusOf(const Places& unit) const {
    return testStatusOf(byteIn(unit, _station.statusOffset));
  }
  /// Returns whether this run itself changed the status.
  bool hasChangedStatus() const {
    return statusOf(_before) != statusOf(_after) &&
           !_outside.contains(bytePlace(_station.statusOffset));
  }
  /// Returns whether the run left its one record; none for a station that leaves no records.
  bool hasRecord() const {
    if (!_station.number) return _added.empty();
    return _added.size() == 1 && _added[0][offsetof(Slot, station)] == *_station.number;
  }
  bool isPassed() const { return statusOf(_after) == kCorvaneCotnrolBitsPassed; }
  bool isFailed() const { return statusOf(_after) == kCorvaneControlBitsFailed; }
  bool isPoisonSet() const {
    return isPoisoned(_station.poisonOffset, byteIn(_after, _station.poisonOffset));
  }
  bool isFail() const { return isFailed() && isPoisonSet() && hasRecord(); }
  bool isPass() const {
    if (!isPassed() || isPoisonSet() || _isRecordLost || !hasRecord()) return false;
    constexpr uint8_t kResult = kRecordResultMask << kRecordResultShift;
    const uint8_t flags = _good.run.after->records().back().flags;
    const bool isOther = _station.number && ((_added[0][offsetof(Slot, flags)] ^ flags) & kResult);
    if (isOther) return false;
    if (_station.runCountKey == 0) return true;
    const RunMark mark = runMarkIn(_after, _station);
    const bool isCounted = mark.count == runMarkIn(placesOf(_run.before), _station).count + 1 ||
                           mark.count == runMarkIn(_before, _station).count + 1;
    const std::string told = endText(field::kRun);
    return isCounted && (told.empty() || told == hexNumber(mark.run, 16).substr(2));
  }

  std::string shown() const {
    return "status byte " + hexNumber(byteIn(_after, _station.statusOffset), 2) + ", poison byte " +
           hexNumber(byteIn(_after, _station.poisonOffset), 2) +
           ", new records: " + std::to_string(_added.size());
  }

  const Station& _station;
  const GoodRun& _good;
  const Case& _case;
  const Run& _run;
  nlohmann::json _end;
  /// The unit as the next station would have read it before the run, and as it reads it now.
  Places _before, _after;
  /// Places that the run changed, and those that another program changed.
  std::set<std::string> _changed, _outside;
  /// The slots of the new records.
  std::vector<Bytes> _added;
  bool _isRecordLost = false;
};

}  // namespace

Places placesOf(const UnitState& unit) {
  Places places = {{"device.plist", unit.device},
                   {"the configuration area", unit.configuration},
                   {"the words of NVRAM", unit.nvram}};
  Bytes slots = unit.diagnostics;
  for (const unit::Record& record : unit.records()) {
    const auto slot = slots.begin() + record.offset;
    Bytes& held = places[kRecordPlace + std::to_string(record.slot)];
    held.assign(slot, slot + sizeof(Slot));
    held[offsetof(Slot, flags)] &= uint8_t(~kRecordContinued);
    std::fill_n(slot, sizeof(Slot), 0);
  }
  for (size_t i = 0; i < kFirstRecordOffset; ++i) places[bytePlace(i)] = {slots[i]};
  for (size_t i = kRecordsEnd; i < slots.size(); ++i) places[bytePlace(i)] = {slots[i]};
  places["the free slots"].assign(slots.begin() + kFirstRecordOffset, slots.begin() + kRecordsEnd);

  const MemoryStore store(unit.configuration);
  std::vector<uint32_t> keys(unit.configuration.size());
  const int32_t count = syscfg__list_key(store.get(), keys.data(), keys.size());
  keys.resize(static_cast<size_t>(std::max(count, 0)));
  for (const uint32_t key : keys) {
    places[keyPlace(key)] = unit::valueIn(unit.configuration, key).value_or(Bytes());
  }
  std::string text(unit.nvram.begin(), unit.nvram.end());
  for (const char bracket : {'<', '>'}) std::ranges::replace(text, bracket, ' ');
  std::istringstream words(text);
  for (std::string word; words >> word;) places["the word " + word + " of NVRAM"] = {1};
  return places;
}

std::set<std::string> changedPlaces(const Places& left, const Places& right) {
  std::set<std::string> names;
  for (const Places* places : {&left, &right}) {
    for (const auto& [name, contents] : *places) {
      if (contentsIn(left, name) != contentsIn(right, name)) names.insert(name);
    }
  }
  return names;
}

Judgement judge(const Station& station, const GoodRun& good, const Case& what, const Run& run) {
  if (run.isHung) {
    return {"hang", "it had not ended after " + std::to_string(int(run.seconds)) + " s"};
  }
  if (!run.isReached) return {"not reached"};
  if (!run.after) return {"unjudged", run.unreadable};
  return Judge(station, good, what, run).judgement();
}

}  // namespace corvane::tools::trial
