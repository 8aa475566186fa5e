#include "station/run_text.h"

#include <cmath>
#include <csignal>
#include <iomanip>
#include <locale>
#include <nlohmann/json.hpp>
#include <sstream>

#include "controlbits/control_bit_byte.h"
#include "platform/or_null.h"
#include "station/results_line.h"
#include "unit/byte_text.h"

namespace corvane::station {
namespace {

using nlohmann::ordered_json;

std::string shownNumber(double value, int digits) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::setprecision(digits) << value;
  return text.str();
}

std::string shownLimits(const Limits& limits, int digits) {
  if (!limits.lower && !limits.upper) return "no limits";
  if (!limits.upper) return "at least " + shownNumber(*limits.lower, digits);
  if (!limits.lower) return "at most " + shownNumber(*limits.upper, digits);
  return shownNumber(*limits.lower, digits) + " to " + shownNumber(*limits.upper, digits);
}

/// Returns how many digits tell the value from the limits that it is not equal to.
int digitsFor(double value, const Limits& limits) {
  constexpr int kUsualDigits = 6;
  constexpr int kAllDigits = 17;
  const auto looksLike = [&](const std::optional<double>& limit, int digits) {
    return limit && *limit != value && shownNumber(value, digits) == shownNumber(*limit, digits);
  };
  int digits = kUsualDigits;
  while (digits < kAllDigits &&
         (looksLike(limits.lower, digits) || looksLike(limits.upper, digits))) {
    ++digits;
  }
  return digits;
}

}  // namespace

std::string shownSeconds(double seconds) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::fixed << std::setprecision(2) << std::setw(8) << seconds << " s";
  return text.str();
}

std::string shownMeasurement(double value, std::string_view unit, const Limits& limits,
                             bool isInside) {
  const int digits = digitsFor(value, limits);
  std::string text = shownNumber(value, digits);
  if (!unit.empty()) text.append(" ").append(unit);
  return isInside ? text : text + ", outside " + shownLimits(limits, digits);
}

std::string shownTime(std::chrono::milliseconds time) {
  return shownNumber(std::chrono::duration<double>(time).count(), 6) + " s";
}

std::string interruptedBy(int signal) {
  return std::string("interrupted by ") + (signal == SIGINT    ? "SIGINT"
                                           : signal == SIGTERM ? "SIGTERM"
                                                               : "SIGHUP");
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

ordered_json byteJson(uint32_t offset, std::optional<uint8_t> byte) {
  if (!byte) return nullptr;
  return {{"byte", *byte},
          {"status", unit::statusName(offset, *byte)},
          {"failCount", failCountOf(*byte)}};
}

ordered_json factsJson(const unit::Facts& facts) {
  return {{"model", orNull(facts.model)},
          {"build", orNull(facts.build)},
          {"wifi", facts.hasWiFi},
          {"compass", facts.hasCompass},
          {"gyroscope", facts.hasGyro},
          {"baseband", facts.hasBaseband},
          {"batteryPercent", orNull(facts.battery)},
          {"externalPower", facts.externalPower.value_or(false)}};
}

ordered_json profileJson(const Profile& profile) {
  const Conditions& conditions = profile.conditions;
  return {{line_field::kSchema, kResultsSchema},
          {line_field::kStation, profile.name},
          {line_field::kVersion, orNull(profile.version)},
          {line_field::kNumber, profile.number},
          {"statusOffset", profile.statusOffset},
          {"poisonOffset", profile.poisonOffset},
          {"runCountKey", profile.runCountKey},
          {"unitKey", orNull(profile.unitKey)},
          {"conditions",
           {{"lowestBattery", conditions.lowestBattery},
            {"externalPower", conditions.externalPower},
            {"models", conditions.models},
            {"earlierPoisonOffsets", conditions.earlierPoisonOffsets}}}};
}

}  // namespace corvane::station
