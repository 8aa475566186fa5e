#include "tools/results/run_filter.h"

#include <algorithm>

namespace corvane::tools {
namespace {

constexpr const char* kVerdictNames[] = {"passed",  "failed",    "incomplete",
                                         "refused", "untrusted", "unfinished"};

}  // namespace

const char* nameOf(RunVerdict verdict) { return kVerdictNames[static_cast<size_t>(verdict)]; }

std::optional<RunVerdict> verdictOf(std::string_view name) {
  const auto* found = std::ranges::find(kVerdictNames, name);
  if (found == std::end(kVerdictNames)) return {};
  return static_cast<RunVerdict>(found - kVerdictNames);
}

bool RunFilter::takes(const Run& run, const Names& names) const {
  const auto isAmong = [](const auto& list, const auto& value) {
    return list.empty() || std::ranges::find(list, value) != list.end();
  };
  return isAmong(stations, names.text(run.station)) && isAmong(units, run.unit) &&
         isAmong(verdicts, run.verdict) && (!since || run.time >= *since) &&
         (!until || run.time < *until);
}

}  // namespace corvane::tools
