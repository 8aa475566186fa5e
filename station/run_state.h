#ifndef CORVANE_STATION_RUN_STATE_H_
#define CORVANE_STATION_RUN_STATE_H_

#include <chrono>
#include <functional>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/console.h"
#include "station/interruption.h"
#include "station/results_file.h"
#include "station/station.h"
#include "station/unit_visit.h"

namespace corvane::station {

/// A run from its beginning to its end. What stations call may come from any thread; the rest
/// belongs to the thread that made the object.
class RunState {
 public:
  /// Opens the results. Throws ResultsError.
  RunState(const Profile& profile, const RunOptions& options);

  /// Runs the station. May be called once.
  Outcome execute(const std::function<void(TestRun&)>& body);

  /// The operations of TestRun and Phase.
  bool phase(std::string_view name, const std::function<void(Phase&)>& body);
  bool measure(std::string_view name, double value, std::string_view unit, const Limits& limits);
  void fail(std::string_view reason);
  void log(std::string_view text, int indentation);
  void progress(double fraction);
  bool wait(std::chrono::milliseconds duration) { return _interruption.wait(duration); }
  bool isInterrupted() const { return _interruption.signal() != 0; }
  void setRecordText(std::string_view text);
  uint32_t count() const { return _visit.count(); }
  bool isPassing() const;

 private:
  struct PhaseInProgress {
    std::string name;
    std::chrono::steady_clock::time_point begin;
    std::vector<std::string> failures;
  };

  /// Refuses the unit, or marks it.
  void begin();
  void runBody(const std::function<void(TestRun&)>& body);
  void endPhase();
  /// Leaves the result on the unit and reads it back.
  Outcome leaveVerdict();
  Outcome leaveIncomplete();
  /// Keeps `abandon` from ending the run from now on. Returns false when the run was interrupted by
  /// then.
  bool claimEnd();
  /// Reports the run's end, with the status byte if it is known. Changes the outcome when the
  /// results cannot be written.
  void finish(Outcome& outcome, std::optional<uint8_t> after);
  /// Ends the process when the body does not return after a signal.
  void abandon(int signal);

  /// Records a failure: `recordText` describes it in a record, `reason` elsewhere.
  void addFailure(std::string_view recordText, const std::string& reason);
  std::string recordTextFor(bool isPassed);
  void report(const char* type, const nlohmann::ordered_json& fields);
  void writeLog(std::string_view text, int indentation) const;

  const Profile _profile;
  std::string _unit;
  Console _console;
  ResultsFile _results;
  std::string _resultsError;
  const std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();

  UnitVisit _visit{_profile};

  /// Also makes `abandon` wait while `begin` looks at the unit and marks it.
  mutable std::mutex _lock;
  std::optional<PhaseInProgress> _phase;
  size_t _phaseCount = 0;
  std::vector<std::string> _failures;
  std::string _failureText;
  std::string _recordText;
  bool _isMarked = false;
  bool _isCutShort = false;
  bool _isEnding = false;

  /// Last, so that its thread ends before the members above are destroyed.
  Interruption _interruption;
};

}  // namespace corvane::station

#endif  // CORVANE_STATION_RUN_STATE_H_
