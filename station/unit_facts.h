#ifndef CORVANE_STATION_UNIT_FACTS_H_
#define CORVANE_STATION_UNIT_FACTS_H_

#include <string>
#include <vector>

#include "station/station.h"

namespace corvane::station {

/// What a unit is and carries.
struct UnitFacts {
  std::string model;  ///< Empty when it cannot be read.
  std::string build;  ///< Empty when it cannot be read.
  bool hasWiFi = false;
  bool hasCompass = false;
  bool hasGyro = false;
  bool hasBaseband = false;
  int battery = -1;  ///< Percent; -1 when it cannot be read.
  bool isPowered = false;
};

UnitFacts readUnitFacts();

/// Returns the conditions that the facts do not meet, one text for each. Poison bytes are not among
/// the facts.
std::vector<std::string> unmetConditions(const Conditions& conditions, const UnitFacts& facts);

}  // namespace corvane::station

#endif  // CORVANE_STATION_UNIT_FACTS_H_
