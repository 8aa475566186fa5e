#ifndef CORVANE_TOOLS_TRIAL_STATION_RUN_H_
#define CORVANE_TOOLS_TRIAL_STATION_RUN_H_

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/trial/unit_state.h"

namespace corvane::tools::trial {

/// The station program and its places on a unit.
struct Station {
  std::string program;
  std::vector<std::string> arguments;
  /// Absent for a station that leaves no records.
  std::optional<uint8_t> number;
  uint32_t statusOffset = 0;
  uint32_t poisonOffset = 0;
  /// Whether it is written with the station kit; the keys are those of its profile.
  bool isOfKit = false;
  std::optional<uint32_t> runCountKey, unitKey;
  /// A model that it takes; empty when it takes all.
  std::string model;
};

enum class Kind { kFaults, kKills, kUnits, kMeddling, kSurroundings };
inline constexpr const char* kKindNames[] = {"faults", "kills", "units", "meddling",
                                             "surroundings"};

struct StuckByte {
  std::string_view set;
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
  /// The call at which the case takes effect; always when it is empty.
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
  bool isHung = false;
  double seconds = 0;
  /// The highest count of a process for each function; when it was stopped, and at the end.
  Calls callsAtStop, calls;
  bool isReached = true;
  UnitState before;
  /// Absent when the unit cannot be read; `unreadable` says why.
  std::optional<UnitState> after;
  std::string unreadable;
  /// The unit before and after another program changed it.
  std::optional<std::pair<UnitState, UnitState>> meddled;
  std::string output, results;
};

/// Runs the station in a session of its own, on a copy of the case's unit below `folder`, which is
/// made. Ends everything it started after `limit` seconds, or when `isCancelled`. Throws
/// CommandError when the station cannot be started.
Run runStation(const Station& station, const Case& what, const std::filesystem::path& folder,
               double limit, const std::atomic<bool>& isCancelled);

/// Makes this process the parent of processes whose own parent ends.
void adoptOrphans();

}  // namespace corvane::tools::trial

#endif  // CORVANE_TOOLS_TRIAL_STATION_RUN_H_
