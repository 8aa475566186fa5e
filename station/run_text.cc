#include "station/run_text.h"

#include <csignal>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "station/unit_marks.h"

namespace corvane::station {

using nlohmann::ordered_json;

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : "; ") + text;
  return all;
}

std::string shownNumber(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", value);
  return text;
}

std::string shownLimits(const Limits& limits) {
  if (!limits.lower && !limits.upper) return "no limits";
  if (!limits.upper) return "at least " + shownNumber(*limits.lower);
  if (!limits.lower) return "at most " + shownNumber(*limits.upper);
  return shownNumber(*limits.lower) + " to " + shownNumber(*limits.upper);
}

ordered_json byteJson(std::optional<uint8_t> byte) {
  if (!byte) return nullptr;
  return {{"byte", *byte}, {"status", statusName(*byte)}, {"failCount", failCountOf(*byte)}};
}

ordered_json orNull(const std::string& text) {
  return text.empty() ? ordered_json(nullptr) : ordered_json(text);
}

ordered_json factsJson(const UnitFacts& facts) {
  return {
      {"model", orNull(facts.model)},
      {"build", orNull(facts.build)},
      {"wifi", facts.hasWiFi},
      {"compass", facts.hasCompass},
      {"gyroscope", facts.hasGyro},
      {"baseband", facts.hasBaseband},
      {"batteryPercent", facts.battery < 0 ? ordered_json(nullptr) : ordered_json(facts.battery)},
      {"externalPower", facts.isPowered}};
}

const char* stationMessage(Verdict verdict) {
  switch (verdict) {
    case Verdict::kPassed:
      return "result=\"pass\"";
    case Verdict::kFailed:
      return "result=\"fail\"";
    case Verdict::kIncomplete:
      return "result=\"incomplete\"";
    default:
      return nullptr;
  }
}

std::string interruptedBy(int signal) {
  return std::string("interrupted by ") + (signal == SIGINT    ? "SIGINT"
                                           : signal == SIGTERM ? "SIGTERM"
                                                               : "SIGHUP");
}

}  // namespace corvane::station
