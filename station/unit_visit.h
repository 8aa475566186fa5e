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

/// Thrown when the unit is not fit for the station.
class RefusedUnit : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a run reads from its unit and leaves there. Callers hold the unit's lock from `look` to
/// `markIncomplete`, and during `leaveVerdict`. The functions throw UntrustedUnit when the unit
/// cannot be read or does not hold what was written.
class UnitVisit {
 public:
  /// `profile` must outlive the object.
  explicit UnitVisit(const Profile& profile) : _profile(profile) {}

  /// Reads the station's bytes, the records and the run count.
  void look();
  /// Throws RefusedUnit when the unit does not meet the profile's conditions, is poisoned or has no
  /// room for a record.
  void refuseUnlessFit(const UnitFacts& facts) const;
  /// Marks the unit incomplete, which survives a power cut, and counts the run.
  void markIncomplete();
  /// Writes poison byte, record and, last, the status, on top of what others wrote since `look`,
  /// and reads all three again. When that fails, marks the unit incomplete again. Writes nothing
  /// for a passed run when the unit was poisoned since `look`.
  void leaveVerdict(bool isPassed, const std::string& recordText);
  /// Checks that the unit still holds what `markIncomplete` wrote.
  void verifyStatus() const { _status->verify(); }

  /// Returns the number of this run; 0 before `look`.
  uint32_t count() const { return _count; }
  const std::vector<Record>& records() const { return _records; }
  /// Returns the status byte as last read or written; nothing before `look`.
  std::optional<uint8_t> status() const;
  /// Reads the status byte again; returns nothing before `look`, or when it cannot be read.
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
