#ifndef CORVANE_TOOLS_RESULTS_RUN_FILTER_H_
#define CORVANE_TOOLS_RESULTS_RUN_FILTER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/results/run.h"

namespace corvane::tools {

/// Which runs count. A list that is empty takes all.
struct RunFilter {
  std::vector<std::string> stations;
  std::vector<std::string> units;
  std::vector<RunVerdict> verdicts;
  std::optional<int64_t> since;  ///< The earliest time at which a run begins.
  std::optional<int64_t> until;  ///< The time before which it begins.

  bool takes(const Run& run, const Names& names) const;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_RUN_FILTER_H_
