#include "station/profile_rules.h"

#include <algorithm>

#include "unit/byte_text.h"

namespace corvane::station {
namespace {

constexpr uint32_t kControlBitBytes = 128;
constexpr char kKeyRule[] = " must be four characters without blanks, and not CNTB";

/// Returns what is wrong with the place of a byte that the station writes.
std::string faultOfOffset(const std::string& byte, uint32_t offset) {
  if (offset >= kControlBitBytes) {
    return byte + " is byte " + std::to_string(offset) + "; it must be 0 to 127";
  }
  const std::string use = unit::useOf(offset);
  if (use.empty()) return {};
  return byte + " is byte " + std::to_string(offset) + ", which the library uses: " + use;
}

bool isKey(std::string_view text) {
  const auto isGraph = [](char character) { return character > ' ' && character < 0x7F; };
  return text.size() == 4 && std::ranges::all_of(text, isGraph) && text != "CNTB";
}

}  // namespace

std::string faultOf(const Profile& profile) {
  if (profile.name.empty()) return "the profile has no name";
  for (const auto& [byte, offset] : {std::pair{"the status byte", profile.statusOffset},
                                     std::pair{"the poison byte", profile.poisonOffset}}) {
    if (std::string fault = faultOfOffset(byte, offset); !fault.empty()) return fault;
  }
  if (profile.poisonOffset == profile.statusOffset) {
    return "the status byte and the poison byte are both byte " +
           std::to_string(profile.statusOffset);
  }
  const auto isBeyond = [](uint32_t offset) { return offset >= kControlBitBytes; };
  if (std::ranges::any_of(profile.conditions.earlierPoisonOffsets, isBeyond)) {
    return "the poison byte of an earlier station must be 0 to 127";
  }
  const std::string& countKey = profile.runCountKey;
  if (!isKey(countKey)) return "the key of the run count, '" + countKey + "'," + kKeyRule;
  if (countKey == "OPTS" || countKey == profile.unitKey) {
    return "the key of the run count, '" + countKey + "', holds a fact of the unit";
  }
  if (!profile.unitKey.empty() && !isKey(profile.unitKey)) {
    return "the key of the unit's identity, '" + profile.unitKey + "'," + kKeyRule;
  }
  return {};
}

std::vector<std::string> unmetConditions(const Conditions& conditions, const unit::Facts& facts) {
  std::vector<std::string> unmet;
  const bool isPowered = facts.externalPower.value_or(false);
  if (conditions.externalPower && !isPowered) unmet.push_back("external power is not connected");
  const int lowest = conditions.lowestBattery;
  if (lowest > 0 && facts.battery.value_or(-1) < lowest && !isPowered) {
    const std::string charge =
        facts.battery ? "is " + std::to_string(*facts.battery) + " %" : "cannot be read";
    unmet.push_back("the battery's charge " + charge + ", below " + std::to_string(lowest) +
                    " %, and external power is not connected");
  }
  const auto isOfModel = [&](const std::string& model) {
    return facts.model && facts.model->starts_with(model);
  };
  if (!conditions.models.empty() && std::ranges::none_of(conditions.models, isOfModel)) {
    unmet.push_back(facts.model ? "the model is " + *facts.model : "the model cannot be read");
  }
  return unmet;
}

}  // namespace corvane::station
