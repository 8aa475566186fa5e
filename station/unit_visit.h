#ifndef CORVANE_STATION_UNIT_VISIT_H_
#define CORVANE_STATION_UNIT_VISIT_H_

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "station/station.h"
#include "station/unit_facts.h"
#include "station/unit_marks.h"

namespace corvane::station {

/// The unit is not fit for the station.
class RefusedUnit : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a run reads from its unit and leaves there. Callers hold the unit's lock from a look to
/// what is written after it. Everything throws UntrustedUnit when the unit cannot be read or does
/// not hold what was written.
class UnitVisit {
 public:
  /// `profile` must outlive the object.
  explicit UnitVisit(const Profile& profile) : _profile(profile) {}

  /// Reads the station's bytes, the records and the run count.
  void look();
  /// Throws RefusedUnit when the unit does not meet the profile's conditions, is poisoned or has no
  /// room for a record.
  void refuseUnlessFit(const UnitFacts& facts) const;
  /// Marks the unit incomplete, also for a power cut from now on, and counts the run.
  void markIncomplete();
  /// Leaves poison byte, record and, last, the status, on top of what others left since the look,
  /// and reads all three again. When that fails, takes a verdict that the status byte may hold away
  /// again. Writes nothing for a passed run when the unit was poisoned since the look.
  void leaveVerdict(bool isPassed, const std::string& recordText);
  /// Checks that the unit still holds what `markIncomplete` wrote.
  void verifyStatus() const { _status->verify(); }

  /// The number of this run; 0 before the look.
  uint32_t count() const { return _count; }
  const std::vector<Record>& records() const { return _records; }
  /// The status byte as last read or written; nothing before the look.
  std::optional<uint8_t> status() const;
  /// The status byte as the unit has it; nothing when it is not known.
  std::optional<uint8_t> readStatus() const;

 private:
  void readBytes();
  void withdrawVerdict() noexcept;

  const Profile& _profile;
  std::optional<MarkedByte> _status;
  std::optional<MarkedByte> _poison;
  std::optional<RunCounter> _counter;
  std::vector<Record> _records;
  int _failCount = 0;
  uint32_t _count = 0;
};

}  // namespace corvane::station

#endif  // CORVANE_STATION_UNIT_VISIT_H_
