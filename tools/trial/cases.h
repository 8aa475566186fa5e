#ifndef CORVANE_TOOLS_TRIAL_CASES_H_
#define CORVANE_TOOLS_TRIAL_CASES_H_

#include <random>

#include "tools/trial/judge.h"

namespace corvane::tools::trial {

/// Makes the units that cases get copies of, below `folder`, and returns the cases that need no
/// good run. The first one is the good run itself.
std::vector<Case> unitCases(const Station& station, const std::filesystem::path& folder);

/// Returns a case that kills the station at that call.
Case killCase(const std::filesystem::path& unit, const std::string& call, uint64_t occurrence,
              int signal);

/// Returns all cases of the kinds that follow from what the good run does.
std::vector<Case> casesOf(const Station& station, const GoodRun& good,
                          const std::filesystem::path& unit, const std::filesystem::path& otherUnit,
                          std::mt19937& random);

}  // namespace corvane::tools::trial

#endif  // CORVANE_TOOLS_TRIAL_CASES_H_
