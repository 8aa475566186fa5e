#ifndef CORVANE_STATION_PROFILE_RULES_H_
#define CORVANE_STATION_PROFILE_RULES_H_

#include <string>
#include <vector>

#include "station/station.h"
#include "unit/facts.h"

namespace corvane::station {

/// Returns what is wrong with a profile; empty when it can be used.
std::string faultOf(const Profile& profile);

/// Returns the conditions that the facts do not meet, one text for each. Poison bytes are not among
/// the facts.
std::vector<std::string> unmetConditions(const Conditions& conditions, const unit::Facts& facts);

}  // namespace corvane::station

#endif  // CORVANE_STATION_PROFILE_RULES_H_
