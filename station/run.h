#ifndef CORVANE_STATION_RUN_H_
#define CORVANE_STATION_RUN_H_

#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/console.h"
#include "station/expectation.h"
#include "station/failures.h"
#include "station/results_file.h"
#include "station/station.h"
#include "station/unit_visit.h"
#include "station/watch.h"

namespace corvane::station {

/// A run from its beginning to its end. Its object lives until the process ends, because threads
/// that a body started may call it later.
///
/// Either the thread that executes the run claims its end, or the run is cut: a time limit, a
/// signal or `exit` ends it, and the process with it, while the body is still somewhere. From then
/// on calls of the body do not return. The run waits for the unit, the results, the log and the
/// terminal without a lock of its own: the body may be stuck while it holds them.
class Run {
 public:
  using PhaseBody = std::function<void(Phase&)>;

  /// Opens the results. Throws ResultsError, and std::runtime_error during another run.
  static Run& start(const Profile& profile, const RunOptions& options);

  /// Runs the station. May be called once.
  Outcome execute(const std::function<void(TestRun&)>& body);

  /// The operations of TestRun and Phase.
  bool phase(std::string_view name, const PhaseOptions& options, const PhaseBody& body);
  void setLastPhase(std::string_view name, const PhaseBody& body, std::chrono::milliseconds limit);
  bool measure(const Phase& phase, std::string_view name, double value, std::string_view unit,
               const Limits& limits);
  bool check(const Phase& phase, std::string_view name, std::string_view text,
             const Expected& expected);
  bool check(const Phase& phase, std::string_view name, bool holds);
  void fail(const Phase& phase, std::string_view reason);
  void log(const Phase& phase, std::string_view text);
  void progress(const Phase& phase, double fraction);
  bool wait(const Phase& phase, std::chrono::milliseconds duration);
  bool isInterrupted() const { return _watch.signal() != 0; }
  void log(std::string_view text);
  void setRecordText(std::string_view text);
  uint32_t count() const { return _visit.count(); }
  bool isPassing() const;

 private:
  enum class Stage {
    kBegin,
    kMarking,    ///< The unit is looked at and marked; not to be cut in between.
    kBody,       ///< Also the last phase.
    kEnding,     ///< The executing thread has claimed the end.
    kCut,        ///< The run was cut; only the last phase may call it.
    kCutEnding,  ///< Nothing may call it.
    kOver,
  };
  /// Why a run is cut.
  struct Cut {
    enum class Cause { kTimeLimit, kSignal, kExit } cause;
    uint32_t phase = 0;     ///< Whose time limit it is.
    std::string call = {};  ///< "exit" or "quick_exit".
    int signal = 0;         ///< The one that came before; it then tells how the run ends.
  };
  /// How the run ends, and the status byte if it is known.
  struct Ending {
    Outcome outcome;
    std::optional<uint8_t> after;
  };
  struct PhaseInProgress {
    Phase* handle;
    uint32_t number;  ///< From 1.
    PhaseOptions options;
    std::chrono::steady_clock::time_point begin, attemptBegin;
    int attempt = 1;
    size_t checks = 0;
    Failures failures = {};
  };
  struct LastPhase {
    std::string name;
    PhaseBody body;
    std::chrono::milliseconds limit;
    bool hasBegun = false;
    std::string failures = {};
  };
  enum class AttemptEnd { kPassed, kFailed, kRepeated };
  using Lock = std::unique_lock<std::mutex>;

  Run(const Profile& profile, const RunOptions& options, uint64_t id);

  // run.cc
  static void endActiveRun(const char* call);
  /// Calls a body of the station's, and returns what it threw, as "`who` threw: WHAT"; an empty
  /// text when it returned. A process that the body began ends here.
  std::string thrownBy(const std::string& who, const std::function<void()>& body) const;
  void runBody(const std::function<void(TestRun&)>& body);
  /// Locks the run for a call of the body; the lock is empty when the call is to do nothing. Does
  /// not return when the run was cut.
  Lock enter(bool isOfLastPhase) const;
  void tell(const std::function<void()>& line);
  void writeLog(std::string_view text, int indentation);
  void report(const char* type, const nlohmann::ordered_json& fields);

  // run_begin.cc
  void begin();
  void markUnit(const unit::Facts& facts);
  void reportBegin(const unit::Facts& facts);

  // run_phases.cc
  /// Returns null when the phase is not to run.
  Phase* beginPhase(std::string_view name, const PhaseOptions& options);
  Phase* openPhase(const Lock& lock, std::string_view name, const PhaseOptions& options,
                   bool isLast);
  void runLastPhase();
  AttemptEnd endAttempt(const Phase& phase, const std::string& thrown);
  /// These two return what is to be told when the lock is free again. A phase that has not ended is
  /// a failure.
  std::function<void()> repeatPhase(const Lock& lock);
  std::function<void()> closePhase(const Lock& lock, bool hasEnded = true);
  bool takeCheck(const Phase& phase, std::string_view name, bool isInside,
                 const std::string& shownValue, const nlohmann::ordered_json& fields);
  bool takeTextCheck(const Phase& phase, std::string_view name, const std::string& text,
                     const CheckResult& result);
  void addFailure(const Lock& lock, const Phase& phase, std::string_view recordText,
                  const std::string& reason);

  // run_end.cc
  /// Returns what `work` returns, or how the run ends by what it throws.
  static Outcome attempted(const std::function<Outcome()>& work);
  /// Leaves the verdict, or what an interrupted run leaves.
  Outcome leaveResult();
  Outcome leaveVerdict(unit::Lock& lock);
  Outcome interrupted(std::string reason) const;
  bool claimEnd();
  std::string recordTextFor(bool isPassed);
  std::string resultsError() const;
  /// Reports the run's end. Changes the outcome when the results cannot be written.
  void finish(Outcome& outcome, std::optional<uint8_t> after);
  void tellEnd(const Outcome& outcome, std::optional<uint8_t> after);

  // run_cut.cc
  /// Ends the run and the process. Returns only when the run ends, or the phase ended, without it.
  void cut(Cut cut);
  bool claimCut(Cut& cut);
  void enterCutEnding();
  void failTimedOutPhase();
  /// Forgets the phase in progress, and returns "in phase NAME", or "between phases".
  std::string leavePhase();
  Ending verdictInTime();
  [[noreturn]] void endProcess(const Ending& ending);

  /// Whether this thread runs the last phase.
  static thread_local bool sRunsLastPhase;

  const Profile _profile;
  const RunOptions _options;
  std::string _unit;
  Console _console;
  ResultsFile _results;
  UnitVisit _visit;
  const pid_t _process = ::getpid();
  const std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
  TestRun _handle{*this};

  mutable std::mutex _lock;
  std::condition_variable _changed;
  Stage _stage = Stage::kBegin;
  bool _isMarked = false;
  std::vector<std::unique_ptr<Phase>> _phases;
  std::optional<PhaseInProgress> _phase;
  std::optional<LastPhase> _last;
  Failures _failures;
  std::string _recordText;
  bool _isCutShort = false;
  /// What a cut run tells the log and the operator when all else is done.
  std::vector<std::function<void()>> _later;
  Outcome _outcome;
  /// A stuck body holds the results.
  std::atomic<bool> _areResultsStuck = false;

  /// The run before this one, whose object is kept.
  const Run* _previous = nullptr;
  Watch _watch;
};

}  // namespace corvane::station

#endif  // CORVANE_STATION_RUN_H_
