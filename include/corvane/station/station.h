#ifndef CORVANE_STATION_STATION_H_
#define CORVANE_STATION_STATION_H_

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "../platform/export.h"
#include "verdict.h"

/// The station kit: what a station program is written with. A station describes itself in a Profile
/// and hands `run` its work; the kit marks the unit before the work, leaves the result after it,
/// and reads back every write:
///
///     const Profile kStation = {.name = "burn-in", .number = 7, .statusOffset = 20,
///                               .poisonOffset = 21, .runCountKey = "BRUN"};
///     const Outcome outcome = run(kStation, {}, [](TestRun& run) {
///       run.phase("speaker", [](Phase& phase) {
///         phase.measure("loudness", measureLoudness(), "dB", {.lower = 60, .upper = 75});
///       });
///     });
///     return outcome.exitStatus();
///
/// A main program with options is written with `<corvane/station/command_line.h>`. One run at a
/// time in a process.
namespace corvane::station {

/// Bounds of a measurement, both inclusive; an absent one does not bound.
struct Limits {
  std::optional<double> lower = std::nullopt;  ///< The least value that is inside.
  std::optional<double> upper = std::nullopt;  ///< The greatest value that is inside.
};

/// What a checked text must be: exactly one of the three is given.
struct Expected {
  std::optional<std::string> equals = std::nullopt;  ///< This text.
  std::vector<std::string> oneOf = {};               ///< One of these.
  /// Matched as a whole by this POSIX extended regular expression of at most 4096 bytes, byte for
  /// byte, not by the program's locale.
  std::optional<std::string> matches = std::nullopt;
};

/// How a phase runs.
struct PhaseOptions {
  /// The time for all its attempts together; 0 does not bound. When it is over the run fails with
  /// "timed out after 30 s": the kit runs the last phase, leaves the verdict and ends the process
  /// with status 1, or with 3 when the unit does not hold the verdict ten seconds later. The body
  /// is not resumed.
  std::chrono::milliseconds timeLimit = std::chrono::milliseconds(0);
  /// How often it may run until it passes. An attempt that is repeated is in the results, but what
  /// failed in it does not count. An exception is not repeated.
  int attempts = 1;
  /// It only prepares: it may pass although it measured and checked nothing.
  bool isSetUp = false;
};

/// What a station requires of a unit. A unit that does not meet a condition, or of which the charge
/// or the model cannot be read when it is required, is refused before anything is written to it.
struct Conditions {
  /// Lowest battery charge in percent; not asked while external power is connected, nor when 0.
  int lowestBattery = 0;
  /// External power must be connected.
  bool externalPower = false;
  /// Models that the station takes, each the beginning of a model name ("T33"); empty takes all.
  std::vector<std::string> models = {};
  /// Poison bytes of earlier stations, none of which may be set.
  std::vector<uint32_t> earlierPoisonOffsets = {};
};

/// Describes a station: its names, its places on a unit and its conditions.
struct Profile {
  /// The name in the log, the results and the record of a passed unit.
  std::string name;
  /// The station's number in its records.
  uint8_t number = 0;
  /// Its control-bit byte in "VelmoDiagnosticData", 0 to 127; not 9 and 18, which the library uses.
  uint32_t statusOffset = 0;
  /// Its poison byte there, within the same bounds; not the control-bit byte.
  uint32_t poisonOffset = 0;
  /// The configuration key, four characters, that counts the station's runs on the unit and says
  /// which run was the last.
  std::string runCountKey;
  /// The configuration key whose text identifies the unit (its serial number); empty when there is
  /// none.
  std::string unitKey = {};
  /// The version of the station program, for the results.
  std::string version = {};
  /// What it requires of a unit.
  Conditions conditions = {};
};

/// The options of one run.
struct RunOptions {
  /// Where results are appended as JSON lines (docs/results.md); empty writes none.
  std::filesystem::path results = {};
  /// Identifies the unit in the results. A unit whose key holds another identity is refused. When
  /// empty, the key says it.
  std::string unit = {};
  /// Prints only errors.
  bool isQuiet = false;
  /// The program that tests and its version, for the results.
  std::string program = {};
  /// The fixture that holds the unit, for the results.
  std::string fixture = {};
  /// Who operates the station, for the results.
  std::string operatorName = {};
};

/// How a run ended.
struct Outcome {
  /// The way in which it ended.
  Verdict verdict = Verdict::kMisused;
  /// What failed, and for an untrusted unit the byte, key or record and what it holds. Empty when
  /// the run passed.
  std::string reason;
  /// The signal that ended an incomplete run; 0 when `exit` did.
  int signal = 0;

