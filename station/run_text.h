#ifndef CORVANE_STATION_RUN_TEXT_H_
#define CORVANE_STATION_RUN_TEXT_H_

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "station/station.h"
#include "station/unit_facts.h"

/// How a run is described: in words for the operator, the log and reasons, and as the fields of its
/// results (docs/results.md).
namespace corvane::station {

std::string joined(const std::vector<std::string>& texts);
std::string shownNumber(double value);
std::string shownLimits(const Limits& limits);
std::string interruptedBy(int signal);
/// Returns the fields of the station message; null for a verdict that has none.
const char* stationMessage(Verdict verdict);

nlohmann::ordered_json byteJson(std::optional<uint8_t> byte);
nlohmann::ordered_json orNull(const std::string& text);
nlohmann::ordered_json factsJson(const UnitFacts& facts);

}  // namespace corvane::station

#endif  // CORVANE_STATION_RUN_TEXT_H_
