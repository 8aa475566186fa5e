#ifndef CORVANE_TOOLS_TRIAL_TRIAL_H_
#define CORVANE_TOOLS_TRIAL_TRIAL_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "unit/keys.h"
#include "unit/records.h"

/// Trials of station programs: whether what a program says of a unit is what the unit holds.
namespace corvane::tools::trial {

inline const std::vector<std::string> kKinds = {"faults", "kills", "units", "meddling",
                                                "surroundings"};

/// The station program and its places on a unit.
struct Station {
  std::string program;
  std::vector<std::string> arguments;
  bool isOfKit = true;
  uint8_t statusOffset = 0, poisonOffset = 0;
  std::optional<uint8_t> number = {};     ///< Absent for a station that leaves no records.
  uint32_t runCountKey = 0, unitKey = 0;  ///< Of the kit's profile; 0 for none.
  std::string model = {};
};

struct Options {
  Station station;
  std::optional<uint8_t> toldStatusOffset;  ///< Of a station that does not describe itself.
  std::vector<std::string> kinds;           ///< All when empty.
  std::string onlyCase;
  uint32_t seed = 1;
  size_t maxCases = 5000;
  double maxSeconds = 1e6;  ///< No case begins later.
  std::string keep;         ///< Where cases with findings are left.
  unsigned jobs = 1;
};

/// Tries the station, and shows its progress on standard error. Returns the summary, whose fields
/// docs/json.md lists. SIGINT, SIGTERM and SIGHUP end the trial early. Throws CommandError, also
/// when the station does not describe itself or does not pass on a good unit.
nlohmann::ordered_json tryStation(const Options& options);

using Clock = std::chrono::steady_clock;
inline double secondsSince(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// Set when a signal has asked for the end of the trial.
extern std::atomic<bool> gIsInterrupted;

using unit::Bytes;

/// A unit's contents as its files hold them. They are read without the platform, so no fault rule
/// applies to them, and what a restart of the unit undoes is left out.
struct UnitState {
  Bytes diagnostics, configuration, nvram, device;

  std::vector<unit::Record> records() const { return unit::recordsIn(diagnostics).records; }
};

/// Throws CommandError when the unit cannot be read.
UnitState readUnit(const std::filesystem::path& folder);
void writeUnit(const std::filesystem::path& folder, const UnitState& state);

/// The parts of a unit by name: its bytes, records, keys, words of NVRAM and files. A record has no
/// continuation bit. What is empty is absent.
using Places = std::map<std::string, Bytes>;
Places placesOf(const UnitState& unit);
std::set<std::string> changedPlaces(const Places& left, const Places& right);

/// One way in which the station is tried.
struct Case {
  std::string kind, name;
  std::filesystem::path unit;  ///< The folder that the case gets a copy of.
  std::string faults = {};
  /// A call and its occurrence; empty for a case that takes effect from the beginning.
  std::pair<std::string, uint64_t> takesEffectAt = {};
  /// Gives a unit the byte that the case's rule has stuck.
  std::function<void(UnitState&)> stick = {};
  /// The signal that the station gets, by its fault rule or after these seconds.
  int signal = 0;
  std::optional<double> signalAfter = {};
  /// What another program does to the unit while the station is stopped by its fault rule.
  std::function<void(UnitState&)> meddling = {};
  std::string setup = {};  ///< What a shell does before it becomes the station.
  size_t share = 0;        ///< How many cases of its kind are run before it.
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
  std::filesystem::path unit;
  Run run = {};
  std::set<std::string> places = {};  ///< Those that it changes at any time.
  bool writesRecordFirst = false;     ///< Whether it leaves its record before its status.
};

/// Makes a unit on which the station should pass, with two records and a key of other stations.
std::filesystem::path makeGoodUnit(const Station& station, const std::filesystem::path& folder);
/// Returns all cases, and makes the units that they need in `folder`.
std::vector<Case> casesOf(const Station& station, const GoodRun& good,
                          const std::filesystem::path& folder, std::mt19937& random);

/// Runs the station in a session of its own, on a copy of the case's unit below `folder`, which is
/// made. Ends all of the session after `limit` seconds, or when the trial is interrupted. Throws
/// CommandError when the station cannot be started.
Run runStation(const Station& station, const Case& what, const std::filesystem::path& folder,
               double limit);

inline const std::vector<std::string> kFindings = {"honest", "lie",      "hang",
                                                   "crash",  "unjudged", "not reached"};
struct Judgement {
  std::string finding, reason = {};
};

/// Compares how the run ended with what its unit shows, by the table in docs/trial.md. The reason
/// is empty for an honest run and for one that was not reached.
Judgement judge(const Station& station, const GoodRun& good, const Case& what, const Run& run);

}  // namespace corvane::tools::trial

#endif  // CORVANE_TOOLS_TRIAL_TRIAL_H_
