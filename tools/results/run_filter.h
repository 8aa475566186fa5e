#ifndef CORVANE_TOOLS_RESULTS_RUN_FILTER_H_
#define CORVANE_TOOLS_RESULTS_RUN_FILTER_H_

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/results/run.h"

namespace corvane::tools {

/// Which runs count. A list that is empty takes all.
struct RunFilter {
  std::vector<std::string> stations;
  std::vector<std::string> units;
  std::vector<Verdict> verdicts;
  std::optional<int64_t> since;  ///< The earliest time at which a run begins.
  std::optional<int64_t> until;  ///< The time before which it begins.

  /// Returns whether the run is one of those among which a unit's first and last are looked for.
  bool concerns(const Run& run, const Names& names) const {
    return isAmong(stations, names.text(run.station)) && isAmong(units, run.unit);
  }
  bool takes(const Run& run, const Names& names) const {
    return concerns(run, names) && isAmong(verdicts, run.verdict) &&
           (!since || run.time >= *since) && (!until || run.time < *until);
  }

 private:
  template <typename T>
  static bool isAmong(const std::vector<T>& list, const T& value) {
    return list.empty() || std::ranges::find(list, value) != list.end();
  }
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_RUN_FILTER_H_
