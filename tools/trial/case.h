#ifndef CORVANE_TOOLS_TRIAL_CASE_H_
#define CORVANE_TOOLS_TRIAL_CASE_H_

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tools/trial/trial.h"
#include "unit/keys.h"
#include "unit/records.h"

/// What a trial is made of: units, cases, runs, and the judge.
namespace corvane::tools::trial {

using unit::Bytes;

inline constexpr std::string_view kDiagnosticSet = "VelmoDiagnosticData";
inline constexpr std::string_view kConfigurationSet = "VelmoDiagnosticDataSysCfg";

/// A unit's contents as its files hold them. They are read without the platform, so no fault rule
/// applies to them, and what a restart of the unit undoes is left out.
struct UnitState {
  Bytes diagnostics, configuration, nvram, device;

  bool operator==(const UnitState&) const = default;
  uint8_t byte(size_t offset) const { return diagnostics.at(offset); }
  std::vector<unit::Record> records() const { return unit::recordsIn(diagnostics).records; }
};

/// Reads the unit in `folder`. Throws CommandError when it cannot be read.
UnitState readUnit(const std::filesystem::path& folder);
/// Atomically replaces each of the unit's files.
void writeUnit(const std::filesystem::path& folder, const UnitState& state);
/// Appends a passed record to the chain, as the library does.
void appendRecord(UnitState& state, uint8_t station);
/// Sets the key, or deletes it when `value` is empty. Returns whether that could be done.
bool setKey(UnitState& state, uint32_t key, const Bytes& value);
/// Return the offsets, the keys and the words that differ.
/// @{
std::set<size_t> differences(const Bytes& left, const Bytes& right);
std::set<uint32_t> keyDifferences(const UnitState& left, const UnitState& right);
std::set<std::string> wordDifferences(const UnitState& left, const UnitState& right);
/// @}

struct StuckByte {
  Bytes UnitState::*set;
  size_t offset;
  uint8_t value;
};

/// One way in which the station is tried.
struct Case {
  Kind kind = Kind::kUnits;
  std::string name;
  /// The folder of the unit that the case gets a copy of.
  std::filesystem::path unit;
  std::string faults = {};
  /// The call at which the case takes effect; empty when it does from the beginning.
  std::string call = {};
  uint64_t occurrence = 0;
  std::optional<StuckByte> stuck = {};
  /// The signal that the station gets, by its fault rule or after these seconds.
  int signal = 0;
  std::optional<double> signalAfter = {};
  /// What another program does to the unit while the station is stopped by its fault rule.
  std::function<void(UnitState&)> meddling = {};
  bool swapsUnit = false;
  /// What is added to the environment, or taken from it.
  std::map<std::string, std::optional<std::string>> environment = {};
  std::vector<int> closedStreams = {};
  bool unitIsReadOnly = false;
};

using Calls = std::map<std::string, uint64_t>;

/// What a run of the station left.
struct Run {
  int waitStatus = 0;
  bool isHung = false, isReached = true;
  double seconds = 0;
  /// The highest count of a process for each function; when it was stopped, and at the end.
  Calls callsAtStop, calls;
  UnitState before;
  /// Absent when the unit cannot be read; `unreadable` says why.
  std::optional<UnitState> after;
  std::string unreadable;
  /// The unit before and after another program changed it.
  std::optional<std::pair<UnitState, UnitState>> meddled;
  std::string output, results;
};

/// What the station does with a good unit.
struct GoodRun {
  Run run;
  /// The places that it changes at any time.
  std::set<size_t> bytes, areaBytes;
  std::set<uint32_t> keys;
  std::set<std::string> words;
  /// Whether it leaves its record before its status.
  bool writesRecordFirst = false;
};

/// Makes a unit on which the station should pass, with two records and a key of other stations.
std::filesystem::path makeGoodUnit(const Station& station, const std::filesystem::path& folder);
/// Returns a case in which the station gets the signal at that call.
Case killCase(const std::filesystem::path& unit, const std::string& call, uint64_t occurrence,
              int signal);
/// Returns all cases, and makes the units that they need in `folder`.
std::vector<Case> casesOf(const Station& station, const GoodRun& good,
                          const std::filesystem::path& goodUnit,
                          const std::filesystem::path& folder, std::mt19937& random);

/// Makes this process the parent of processes whose own parent ends.
void adoptOrphans();
/// Runs the station in a session of its own, on a copy of the case's unit below `folder`, which is
/// made. Ends all of the session after `limit` seconds, or when `isCancelled`. Throws CommandError
/// when the station cannot be started.
Run runStation(const Station& station, const Case& what, const std::filesystem::path& folder,
               double limit, const std::atomic<bool>& isCancelled);

/// Compares how the run ended with what its unit shows, by the table in docs/trial.md.
Judgement judge(const Station& station, const GoodRun& good, const Case& what, const Run& run);
/// Returns whether the unit shows the status passed.
bool showsPassed(const Station& station, const UnitState& state);

}  // namespace corvane::tools::trial

#endif  // CORVANE_TOOLS_TRIAL_CASE_H_
