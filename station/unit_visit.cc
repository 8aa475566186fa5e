#include "station/unit_visit.h"

#include <algorithm>
#include <limits>

#include "platform/number.h"
#include "station/profile_rules.h"
#include "unit/error.h"
#include "unit/keys.h"
#include "unit/poison_byte.h"
#include "unit/status_byte.h"

namespace corvane::station {
namespace {

bool isPoisonedAt(uint32_t offset, uint8_t byte) {
  return unit::isPoisoned(static_cast<uint8_t>(offset), byte);
}

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : "; ") + text;
  return all;
}

}  // namespace

std::string readIdentity(const std::string& key) {
  const auto value = unit::valueIn(unit::readArea(), unit::keyOf(key));
  return value ? unit::textOf(*value) : std::string();
}

void UnitVisit::look() {
  _status = unit::readByte(_profile.statusOffset);
  unit::Records records = unit::readRecords();
  _records = std::move(records.records);
  _obstacle = std::move(records.obstacle);

  const unit::Bytes area = unit::readArea();
  if (const std::string damage = unit::damageOf(area); !damage.empty()) {
    throw unit::Error(unit::Fault::kDamagedStore, "the configuration area is damaged: " + damage);
  }
  const auto value = unit::valueIn(area, unit::keyOf(_profile.runCountKey));
  const uint32_t count = value ? runMarkIn(*value, _profile.runCountKey).count : 0;
  if (count == std::numeric_limits<uint32_t>::max()) {
    throw RefusedUnit("the run count under key " + _profile.runCountKey + " cannot grow any more");
  }
  _mark.count = count + 1;
}

void UnitVisit::refuseUnlessFit(const unit::Facts& facts, const std::string& identity) const {
  std::vector<std::string> reasons = unmetConditions(_profile.conditions, facts);
  const auto checkPoison = [&](uint32_t offset) {
    const uint8_t byte = unit::readByte(offset);
    if (!isPoisonedAt(offset, byte)) return;
    reasons.push_back("the unit is poisoned: byte " + std::to_string(offset) + " holds " +
                      hexNumber(byte, 2));
  };
  checkPoison(_profile.poisonOffset);
  for (const uint32_t offset : _profile.conditions.earlierPoisonOffsets) checkPoison(offset);
  if (!_obstacle.empty()) reasons.push_back(_obstacle);
  if (!identity.empty() && !_profile.unitKey.empty()) {
    const std::string own = readIdentity(_profile.unitKey);
    if (!own.empty() && own != identity) {
      reasons.push_back("the unit is " + own + " by its key " + _profile.unitKey + ", not " +
                        identity);
    }
  }
  if (!reasons.empty()) throw RefusedUnit(joined(reasons));
}

void UnitVisit::mark(unit::Lock& lock) {
  _status = unit::rewriteStatus(lock, _profile.statusOffset, *_status,
                                {.status = kCorvaneControlBitsIncompleteTest})
                .after;
  unit::writeKey(lock, unit::keyOf(_profile.runCountKey), bytesOf(_mark));
}

void UnitVisit::verifyMark() const {
  const uint8_t held = unit::readByte(_profile.statusOffset);
  if (held != *_status) {
    throw UntrustedUnit("byte " + std::to_string(_profile.statusOffset) + " holds " +
                        hexNumber(held, 2) + " instead of " + hexNumber(*_status, 2) +
                        ", which this run left there");
  }
  const std::string& key = _profile.runCountKey;
  const auto value = unit::valueIn(unit::readArea(), unit::keyOf(key));
  if (!value) throw UntrustedUnit("key " + key + " is gone, in which this run was counted");
  if (std::ranges::equal(*value, bytesOf(_mark))) return;
  const RunMark other = [&] {
    try {
      return runMarkIn(*value, key);
    } catch (const RefusedUnit& error) {
      throw UntrustedUnit(error.what());
    }
  }();
  throw UntrustedUnit("key " + key + " holds run " + std::to_string(other.count) +
                      " of another run instead of this run's " + std::to_string(_mark.count));
}

void UnitVisit::leaveVerdict(unit::Lock& lock, bool isPassed, const std::string& recordText) {
  verifyMark();
  if (isPassed && isPoisonedAt(_profile.poisonOffset, unit::readByte(_profile.poisonOffset))) {
    throw UntrustedUnit("byte " + std::to_string(_profile.poisonOffset) +
                        " was poisoned during the run");
  }
  // Others may have added records since; those that were there must still be.
  std::vector<unit::Record> records = unit::readRecords().records;
  if (std::ranges::mismatch(_records, records).in1 != _records.end()) {
    throw UntrustedUnit("the records that the unit held before the run are not all there");
  }
  _records = std::move(records);
  const uint8_t mark = *_status;
  try {
    writeVerdict(lock, isPassed, recordText);
  } catch (...) {
    // A failed status is not taken back. A passed one is, in any case: what the byte reads as may
    // not be what it holds.
    if (isPassed) withdrawVerdict(lock, mark);
    throw;
  }
}

void UnitVisit::writeVerdict(unit::Lock& lock, bool isPassed, const std::string& recordText) {
  const uint32_t poisonOffset = _profile.poisonOffset;
  const auto poison = static_cast<uint8_t>(poisonOffset);
  const auto result = isPassed ? kCorvaneCotnrolBitsPassed : kCorvaneControlBitsFailed;
  const int failures = failCountOf(*_status);
  // The status comes last: a unit that shows a verdict has the rest as well.
  const uint8_t poisonByte =
      (isPassed ? unit::clearPoison(lock, poison) : unit::setPoison(lock, poison)).after;
  _records.push_back(unit::appendRecord(lock, _profile.number, result, recordText));
  _status = unit::rewriteStatus(
                lock, _profile.statusOffset, *_status,
                {.status = result, .failCount = isPassed ? failures : std::min(failures + 1, 7)})
                .after;
  unit::verifyByte(_profile.statusOffset, *_status);
  unit::verifyByte(poisonOffset, poisonByte);
  if (unit::readRecords().records != _records) {
    throw UntrustedUnit("record " + std::to_string(_records.size()) + " does not stay");
  }
}

void UnitVisit::withdrawVerdict(unit::Lock& lock, uint8_t mark) noexcept {
  try {
    _status = unit::rewriteStatus(lock, _profile.statusOffset, mark, {}).after;
  } catch (const std::exception&) {
    // The unit is reported as untrusted already.
  }
}

std::optional<uint8_t> UnitVisit::readStatus() const {
  try {
    if (_status) return unit::readByte(_profile.statusOffset);
  } catch (const unit::Error&) {
    // Not known.
  }
  return {};
}

}  // namespace corvane::station
