#ifndef CORVANE_STATION_UNIT_VISIT_H_
#define CORVANE_STATION_UNIT_VISIT_H_

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "station/run_mark.h"
#include "station/station.h"
#include "unit/facts.h"
#include "unit/lock.h"
#include "unit/records.h"

namespace corvane::station {

/// Thrown when the unit is not fit for the station.
class RefusedUnit : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Thrown when the unit does not hold what the run left on it; nothing more was written.
class UntrustedUnit : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a run reads from its unit and leaves there. Callers hold the unit's lock from `look` to
/// `mark`, and during `leaveVerdict`. The functions throw unit::Error when the unit cannot be read
/// or does not hold what was written.
class UnitVisit {
 public:
  /// `profile` must outlive the object.
  UnitVisit(const Profile& profile, uint64_t run) : _profile(profile), _mark{.run = run} {}

  /// Reads the station's bytes, the records and the run count. Throws RefusedUnit for a value of
  /// the run count's key that is not one, or that cannot grow.
  void look();
  /// Throws RefusedUnit when the unit does not meet the profile's conditions, is poisoned, has no
  /// room for a record, or is by its key not the unit `identity`, which may be empty.
  void refuseUnlessFit(const unit::Facts& facts, const std::string& identity) const;
  /// Marks the unit incomplete, which survives a power cut, and counts the run.
  void mark(unit::Lock& lock);

  /// Throws UntrustedUnit unless the unit still holds this run's mark and count: another run, an
  /// imported image or another unit may be in its place.
  void verifyMark() const;
  /// Writes poison byte, record and, last, the status, on top of what others wrote since `look`,
  /// and reads all three again. When that fails for a passed run, marks the unit incomplete again.
  /// Throws UntrustedUnit, with nothing written, as `verifyMark` does, and for a passed run when
  /// the unit was poisoned since `look`.
  void leaveVerdict(unit::Lock& lock, bool isPassed, const std::string& recordText);

  /// Returns the number of this run; 0 before `look`.
  uint32_t count() const { return _mark.count; }
  const std::vector<unit::Record>& records() const { return _records; }
  /// Returns the status byte as last read or written; nothing before `look`.
  std::optional<uint8_t> status() const { return _status; }
  /// Reads the status byte again; returns nothing before `look`, or when it cannot be read.
  std::optional<uint8_t> readStatus() const;

 private:
  void writeVerdict(unit::Lock& lock, bool isPassed, const std::string& recordText);
  void withdrawVerdict(unit::Lock& lock, uint8_t mark) noexcept;

  const Profile& _profile;
  std::optional<uint8_t> _status;
  std::vector<unit::Record> _records;
  std::string _obstacle;
  RunMark _mark;
};

/// Returns the text of the unit's key `key`; empty when there is none.
std::string readIdentity(const std::string& key);

}  // namespace corvane::station

#endif  // CORVANE_STATION_UNIT_VISIT_H_
