#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>

#include "controlbits/diagnostic_record.h"
#include "controlbits/poison_byte.h"
#include "station/results_line.h"
#include "tools/trial/case.h"

namespace corvane::tools::trial {
namespace {

/// Returns a little-endian number in the value of the run count key, which is "RUNS", the count in
/// 32 bits, and the run's number in 64; 0 when there is none.
uint64_t numberInCount(const Station& station, const UnitState& state, size_t begin, size_t size) {
  const auto value = unit::valueIn(state.configuration, station.runCountKey.value_or(0));
  uint64_t number = 0;
  while (value && value->size() >= begin + size && size-- > 0) {
    number = number << 8 | (*value)[begin + size];
  }
  return number;
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
    if (!fields.is_object()) continue;
    const auto textIn = [&](const char* name) {
      const auto value = fields.find(name);
      return value != fields.end() && value->is_string() ? value->get<std::string>() : "";
    };
    results.run = textIn(field::kRun);
    if (textIn(field::kType) != station::line_type::kEnd) continue;
    results.verdict = textIn(field::kVerdict);
    results.reason = textIn(field::kReason);
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
    const int signal = WIFSIGNALED(_run.waitStatus) ? WTERMSIG(_run.waitStatus) : 0;
    std::string lie;
    if (signal == 0) {
      lie = lieOfExit(WEXITSTATUS(_run.waitStatus));
    } else if (signal == _case.signal) {
      if (isHalfVerdict()) lie = "half a verdict is left";
    } else if (showsPass()) {
      lie = "the unit shows a pass";
    }
    // On the bare library nothing keeps another program from the slot that was found to be free.
    if (_isRecordLost && (!_run.meddled || _run.waitStatus == 0)) lie = "an old record is lost";
    if (lie.empty()) lie = changeOutside();
    if (lie.empty()) lie = contradiction();
    const bool isCrash = signal != 0 && signal != _case.signal;
    if (lie.empty() && !isCrash) return {};
    const std::string end = signal != 0
                                ? "it was ended by signal " + std::to_string(signal)
                                : "it ended with " + std::to_string(WEXITSTATUS(_run.waitStatus));
    return {lie.empty() ? Finding::kCrash : Finding::kLie,
            end + (lie.empty() ? "" : ", but " + lie) + " (" + shown() + ")"};
  }

 private:
  uint32_t statusOf(const UnitState& unit) const {
    return testStatusOf(unit.byte(_station.statusOffset));
  }

  /// The change is part of the unit as the station met it when the station has looked at the unit
  /// and written to it since. Otherwise the unit is judged as it was before the change.
  void allowForMeddling(const UnitState& from, const UnitState& to) {
    const auto hasCalledSince = [&](const char* call) {
      const auto countIn = [&](const Calls& calls) {
        return calls.contains(call) ? calls.at(call) : 0;
      };
      return countIn(_run.calls) > countIn(_run.callsAtStop);
    };
    const bool isMet = hasCalledSince("IORegistryEntryCreateCFProperty") &&
                       hasCalledSince("IORegistryEntrySetCFProperties");
    _outside = differences(from.diagnostics, to.diagnostics);
    if (_case.swapsUnit) {
      (isMet ? _before : _after) = isMet ? to : from;
      return;
    }
    for (const size_t offset : _outside) {
      if (isMet && offset < kFirstRecordOffset) _before.diagnostics[offset] = to.byte(offset);
      uint8_t& byte = _after.diagnostics[offset];
      if (!isMet && byte == to.byte(offset)) byte = from.byte(offset);
    }
    if (from.configuration != to.configuration) {
      if (isMet) _before.configuration = to.configuration;
      if (!isMet && _after.configuration == to.configuration) {
        _after.configuration = from.configuration;
      }
    }
    const std::vector<unit::Record> records = from.records(), now = to.records();
    if (isMet) _others.assign(now.begin() + static_cast<ptrdiff_t>(records.size()), now.end());
  }

  /// The next station reads the byte so.
  void applyStuckByte(const StuckByte& stuck) {
    for (UnitState* unit : {&_before, &_after}) (unit->*stuck.set).at(stuck.offset) = stuck.value;
    if (stuck.set == &UnitState::diagnostics) _outside.insert(stuck.offset);
  }

