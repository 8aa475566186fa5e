#include <filesystem>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "device/models.h"
#include "host/include/unit_lock.h"
#include "host/include/virtual_device.h"
#include "platform/or_null.h"
#include "platform/printable.h"
#include "tools/command_line.h"
#include "tools/json_output.h"
#include "tools/terminal/table.h"

namespace corvane::tools {
namespace {

using host::DeviceError;
using host::UnitFacts;
using host::VirtualDevice;

const std::map<std::string, bool> kYesNo = {{"yes", true}, {"no", false}};

const std::map<std::string, bool> kPowers = {{"plist", false}, {"host", true}};

/// What a unit can lack, with what takes it away.
const std::map<std::string, void (*)(UnitFacts&)> kRemovals = {
    {"model", [](UnitFacts& facts) { facts.model.reset(); }},
    {"battery", [](UnitFacts& facts) { facts.currentCapacity.reset(); }},
    {"battery-max", [](UnitFacts& facts) { facts.maxCapacity.reset(); }},
    {"external-power", [](UnitFacts& facts) { facts.externalPower.reset(); }},
    {"power-source", [](UnitFacts& facts) { facts.powerSource = false; }},
    {"boot-args", [](UnitFacts& facts) { facts.bootArgs.reset(); }},
    {"build", [](UnitFacts& facts) { facts.buildVersion.reset(); }},
    {"data-area", [](UnitFacts& facts) { facts.dataArea = false; }},
    {"nvram", [](UnitFacts& facts) { facts.nvram = false; }}};

/// Services that can be put back as such; the other facts come back with a value.
const std::map<std::string, void (*)(UnitFacts&)> kAdditions = {
    {"power-source", [](UnitFacts& facts) { facts.powerSource = true; }},
    {"data-area", [](UnitFacts& facts) { facts.dataArea = true; }},
    {"nvram", [](UnitFacts& facts) { facts.nvram = true; }}};

std::vector<std::string> namesOf(const std::map<std::string, void (*)(UnitFacts&)>& edits) {
  std::vector<std::string> names;
  for (const auto& [name, edit] : edits) names.push_back(name);
  return names;
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

/// What a command line says of a unit; what it does not say is left as it is.
struct FactOptions {
  std::optional<std::string> model, bootArgs, build;
  std::optional<int64_t> battery, batteryMax;
  std::optional<bool> externalPower, radio;
  std::optional<bool> hostPower;
  std::vector<std::string> with, without;

  void addTo(Command command) {
    command.text("--model", model, "Model name; begins with the code, such as T34");
    command.number("--battery", battery, "Current capacity", {0});
    command.number("--battery-max", batteryMax, "Maximum capacity", {0});
    command.choice("--external-power", externalPower, "Whether it is connected", kYesNo);
    command.choice("--power", hostPower,
                   "Source of battery and external power: plist (the figures here) or\n"
                   "host (this machine's own)",
                   kPowers);
    command.choice("--radio", radio, "Whether there is a Wi-Fi radio", kYesNo);
    command.text("--boot-args", bootArgs, "The boot arguments in NVRAM");
    command.text("--build", build, "Build version in the version file");
    command.choices("--with", with, "Puts back: " + joined(namesOf(kAdditions)),
                    namesOf(kAdditions));
    command.choices("--without", without, "Removes: " + joined(namesOf(kRemovals)),
                    namesOf(kRemovals));
  }

  /// Warns of a model that the library does not know: such a unit is fine, and often a mistake.
  void warn() const {
    if (!model || !modelOf(*model).code.empty()) return;
    std::vector<std::string> codes;
    for (const Model& known : kModels) codes.emplace_back(known.code);
    std::cerr << "corvane: warning: '" << printable(*model)
              << "' does not begin with a model code that the library knows (" << joined(codes)
              << ")\n";
  }

  bool isEmpty() const {
    return !model && !bootArgs && !build && !battery && !batteryMax && !externalPower && !radio &&
           !hostPower && with.empty() && without.empty();
  }

  void applyTo(UnitFacts& facts) const {
    for (const std::string& name : with) kAdditions.at(name)(facts);
    if (model) facts.model = model;
    if (battery) facts.currentCapacity = battery;
    if (batteryMax) facts.maxCapacity = batteryMax;
    if (externalPower) facts.externalPower = externalPower;
    if (battery || batteryMax || externalPower) facts.powerSource = true;
    if (hostPower) facts.hostPower = *hostPower;
    if (radio) facts.radio = *radio;
    if (bootArgs) facts.bootArgs = bootArgs;
    if (build) facts.buildVersion = build;
    for (const std::string& name : without) kRemovals.at(name)(facts);
  }
};

/// Runs `work`. Throws CommandError when the unit cannot be used or changed.
template <typename Work>
ExitStatus onDevice(Work work) {
  try {
    return work();
  } catch (const DeviceError& error) {
    throw CommandError(kNotReady, error.what());
  }
}

nlohmann::ordered_json factsAsJson(const UnitFacts& facts) {
  return {{"model", orNull(facts.model)},
          {"battery", orNull(facts.currentCapacity)},
          {"batteryMax", orNull(facts.maxCapacity)},
          {"externalPower", orNull(facts.externalPower)},
          {"power", facts.hostPower ? "host" : "plist"},
          {"radio", facts.radio},
          {"bootArgs", orNull(facts.bootArgs)},
          {"build", orNull(facts.buildVersion)},
          {"powerSource", facts.powerSource},
          {"dataArea", facts.dataArea},
          {"nvram", facts.nvram}};
}

nlohmann::ordered_json unitAsJson(const VirtualDevice& unit) {
  nlohmann::ordered_json json = {{"folder", unit.folder().string()}};
  json.update(factsAsJson(unit.facts()));
  json["uncommittedDataSets"] = unit.uncommittedDataSets();
  return json;
}

/// Prints one row per fact: texts without quotes, booleans as yes or no, what is missing as
/// "(none)".
void printUnit(const VirtualDevice& unit) {
  Table table({{"FACT"}, {"VALUE"}});
  const nlohmann::ordered_json facts = unitAsJson(unit);
  for (const auto& [name, value] : facts.items()) {
    if (value.is_null()) {
      table.addRow({name, "(none)"});
    } else if (value.is_boolean()) {
      table.addRow({name, value.get<bool>() ? "yes" : "no"});
    } else if (value.is_array()) {
      table.addRow({name, printable(joined(value.get<std::vector<std::string>>()))});
    } else {
      table.addRow({name, value.is_string() ? printable(value.get<std::string>()) : value.dump()});
    }
  }
  table.print(std::cout);
}

void addInit(Command group) {
  const auto options = std::make_shared<FactOptions>();
  Command command = group.add("init", "Make a new unit where there is not one yet");
  options->addTo(command);
  command.footer(
      "Example:\n  CORVANE_DEVICE=/tmp/t34 corvane device init --model T34AP --battery 53");
  command.action([=] {
    return onDevice([&] {
      const std::filesystem::path folder = VirtualDevice::defaultFolder();
      std::error_code error;
      if (std::filesystem::exists(folder / "device.plist", error)) {
        throw CommandError(kFailed, "there is a unit in " + folder.string() +
                                        " already; \"corvane device set\" changes it");
      }
      UnitFacts facts;
      options->applyTo(facts);
      options->warn();
      std::cout << VirtualDevice(folder, facts).folder().string() << "\n";
      return kDone;
    });
  });
}

void addDeviceSet(Command group) {
  const auto options = std::make_shared<FactOptions>();
  Command command = group.add("set", "Change what the unit is");
  options->addTo(command);
  command.footer(
      "Examples:\n"
      "  corvane device set --battery 15 --external-power no\n"
      "  corvane device set --without data-area");
  command.action([=] {
    if (options->isEmpty()) throw CommandError(kUsage, "device set needs something to set");
    return onDevice([&] {
      VirtualDevice unit(VirtualDevice::defaultFolder());
      const host::UnitLock lock(unit.folder());
      UnitFacts facts = unit.facts();
      options->applyTo(facts);
      unit.setFacts(facts);
      options->warn();
      return kDone;
    });
  });
}

void addDeviceShow(Command group) {
  const auto json = std::make_shared<bool>(false);
  Command command = group.add("show", "Tell what the unit is");
  command.jsonFlag(*json);
  command.action([=] {
    return onDevice([&] {
      const VirtualDevice unit(VirtualDevice::defaultFolder());
      if (*json) {
        printJson(unitAsJson(unit));
      } else {
        printUnit(unit);
      }
      return kDone;
    });
  });
}

void addPath(Command group) {
  const auto file = std::make_shared<std::string>();
  Command command = group.add("path", "Print where the unit's folder, or a file of it, is");
  command.file("FILE", *file, "A file as the device knows it, such as /var/log/system.log");
  command.footer("Example:\n  less \"$(corvane device path /private/var/log/system.log)\"");
  command.action([=] {
    std::filesystem::path path = VirtualDevice::defaultFolder();
    if (!file->empty() && file->front() != '/') {
      throw CommandError(kUsage, "'" + *file + "' is not an absolute path on the device");
    }
    if (!file->empty()) path = (path / "root").concat(*file);
    std::cout << path.string() << "\n";
    return kDone;
  });
}

void addReboot(Command group) {
  Command command = group.add("reboot", "Restart the unit: what was not committed is undone");
  command.action([=] {
    return onDevice([&] {
      VirtualDevice(VirtualDevice::defaultFolder()).reboot();
      return kDone;
    });
  });
}

}  // namespace

void addDevice(CLI::App& app) {
  Command group = Command(app).addGroup(
      "device", "Make, show and change the virtual unit",
      "The unit lies in $CORVANE_DEVICE, else in ~/.local/state/corvane/device; a command that\n"
      "changes the unit makes one there when it is missing.");
  addInit(group);
  addDeviceShow(group);
  addDeviceSet(group);
  addPath(group);
  addReboot(group);
}

}  // namespace corvane::tools
