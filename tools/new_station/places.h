#ifndef CORVANE_TOOLS_NEW_STATION_PLACES_H_
#define CORVANE_TOOLS_NEW_STATION_PLACES_H_

#include <optional>
#include <string>
#include <vector>

namespace corvane::tools {

/// A station's places on a unit.
struct StationPlaces {
  int number = 0;
  int statusOffset = 0;
  int poisonOffset = 0;
  std::string runCountKey;
};

/// A station whose folder is in the current one.
struct NeighbourStation {
  std::string name;
  StationPlaces places;
};

/// Returns "number 8, bytes 24 and 25, key R008".
std::string placesText(const StationPlaces& places);

/// Returns the stations in the folders of the current one: those whose station.cc has a profile.
std::vector<NeighbourStation> neighbourStations();

/// Returns places that none of the neighbours has: those given or, when absent, the first from
/// station 1 and from byte 24. Throws CommandError (wrong usage) for a given place that a neighbour
/// or the library has, with a free one, and when there is none.
StationPlaces freePlaces(const std::vector<NeighbourStation>& neighbours, std::optional<int> number,
                         std::optional<int> offset);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_NEW_STATION_PLACES_H_
