#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>

#include "host/virtual_device.h"
#include "tools/command.h"
#include "tools/json_output.h"
#include "tools/table.h"

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

/// What a command line says of a unit; what it does not say is left as it is.
struct FactOptions {
  std::optional<std::string> model, bootArgs, build;
  std::optional<int64_t> battery, batteryMax;
  std::optional<bool> externalPower, radio;
  std::optional<bool> hostPower;
  std::vector<std::string> with, without;

  void addTo(CLI::App* command) {
    command->add_option("--model", model, "Model name; begins with the code, such as T34");
    command->add_option("--battery", battery, "Current capacity");
    command->add_option("--battery-max", batteryMax, "Maximum capacity");
    command->add_option("--external-power", externalPower, "Whether it is connected: yes or no")
        ->transform(CLI::CheckedTransformer(kYesNo));
    command
        ->add_option("--power", hostPower,
                     "Where battery and external power come from: plist (the figures here) or\n"
                     "host (this machine's own)")
        ->transform(CLI::CheckedTransformer(kPowers));
    command->add_option("--radio", radio, "Whether there is a Wi-Fi radio: yes or no")
        ->transform(CLI::CheckedTransformer(kYesNo));
    command->add_option("--boot-args", bootArgs, "The boot arguments in NVRAM");
    command->add_option("--build", build, "Build version in the version file");
    command->add_option("--with", with, "Puts back: power-source, data-area, nvram")
        ->check(CLI::IsMember(namesOf(kAdditions)));
    command
        ->add_option("--without", without,
                     "Takes away: " + CLI::detail::join(namesOf(kRemovals), ", "))
        ->check(CLI::IsMember(namesOf(kRemovals)));
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

/// Runs `work`; a unit that cannot be used or changed ends the command.
template <typename Work>
ExitStatus onDevice(Work work) {
  try {
    return work();
  } catch (const DeviceError& error) {
    throw CommandError(kNotReady, error.what());
  }
}

template <typename Value>
nlohmann::ordered_json orNull(const std::optional<Value>& value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
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

/// One row a fact, as people read it: texts bare, truths as yes and no, what is missing as
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
      table.addRow({name, CLI::detail::join(value.get<std::vector<std::string>>(), ", ")});
    } else {
      table.addRow({name, value.is_string() ? value.get<std::string>() : value.dump()});
    }
  }
  table.print(std::cout);
}

void addInit(CLI::App* group) {
  const auto options = std::make_shared<FactOptions>();
  CLI::App* command = group->add_subcommand("init", "Make a new unit where there is none");
  options->addTo(command);
  command->footer(
      "Example:\n  CORVANE_DEVICE=/tmp/t34 corvane device init --model T34AP --battery 53");
  setAction(command, [=] {
    return onDevice([&] {
      const std::filesystem::path folder = VirtualDevice::defaultFolder();
      if (std::filesystem::exists(folder / "device.plist")) {
        throw CommandError(kFailed, "there is a unit in " + folder.string() +
                                        " already; \"corvane device set\" changes it");
      }
      UnitFacts facts;
      options->applyTo(facts);
      std::cout << VirtualDevice(folder, facts).folder().string() << "\n";
      return kDone;
    });
  });
}

void addSet(CLI::App* group) {
  const auto options = std::make_shared<FactOptions>();
  CLI::App* command = group->add_subcommand("set", "Change what the unit is");
  options->addTo(command);
  command->footer(
      "Examples:\n"
      "  corvane device set --battery 15 --external-power no\n"
      "  corvane device set --without data-area");
  setAction(command, [=] {
    if (options->isEmpty()) throw CommandError(kUsage, "device set needs something to set");
    return onDevice([&] {
      VirtualDevice unit(VirtualDevice::defaultFolder());
      UnitFacts facts = unit.facts();
      options->applyTo(facts);
      unit.setFacts(facts);
      return kDone;
    });
  });
}

void addShow(CLI::App* group) {
  const auto json = std::make_shared<bool>(false);
  CLI::App* command = group->add_subcommand("show", "Tell what the unit is");
  addJsonFlag(command, *json);
  setAction(command, [=] {
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

void addPath(CLI::App* group) {
  const auto file = std::make_shared<std::string>();
  CLI::App* command =
      group->add_subcommand("path", "Print where the unit's folder, or a file of it, is");
  command->add_option("FILE", *file, "A file as the device knows it, such as /var/log/system.log");
  command->footer("Example:\n  less \"$(corvane device path /private/var/log/system.log)\"");
  setAction(command, [=] {
    std::filesystem::path path = VirtualDevice::defaultFolder();
    if (!file->empty() && file->front() != '/') {
      throw CommandError(kUsage, "'" + *file + "' is no absolute path on the device");
    }
    if (!file->empty()) path = (path / "root").concat(*file);
    std::cout << path.string() << "\n";
    return kDone;
  });
}

void addReboot(CLI::App* group) {
  CLI::App* command =
      group->add_subcommand("reboot", "Restart the unit: what was not committed is undone");
  setAction(command, [=] {
    return onDevice([&] {
      VirtualDevice(VirtualDevice::defaultFolder()).reboot();
      return kDone;
    });
  });
}

}  // namespace

void addDeviceGroup(CLI::App& app) {
  CLI::App* group = app.add_subcommand("device", "Make, show and change the virtual unit");
  group->require_subcommand(1);
  group->footer(
      "The unit lies in $CORVANE_DEVICE, else in ~/.local/state/corvane/device; any command makes\n"
      "one there when there is none.");
  addInit(group);
  addShow(group);
  addSet(group);
  addPath(group);
  addReboot(group);
}

}  // namespace corvane::tools
