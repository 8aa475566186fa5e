#include "host/linux/host_power.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/linux/proc_files.h"
#include "host/virtual_unit/properties.h"

namespace corvane::host {
namespace {

namespace fs = std::filesystem;

/// Returns the first line of a supply's file; empty when it cannot be read.
std::string lineOf(const fs::path& supply, const char* file) {
  const std::string text = readWhole((supply / file).c_str()).value_or("");
  return text.substr(0, text.find('\n'));
}

std::optional<int64_t> numberOf(const fs::path& supply, const char* file) {
  const std::string line = lineOf(supply, file);
  int64_t number = 0;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
  if (error != std::errc() || end != line.data() + line.size()) return {};
  return number;
}

std::vector<fs::path> suppliesByName() {
  std::error_code error;
  std::vector<fs::path> supplies;
  for (const auto& entry : fs::directory_iterator(gPowerSupplyFolder, error)) {
    supplies.push_back(entry.path());
  }
  std::sort(supplies.begin(), supplies.end());
  return supplies;
}

/// Returns whether the supply is a battery that powers the machine, not one in a mouse.
bool isBattery(const fs::path& supply) {
  return lineOf(supply, "type") == "Battery" && lineOf(supply, "scope") != "Device" &&
         lineOf(supply, "present") != "0";
}

bool isMains(const fs::path& supply) {
  const std::string type = lineOf(supply, "type");
  return type == "Mains" || type == "Wireless" || type.starts_with("USB");
}

/// Returns whether any mains supply delivers power; nothing when no supply reports it.
std::optional<bool> mainsOnline(const std::vector<fs::path>& supplies) {
  std::optional<bool> online;
  for (const fs::path& supply : supplies) {
    if (!isMains(supply)) continue;
    if (const auto number = numberOf(supply, "online")) {
      online = online.value_or(false) || *number != 0;
    }
  }
  return online;
}

struct Charge {
  std::optional<int64_t> current, maximum;
};

/// Returns energy or charge, whichever the battery measures, else its percentage.
Charge chargeOf(const fs::path& battery) {
  constexpr std::pair<const char*, const char*> kMeasures[] = {{"energy_now", "energy_full"},
                                                               {"charge_now", "charge_full"}};
  for (const auto& [now, full] : kMeasures) {
    const Charge charge{numberOf(battery, now), numberOf(battery, full)};
    if (charge.current && charge.maximum) return charge;
  }
  const auto percent = numberOf(battery, "capacity");
  return percent ? Charge{percent, 100} : Charge{};
}

}  // namespace

const char* gPowerSupplyFolder = "/sys/class/power_supply";

void putHostPower(CFMutableDictionaryRef properties) {
  const std::vector<fs::path> supplies = suppliesByName();
  const auto battery = std::find_if(supplies.begin(), supplies.end(), isBattery);
  const bool hasBattery = battery != supplies.end();
  const Charge charge = hasBattery ? chargeOf(*battery) : Charge{};
  const bool isDraining = hasBattery && lineOf(*battery, "status") == "Discharging";

  putInteger(properties, "CurrentCapacity", charge.current);
  putInteger(properties, "MaxCapacity", charge.maximum);
  putBool(properties, "ExternalConnected", mainsOnline(supplies).value_or(!isDraining));
}

}  // namespace corvane::host
