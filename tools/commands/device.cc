#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>

#include "device/models.h"
#include "host/include/unit_lock.h"
#include "host/include/virtual_device.h"
#include "platform/printable.h"
#include "tools/command_line.h"
#include "tools/documents/documents.h"
#include "tools/json_output.h"
#include "tools/unit_access.h"

namespace corvane::tools {
namespace {

using host::UnitFacts;
using host::VirtualDevice;

const std::map<std::string, bool> kYesNo = {{"yes", true}, {"no", false}};
const std::map<std::string, bool> kPowers = {{"plist", false}, {"host", true}};

using Edit = void (*)(UnitFacts&);

/// What a unit can lack, with what takes it away.
const std::map<std::string, Edit> kRemovals = {
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
const std::map<std::string, Edit> kAdditions = {
    {"power-source", [](UnitFacts& facts) { facts.powerSource = true; }},
    {"data-area", [](UnitFacts& facts) { facts.dataArea = true; }},
    {"nvram", [](UnitFacts& facts) { facts.nvram = true; }}};

/// The facts that a command line gives; the others stay as they are.
struct FactOptions {
  std::optional<std::string> model, bootArgs, build;
  std::optional<int64_t> battery, batteryMax;
  std::optional<bool> externalPower, radio, hostPower;
  std::vector<Edit> with, without;

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
    command.choice("--with", with, "Puts back what was removed", kAdditions);
    command.choice("--without", without, "Removes this", kRemovals);
  }

  /// Warns of a model that the library does not know: such a unit is fine, and often a mistake.
  void warn() const {
    if (!model || !modelOf(*model).code.empty()) return;
    std::vector<std::string> codes;
    for (const Model& known : kModels) codes.emplace_back(known.code);
    std::cerr << "corvane: warning: '" << printable(*model)
              << "' does not begin with a model code that the library knows: " << listOf(codes)
              << "\n";
  }

  bool isEmpty() const {
    return !model && !bootArgs && !build && !battery && !batteryMax && !externalPower && !radio &&
           !hostPower && with.empty() && without.empty();
  }

  void applyTo(UnitFacts& facts) const {
    for (const Edit add : with) add(facts);
    if (model) facts.model = model;
    if (battery) facts.currentCapacity = battery;
    if (batteryMax) facts.maxCapacity = batteryMax;
    if (externalPower) facts.externalPower = externalPower;
    if (battery || batteryMax || externalPower) facts.powerSource = true;
    if (hostPower) facts.hostPower = *hostPower;
    if (radio) facts.radio = *radio;
    if (bootArgs) facts.bootArgs = bootArgs;
    if (build) facts.buildVersion = build;
    for (const Edit remove : without) remove(facts);
    warn();
  }
};

void initDevice(const FactOptions& options) {
  const std::filesystem::path folder = VirtualDevice::defaultFolder();
  std::error_code error;
  if (std::filesystem::exists(folder / "device.plist", error)) {
    throw CommandError(kFailed, "there is a unit in " + folder.string() +
                                    " already; \"corvane device set\" changes it");
  }
  UnitFacts facts;
  options.applyTo(facts);
  std::cout << VirtualDevice(folder, facts).folder().string() << "\n";
}

void setDevice(const FactOptions& options) {
  if (options.isEmpty()) throw CommandError(kUsage, "device set needs something to set");
  VirtualDevice unit(VirtualDevice::defaultFolder());
  const host::UnitLock lock(unit.folder());
  UnitFacts facts = unit.facts();
  options.applyTo(facts);
  unit.setFacts(facts);
}

void showDevice(bool json) {
  const VirtualDevice unit = VirtualDevice::existing(VirtualDevice::defaultFolder());
  unit.facts();  // Throws where a file is damaged: its facts would show as absent.
  nlohmann::ordered_json document = {{"folder", unit.folder().string()}};
  document.update(factsOf(readUnitFolder(unit.folder())));
  document["uncommittedDataSets"] = unit.uncommittedDataSets();
  printResult(json, document, factTable(document, "(none)").text());
}

void printPath(const std::string& file) {
  std::filesystem::path path = VirtualDevice::defaultFolder();
  if (!file.empty() && file.front() != '/') {
    throw CommandError(kUsage, "'" + file + "' is not an absolute path on the device");
  }
  if (!file.empty()) path = (path / "root").concat(file);
  std::cout << path.string() << "\n";
}

}  // namespace

void addDevice(CLI::App& app) {
  Command group = Command(app).addGroup(
      "device", "Make, show and change the virtual unit",
      "The unit lies in $CORVANE_DEVICE, else in ~/.local/state/corvane/device; a command that\n"
      "changes the unit makes one there when it is missing.");
  Command initCommand = group.add(
      "init", "Make a new unit where there is not one yet",
      "Example:\n  CORVANE_DEVICE=/tmp/t34 corvane device init --model T34AP --battery 53");
  initCommand.actionOn<FactOptions>(initDevice).addTo(initCommand);
  addLook(group, "show", "Show what the unit is", "", showDevice);
  Command setCommand = group.add("set", "Change what the unit is",
                                 "Examples:\n"
                                 "  corvane device set --battery 15 --external-power no\n"
                                 "  corvane device set --without data-area");
  setCommand.actionOn<FactOptions>(setDevice).addTo(setCommand);
  Command path = group.add("path", "Print where the unit's folder, or a file of it, is",
                           "Example:\n  less \"$(corvane device path /var/log/system.log)\"");
  path.file("FILE", path.actionOn<std::string>(printPath),
            "A file as the device knows it, such as /var/log/system.log");
  group.add("reboot", "Restart the unit: what was not committed is undone").action([] {
    VirtualDevice(VirtualDevice::defaultFolder()).reboot();
  });
}

}  // namespace corvane::tools
