#ifndef CORVANE_STATION_EXPECTATION_H_
#define CORVANE_STATION_EXPECTATION_H_

#include <string>
#include <string_view>

#include "station/station.h"

namespace corvane::station {

/// What a check found.
struct CheckResult {
  const char* kind = "";  ///< "equals", "oneOf", "matches"; empty when the expectation is wrong.
  std::string expected;   ///< In words: "1A100", "one of 1A100, 1A101", "matches 1A[0-9]+".
  bool isMet = false;
  std::string mistake;  ///< What is wrong with the expectation; empty when it can be checked.
};

/// Checks `text`, in the C locale.
CheckResult checked(std::string_view text, const Expected& expected);

}  // namespace corvane::station

#endif  // CORVANE_STATION_EXPECTATION_H_
