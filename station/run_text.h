#ifndef CORVANE_STATION_RUN_TEXT_H_
#define CORVANE_STATION_RUN_TEXT_H_

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "station/station.h"
#include "unit/facts.h"

/// How a run is described: in words for the operator, the log and reasons, and as the fields of its
/// results (docs/results.md). Nothing here depends on the program's locale.
namespace corvane::station {

std::string shownSeconds(double seconds);
/// Returns "75 V", and for a value outside the limits "76 V, outside 0 to 75", with as many digits
/// as tell the value from its limits.
std::string shownMeasurement(double value, std::string_view unit, const Limits& limits,
                             bool isInside);
/// Returns "30 s".
std::string shownTime(std::chrono::milliseconds time);
std::string interruptedBy(int signal);
/// Returns the fields of the station message; null for a verdict that has none.
const char* stationMessage(Verdict verdict);

nlohmann::ordered_json byteJson(uint32_t offset, std::optional<uint8_t> byte);
nlohmann::ordered_json factsJson(const unit::Facts& facts);
/// Returns what `--describe` prints.
nlohmann::ordered_json profileJson(const Profile& profile);

}  // namespace corvane::station

#endif  // CORVANE_STATION_RUN_TEXT_H_