  /// Returns 0 for passed, 1 for failed, 2 for misused, 3 for refused or untrusted, and for
  /// incomplete 128 + signal, or 4 without one.
  CORVANE_EXPORT int exitStatus() const;
};

class Run;

/// A phase in progress. Every operation may be called from any thread. An operation does nothing
/// after the run, and in a process that the run's began.
class CORVANE_EXPORT Phase {
 public:
  Phase(const Phase&) = delete;
  Phase& operator=(const Phase&) = delete;

  /// Reports the measurement `name`, in `unit` ("dB", or nothing). Returns whether `value` lies
  /// inside `limits`; one outside, or one that is not a finite number, fails the phase.
  bool measure(std::string_view name, double value, std::string_view unit = {}, Limits limits = {});

  /// Reports the check `name` of `text`, and returns whether it is what is `expected`; another text
  /// fails the phase, and so does a wrong expectation.
  bool check(std::string_view name, std::string_view text, const Expected& expected);
  /// Reports the check `name`, and returns `holds`; false fails the phase.
  bool check(std::string_view name, bool holds);
  /// A text without an expectation is not a condition.
  bool check(std::string_view name, const void* text) = delete;

  /// Fails the phase with `reason`. The first failure's reason becomes the text of the run's
  /// record, which holds 13 bytes: begin it with what failed.
  void fail(std::string_view reason);

  /// Appends the line `text` to the test log.
  void log(std::string_view text);

  /// Shows on a terminal that `fraction` of the phase is done: 0 to 1. A value outside shows as the
  /// nearer bound, one that is not a number as 0.
  void progress(double fraction);

  /// Sleeps for `duration`, a year at most, and returns true; returns false at once when the run is
  /// interrupted, and the body should then return. A body that does not return within three seconds
  /// of the signal is ended with the process. The last phase is not interrupted.
  bool wait(std::chrono::milliseconds duration);
  /// Returns whether a signal asked the run to end.
  bool isInterrupted() const;

 private:
  friend class Run;
  Phase(Run& run, std::string_view name, bool isLast) : _run(run), _name(name), _isLast(isLast) {}

  Run& _run;
  const std::string _name;
  const bool _isLast;
};

/// A run in progress.
class CORVANE_EXPORT TestRun {
 public:
  TestRun(const TestRun&) = delete;
  TestRun& operator=(const TestRun&) = delete;

  /// Runs `body` as the phase `name`, and returns whether it passed: something was measured or
  /// checked, nothing failed, and nothing was thrown. An exception fails the run and ends it: like
  /// after an interruption, every further phase returns false without running. Phases do not nest;
  /// a phase begun inside another fails it. A phase that has not ended when the run's body returns
  /// fails the run.
  bool phase(std::string_view name, const std::function<void(Phase&)>& body);
  /// Runs `body` as the phase `name` in the same way, with the attempts and the time limit of
  /// `options`, and returns whether it passed.
  bool phase(std::string_view name, const PhaseOptions& options,
             const std::function<void(Phase&)>& body);

  /// Makes `body` the last phase, `name`, which runs in any case: when the run's body has returned
  /// or thrown, after an interruption, an exit and a time limit, then on a thread of its own;
  /// before the verdict. It has the time `timeLimit`, and its failure fails the run. It does not
  /// run after SIGKILL, _exit and a crash.
  void lastPhase(std::string_view name, const std::function<void(Phase&)>& body,
                 std::chrono::milliseconds timeLimit = std::chrono::seconds(10));

  /// Appends the line `text` to the test log.
  void log(std::string_view text);

  /// Makes `text` the text of the record that a passed run leaves, in place of "NAME ok". A record
  /// holds 13 bytes of UTF-8 (9 where the platform's time value has 32 bits): a longer text is cut
  /// after a whole character, with a notice in the log and the results.
  void setRecordText(std::string_view text);

  /// Returns the number of this run among this station's runs on the unit, from 1.
  uint32_t count() const;
  /// Returns whether nothing has failed yet.
  bool isPassing() const;

 private:
  friend class Run;
  explicit TestRun(Run& run) : _run(run) {}

  Run& _run;
};

/// Runs the station `profile` on the unit as `options` say, and returns how the run ended. First
/// refuses a unit that does not meet the profile's conditions, marks the unit's status byte
/// incomplete and counts the run; then calls `body`; then checks that the unit still holds this
/// run's mark and count, writes poison byte, record and, last, the status with the fail count, and
/// reads all of them back. Off the device, the steps before and after `body` hold the unit's lock,
/// which is free while `body` runs. A run without a phase fails, and so does one whose body throws.
/// An exit during a run ends it as incomplete, with status 4. Throws nothing.
CORVANE_EXPORT Outcome run(const Profile& profile, const RunOptions& options,
                           const std::function<void(TestRun&)>& body) noexcept;

}  // namespace corvane::station

#endif  // CORVANE_STATION_STATION_H_
