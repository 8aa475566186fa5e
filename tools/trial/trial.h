#ifndef CORVANE_TOOLS_TRIAL_TRIAL_H_
#define CORVANE_TOOLS_TRIAL_TRIAL_H_

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Trials of station programs: whether what a program says of a unit is what the unit holds.
namespace corvane::tools::trial {

enum class Kind { kFaults, kKills, kUnits, kMeddling, kSurroundings };
inline constexpr std::array kKindNames = {"faults", "kills", "units", "meddling", "surroundings"};
enum class Finding { kHonest, kLie, kHang, kCrash, kUnjudged, kNotReached };
inline constexpr std::array kFindingNames = {"honest", "lie",      "hang",
                                             "crash",  "unjudged", "not reached"};

/// The station program and its places on a unit.
struct Station {
  std::string program;
  std::vector<std::string> arguments;
  /// Absent for a station that leaves no records.
  std::optional<uint8_t> number;
  uint32_t statusOffset = 0, poisonOffset = 0;
  /// Whether it is written with the station kit, whose profile has these.
  bool isOfKit = false;
  std::optional<uint32_t> runCountKey, unitKey;
  std::string model;
};

struct Options {
  Station station;
  /// Whether the station's places are told; otherwise it describes itself.
  bool hasPlaces = false;
  /// The kinds of cases, all when empty; and the name of the only case.
  std::vector<std::string> kinds;
  std::string onlyCase;
  uint32_t seed = 1;
  size_t maxCases = 5000;
  /// No case begins later; 0 for no limit.
  double maxSeconds = 0;
  /// Where the folders of cases with findings are left; empty for nowhere.
  std::string keep;
  unsigned jobs = 1;
};

struct Judgement {
  Finding finding = Finding::kHonest;
  std::string reason = {};
};

struct CaseFinding {
  Kind kind;
  std::string name;
  Judgement judgement;
  /// The command line that repeats the case.
  std::string repeat;
};

struct Summary {
  Station station;
  size_t planned = 0, cases = 0;
  double seconds = 0;
  bool isInterrupted = false;
  /// By kind and by finding.
  std::array<std::array<size_t, kFindingNames.size()>, kKindNames.size()> counts{};
  std::vector<CaseFinding> findings;
};

/// Tries the station, and shows its progress on standard error. SIGINT, SIGTERM and SIGHUP end the
/// trial early. Throws CommandError: wrong usage, or kNotReady when the station cannot be started,
/// does not describe itself, or does not pass on a good unit.
Summary tryStation(const Options& options);

}  // namespace corvane::tools::trial

#endif  // CORVANE_TOOLS_TRIAL_TRIAL_H_
