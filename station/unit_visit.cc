#include "station/unit_visit.h"

#include <algorithm>
#include <cstdio>

#include "controlbits/control_bits.h"
#include "controlbits/poison_byte.h"
#include "station/run_text.h"

namespace corvane::station {

void UnitVisit::readBytes() {
  // Assigned as a whole, so that a byte that cannot be read again keeps the value that was read
  // before.
  _status = MarkedByte(_profile.statusOffset);
  _poison = MarkedByte(_profile.poisonOffset);
  _failCount = failCountOf(_status->value());
}

void UnitVisit::look() {
  readBytes();
  _records = readRecords();
  _counter.emplace(_profile.runCountKey);
  _count = _counter->count() + 1;
}

void UnitVisit::refuseUnlessFit(const UnitFacts& facts) const {
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
  if (_records.size() >= kMostRecords) {
    reasons.push_back("the chain of records is full: it holds " + std::to_string(_records.size()));
  }
  if (!reasons.empty()) throw RefusedUnit(joined(reasons));
}

void UnitVisit::markIncomplete() {
  uint8_t incomplete = _status->value();
  changeTestStatus(&incomplete, kCorvaneControlBitsIncompleteTest);
  _status->write(incomplete);
  _counter->increase();
}

void UnitVisit::leaveVerdict(bool isPassed, const std::string& recordText) {
  // The unit was fit when the run began: a failure that it holds by now is another's, and stays.
  readBytes();
  if (isPassed && isPoisoned(static_cast<uint8_t>(_poison->offset()), _poison->value())) {
    throw UntrustedUnit("byte " + std::to_string(_poison->offset()) +
                        " was poisoned during the run");
  }
  const auto status = isPassed ? kCorvaneCotnrolBitsPassed : kCorvaneControlBitsFailed;
  uint8_t verdict = _status->value();
  changeTestStatus(&verdict, status);
  changeFailCount(&verdict, gFailCountMap[isPassed ? _failCount : std::min(_failCount + 1, 7)]);
  try {
    // Others may have added records since; those that were there must still be.
    std::vector<Record> records = readRecords();
    if (std::ranges::mismatch(_records, records).in1 == _records.end()) {
      _records = std::move(records);
    }
    // The status comes last: a unit that shows a verdict has the rest as well.
    _poison->write(poisonByte(static_cast<uint8_t>(_poison->offset()), !isPassed));
    const Record record = appendRecord(_records, _profile.number, status, recordText);
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
}

void UnitVisit::withdrawVerdict() noexcept {
  try {
    uint8_t incomplete = _status->value();
    changeTestStatus(&incomplete, kCorvaneControlBitsIncompleteTest);
    changeFailCount(&incomplete, gFailCountMap[_failCount]);
    _status->write(incomplete);  // In any case: what it reads back may not be what it holds.
  } catch (const std::exception&) {
    // The unit is reported as untrusted already.
  }
}

std::optional<uint8_t> UnitVisit::status() const {
  if (!_status) return {};
  return _status->value();
}

std::optional<uint8_t> UnitVisit::readStatus() const {
  try {
    if (_status) return readUnitByte(_status->offset());
  } catch (const UntrustedUnit&) {
    // Not known.
  }
  return {};
}

}  // namespace corvane::station
