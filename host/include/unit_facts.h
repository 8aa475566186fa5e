#ifndef CORVANE_HOST_INCLUDE_UNIT_FACTS_H_
#define CORVANE_HOST_INCLUDE_UNIT_FACTS_H_

#include <cstdint>
#include <optional>
#include <string>

namespace corvane::host {

/// What a unit is; the values here are the default unit's. An optional fact without a value is one
/// that the unit lacks: its registry entry, property, variable or file is missing.
struct UnitFacts {
  /// Name of the registry entry "IOPlatformExpertDevice"; begins with the model code.
  std::optional<std::string> model = "T33AP";
  /// Whether the power source mirrors this machine's own battery and mains supply instead of the
  /// capacities and the external power below.
  bool hostPower = false;
  /// "CurrentCapacity" and "MaxCapacity" of the service "IOPMPowerSource", in the
  /// unit's own measure.
  /// @{
  std::optional<int64_t> currentCapacity = 80;
  std::optional<int64_t> maxCapacity = 100;
  /// @}
  /// "ExternalConnected" of the service "IOPMPowerSource".
  std::optional<bool> externalPower = true;
  /// Whether the Wi-Fi library finds a radio.
  bool radio = true;
  /// The NVRAM variable "boot-args".
  std::optional<std::string> bootArgs = "console=1";
  /// "ProductBuildVersion" in "/System/Library/CoreServices/SystemVersion.plist".
  std::optional<std::string> buildVersion = "1A100";
  /// Whether there is a service "IOPMPowerSource"; without it the power properties are not there.
  bool powerSource = true;
  /// Whether there is a service "VelmoDiagnosticDataAccess".
  bool dataArea = true;
  /// Whether there are the service "IODTNVRAM" and the entry "IODeviceTree:/options".
  bool nvram = true;

  /// Returns whether two units are the same by their facts.
  bool operator==(const UnitFacts&) const = default;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_INCLUDE_UNIT_FACTS_H_
