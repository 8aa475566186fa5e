#ifndef CORVANE_TOOLS_TRIAL_JUDGE_H_
#define CORVANE_TOOLS_TRIAL_JUDGE_H_

#include <set>
#include <string>

#include "tools/trial/station_run.h"

namespace corvane::tools::trial {

/// What the station does with a good unit.
struct GoodRun {
  Run run;
  /// The places that it changed at any time.
  std::set<size_t> bytes, areaBytes;
  std::set<uint32_t> keys;
  std::set<std::string> words;
  /// Whether it leaves its record before its status.
  bool writesRecordFirst = false;
};

enum class Finding { kHonest, kLie, kHang, kCrash, kUnjudged, kNotReached };
inline constexpr const char* kFindingNames[] = {"honest", "lie",      "hang",
                                                "crash",  "unjudged", "not reached"};

struct Judgement {
  Finding finding = Finding::kHonest;
  std::string reason = {};
};

/// Compares how the run ended with what its unit shows, by the table in docs/trial.md.
Judgement judge(const Station& station, const GoodRun& good, const Case& what, const Run& run);

/// Returns whether the unit in `state` shows a new record of the station and the status passed,
/// each, when it held `before`.
bool showsRecord(const Station& station, const UnitState& before, const UnitState& state);
bool showsPassed(const Station& station, const UnitState& state);

}  // namespace corvane::tools::trial

#endif  // CORVANE_TOOLS_TRIAL_JUDGE_H_
