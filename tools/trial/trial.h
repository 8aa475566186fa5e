#ifndef CORVANE_TOOLS_TRIAL_TRIAL_H_
#define CORVANE_TOOLS_TRIAL_TRIAL_H_

#include <array>

#include "tools/trial/judge.h"

/// Trials of station programs: whether what a program says of a unit is what the unit holds.
namespace corvane::tools::trial {

struct Options {
  /// The station describes itself unless its places are told.
  Station station;
  bool isDescribed = false;
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

struct CaseFinding {
  Kind kind;
  std::string name;
  Judgement judgement;
  /// The command line that repeats the case.
  std::string repeat;
};

struct Summary {
  Station station;
  size_t planned = 0;
  double seconds = 0;
  bool isInterrupted = false;
  using Counts = std::array<size_t, std::size(kFindingNames)>;
  std::array<Counts, std::size(kKindNames)> counts{};
  std::vector<CaseFinding> findings;

  size_t countOf(Finding finding) const;
  size_t cases() const;
};

/// Tries the station, and shows its progress on standard error. SIGINT, SIGTERM and SIGHUP end the
/// trial early. Throws CommandError: wrong usage, or kNotReady when the station cannot be started,
/// does not describe itself, or does not pass on a good unit.
Summary tryStation(const Options& options);

}  // namespace corvane::tools::trial

#endif  // CORVANE_TOOLS_TRIAL_TRIAL_H_
