#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "controlbits/control_bits.h"
#include "device/device.h"
#include "device/models.h"
#include "device/power.h"
#include "platform/printable.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "tools/command.h"
#include "tools/command_line.h"
#include "tools/json_output.h"
#include "tools/terminal/table.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;

Json textOrNull(CFStringRef text) { return text ? Json(utf8Bytes(text)) : Json(); }

Json batteryOrNull() {
  const int32_t percent = getBatteryCapacity();
  return percent == -1 ? Json() : Json(percent);
}

/// Returns null when no power source reports it; the library returns false then.
Json externalPowerOrNull() {
  const IOObject source = firstService("IOPMPowerSource");
  if (!source || !copyProperty(source, CFSTR("ExternalConnected"))) return {};
  return externalPowerConnected();
}

bool isConfigurationReadable() {
  std::vector<uint8_t> area(kConfigurationAreaSize);
  return ControlBits::getReady() == 0 &&
         ControlBits::readSysCfgBytes(area.data(), kConfigurationAreaSize) == 0;
}

/// Adds the options that the baseband of some models depends on, and whether they are set; both
/// null when the configuration area cannot be read.
void addOptions(Json& facts) {
  facts["options"] = nullptr;
  facts["optionsSet"] = nullptr;
  if (!isConfigurationReadable()) return;
  std::optional<std::string> options = readOptions();
  facts["optionsSet"] = options.has_value();
  if (!options) return;
  options->resize(std::min(options->find('\0'), options->size()));
  // Free bytes follow a short value, whose length the store does not record.
  options->erase(options->find_last_not_of('\xFF') + 1);
  facts["options"] = *options;
}

/// Returns the version file's entries, each as text; null when it cannot be read.
Json versionOrNull() {
  const CFDictionaryRef version = Device::sharedInstance()->versionDict();
  if (!version) return {};
  const auto count = static_cast<size_t>(CFDictionaryGetCount(version));
  std::vector<const void*> keys(count), values(count);
  CFDictionaryGetKeysAndValues(version, keys.data(), values.data());
  Json entries = Json::object();
  for (size_t i = 0; i < count; ++i) {
    entries[utf8Bytes(static_cast<CFStringRef>(keys[i]))] =
        utf8Bytes(formatText(CFSTR("%@"), values[i]).get());
  }
  return entries;
}

Json facts() {
  const Json model = textOrNull(Device::sharedInstance()->deviceName());
  Json facts = {{"model", model},
                {"build", textOrNull(Device::productBuildVersion())},
                {"wifi", Device::hasWiFi()},
                {"compass", Device::hasCompass()},
                {"gyroscope", Device::hasGyro()},
                {"baseband", Device::hasBaseband()}};
  if (model.is_string() && modelOf(model.get<std::string>()).baseband == Presence::kOptions) {
    addOptions(facts);
  }
  facts["batteryPercent"] = batteryOrNull();
  facts["externalPower"] = externalPowerOrNull();
  facts["version"] = versionOrNull();
  return facts;
}

std::string cell(const Json& value) {
  if (value.is_null()) return "(cannot be read)";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  return value.is_string() ? printable(value.get<std::string>()) : value.dump();
}

void printFacts(const Json& facts) {
  Table table({{"FACT"}, {"VALUE"}});
  for (const auto& [name, value] : facts.items()) {
    if (name == "optionsSet") continue;
    if (name == "options" && facts["optionsSet"] == false) {
      table.addRow({name, "(the key OPTS is not set)"});
    } else if (!value.is_object()) {
      table.addRow({name, cell(value)});
    } else {
      for (const auto& [key, text] : value.items()) {
        table.addRow({name + " " + printable(key), cell(text)});
      }
    }
  }
  table.print(std::cout);
  if (facts["model"].is_null()) {
    std::cout << "Without a model's name, what the device carries is what an unknown model does.\n";
  }
}

}  // namespace

void addFactsGroup(CLI::App& app) {
  const auto json = std::make_shared<bool>(false);
  Command command =
      Command(app).add("facts", "Tell what device this is, what it carries and how it is powered");
  command.jsonFlag(*json);
  command.footer(
      "Example:\n  corvane facts --json\n\n"
      "What cannot be read is null in JSON. The baseband of some models depends on the key OPTS;\n"
      "without a readable one they have none.");
  command.action([=] {
    requireUnit();
    const Json found = facts();
    if (*json) {
      printJson(found);
    } else {
      printFacts(found);
    }
    return kDone;
  });
}

}  // namespace corvane::tools
