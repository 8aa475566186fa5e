#ifndef CORVANE_TOOLS_RESULTS_SUMMARY_H_
#define CORVANE_TOOLS_RESULTS_SUMMARY_H_

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

#include "tools/results/run.h"
#include "tools/results/statistics.h"

namespace corvane::tools {

inline constexpr size_t kVerdicts = 6;

/// What a station measured under one name in one phase.
struct MeasurementSummary {
  uint32_t phase = 0;
  uint32_t name = 0;
  uint32_t unitOfMeasure = 0;
  Statistics statistics;
  uint64_t outside = 0;         ///< Measurements outside their limits.
  uint64_t notNumbers = 0;      ///< Measurements without a finite value, which are outside too.
  std::optional<double> lower;  ///< The limits of the last one.
  std::optional<double> upper;
};

/// What made runs fail: a phase, or a measurement in it.
struct Failure {
  uint32_t phase = 0;
  std::optional<uint32_t> measurement;
  uint64_t runs = 0;
};

/// The units of a station: how many, and for how many the first and the last run passed. Refused
/// runs do not count; a run on a unit that is not identified counts as a unit of its own.
struct Yield {
  uint64_t units = 0;
  uint64_t firstPassed = 0;
  uint64_t lastPassed = 0;
};

class StationSummary {
 public:
  explicit StationSummary(uint32_t name) : _name(name) {}

  void add(const Run& run);

  uint32_t name() const { return _name; }
  uint64_t runs() const;
  uint64_t runs(RunVerdict verdict) const { return _runs[static_cast<size_t>(verdict)]; }
  Yield yield() const;
  /// Returns the failing phases, then the measurements, each with the most frequent first.
  std::vector<Failure> failures() const;
  /// Returns the measurements in the order in which they first came.
  const std::vector<MeasurementSummary>& measurements() const { return _measurements; }

 private:
  struct UnitRecord {
    int64_t firstTime;
    int64_t lastTime;
    bool hasFirstPassed;
    bool hasLastPassed;
  };

  void addUnit(const Run& run);
  void addMeasurement(const Measurement& measurement);

  uint32_t _name;
  std::array<uint64_t, kVerdicts> _runs{};
  Yield _unidentified;
  /// By a hash of their identity, so that a unit takes the same memory whatever it is called.
  std::unordered_map<uint64_t, UnitRecord> _units;
  std::map<uint32_t, uint64_t> _failedPhases;
  std::vector<MeasurementSummary> _measurements;
  std::vector<uint64_t> _runsOutside;  ///< Of each of `_measurements`.
  std::unordered_map<uint64_t, size_t> _measurementAt;
  std::vector<size_t> _outsideNow;
};

/// The stations of many runs.
class Summary {
 public:
  void add(const Run& run);
  /// Returns the stations in the order in which they first came.
  const std::vector<StationSummary>& stations() const { return _stations; }

 private:
  std::vector<StationSummary> _stations;
  std::unordered_map<uint32_t, size_t> _stationAt;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_SUMMARY_H_