  void compareRecords() {
    const std::vector<unit::Record> before = _before.records();
    _added = _after.records();
    for (const unit::Record& record : before) {
      _isRecordLost |= _added.empty() || _added.front() != record;
      if (!_added.empty()) _added.erase(_added.begin());
    }
    for (const unit::Record& record : _others) {
      const auto at = std::ranges::find(_added, record);
      _isRecordLost |= at == _added.end();
      if (at != _added.end()) _added.erase(at);
    }
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
  bool showsFail() const { return isFailed() && isPoisonSet() && hasRecord(); }
  bool showsPass() const {
    const bool isMarked =
        isPassed() && !isPoisonSet() && !_isRecordLost && hasRecord() &&
        (!_station.number || _added[0].result == _good.run.after->records().back().result);
    if (!isMarked || !_station.runCountKey) return isMarked;
    char run[17];
    std::snprintf(run, sizeof run, "%016llx",
                  static_cast<unsigned long long>(numberInCount(_station, _after, 8, 8)));
    const auto count = [&](const UnitState& unit) { return numberInCount(_station, unit, 4, 4); };
    const bool isCounted =
        count(_after) == count(_run.before) + 1 || count(_after) == count(_before) + 1;
    return isCounted && (_results.run.empty() || _results.run == run);
  }

  /// Returns whether this run changed the status to a verdict without what belongs to it.
  bool isHalfVerdict() const {
    if (!_station.isOfKit && !_good.writesRecordFirst) return false;
    if (statusOf(_before) == statusOf(_after) || _outside.contains(_station.statusOffset)) {
      return false;
    }
    return (isPassed() && (isPoisonSet() || !hasRecord())) || (isFailed() && !showsFail());
  }

  std::string lieOfExit(int status) const {
    constexpr int kSignalBase = 128;
    if (status == 0) return showsPass() ? "" : "the unit does not show a pass";
    if (!_station.isOfKit) {
      const bool isAfterSignal = _case.signal != 0 && status == kSignalBase + _case.signal;
      return showsPass() && !isAfterSignal ? "the unit shows a pass" : "";
    }
    const bool isUntrusted = _results.verdict.empty()
                                 ? _run.output.find("refused: ") == std::string::npos
                                 : _results.verdict == "untrusted";
    if (status == 1) return showsFail() ? "" : "the unit does not show a fail";
    if (status == 3 && isUntrusted) return lieOfUntrusted();
    if (status == 2 || status == 3) return _before == _after ? "" : "the unit was changed";
    if (status != 4 && status <= kSignalBase) return "this is not a status of the station kit";
    return statusOf(_after) == kCorvaneControlBitsIncompleteTest ||
                   statusOf(_after) == statusOf(_before)
               ? ""
               : "the unit is not marked incomplete";
  }

  std::string lieOfUntrusted() const {
    const std::string& reason = _results.verdict.empty() ? _run.output : _results.reason;
    if (showsPass()) {
      return reason.find("passed") != std::string::npos ? "" : "the unit shows a pass";
    }
    const bool isOwn =
        statusOf(_before) != statusOf(_after) && !_outside.contains(_station.statusOffset);
    return isPassed() && isOwn && !hasRecord() ? "the status is left passed without its record"
                                               : "";
  }

  /// Returns which place the run changed that neither the profile nor the good run has.
  std::string changeOutside() const {
    for (const size_t offset : differences(_before.diagnostics, _after.diagnostics)) {
      const bool isRecord =
          offset >= kFirstRecordOffset && offset < slotOffset<time_t>(kRecordSlots);
      if (isRecord || offset == _station.statusOffset || offset == _station.poisonOffset ||
          _good.bytes.contains(offset) || _outside.contains(offset)) {
        continue;
      }
      return "byte " + std::to_string(offset) + " was changed";
    }
    for (const uint32_t key : keyDifferences(_before, _after)) {
      if (key == _station.runCountKey || _good.keys.contains(key) || _case.stuck) continue;
      return "key " + unit::keyName(key) + " was changed";
    }
    for (const std::string& word : wordDifferences(_before, _after)) {
      if (!_good.words.contains(word)) return "the word " + word + " of NVRAM was changed";
    }
    return _before.device == _after.device ? "" : "device.plist was changed";
  }

  std::string contradiction() const {
    const std::string& verdict = _results.verdict;
    const bool isRight = verdict == "passed"                         ? showsPass()
                         : verdict == "failed"                       ? showsFail()
                         : verdict == "untrusted" || verdict.empty() ? true
                                                                     : !showsPass();
    return isRight ? "" : "the results say " + verdict;
  }

  std::string shown() const {
    char text[96];
    std::snprintf(text, sizeof text, "byte %u is 0x%02x, byte %u is 0x%02x, new records: %zu",
                  _station.statusOffset, _after.byte(_station.statusOffset), _station.poisonOffset,
                  _after.byte(_station.poisonOffset), _added.size());
    return text;
  }

  const Station& _station;
  const GoodRun& _good;
  const Case& _case;
  const Run& _run;
  const Results _results;
  /// The unit as the next station would have read it before the run, and as it reads it now.
  UnitState _before, _after;
  /// Bytes that are stuck or that another program changed.
  std::set<size_t> _outside;
  std::vector<unit::Record> _others, _added;
  bool _isRecordLost = false;
};

}  // namespace

Judgement judge(const Station& station, const GoodRun& good, const Case& what, const Run& run) {
  if (run.isHung)
    return {Finding::kHang,
            "it had not ended after " + std::to_string(static_cast<int>(run.seconds)) + " s"};
  if (!run.isReached) return {Finding::kNotReached};
  if (!run.after) return {Finding::kUnjudged, run.unreadable};
  return Judge(station, good, what, run).judgement();
}

bool showsPassed(const Station& station, const UnitState& state) {
  return testStatusOf(state.byte(station.statusOffset)) == kCorvaneCotnrolBitsPassed;
}

}  // namespace corvane::tools::trial
