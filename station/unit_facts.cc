#include "station/unit_facts.h"

#include <algorithm>

#include "device/device.h"
#include "device/power.h"
#include "platform/text.h"

namespace corvane::station {

UnitFacts readUnitFacts() {
  return {utf8Bytes(Device::sharedInstance()->deviceName()),
          utf8Bytes(Device::productBuildVersion()),
          Device::hasWiFi(),
          Device::hasCompass(),
          Device::hasGyro(),
          Device::hasBaseband(),
          getBatteryCapacity(),
          externalPowerConnected()};
}

std::vector<std::string> unmetConditions(const Conditions& conditions, const UnitFacts& facts) {
  std::vector<std::string> unmet;
  if (conditions.externalPower && !facts.isPowered) {
    unmet.push_back("external power is not connected");
  }
  if (conditions.lowestBattery > 0 && facts.battery < conditions.lowestBattery &&
      !facts.isPowered) {
    const std::string charge =
        facts.battery < 0 ? "cannot be read" : "is " + std::to_string(facts.battery) + " %";
    unmet.push_back("the battery's charge " + charge + ", below " +
                    std::to_string(conditions.lowestBattery) +
                    " %, and external power is not connected");
  }
  const auto isOfModel = [&](const std::string& model) { return facts.model.starts_with(model); };
  if (!conditions.models.empty() && std::ranges::none_of(conditions.models, isOfModel)) {
    unmet.push_back(facts.model.empty() ? "the model cannot be read"
                                        : "the model is " + facts.model);
  }
  return unmet;
}

}  // namespace corvane::station
