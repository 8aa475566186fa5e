#include "host/include/virtual_device.h"

#include <algorithm>
#include <utility>

#include "host/faults.h"
#include "host/handles.h"
#include "host/system_log.h"
#include "host/virtual_unit/unit_folder.h"
#include "host/virtual_unit/unit_in_use.h"
#include "host/virtual_unit/unit_place.h"
#include "platform/data_bytes.h"

namespace corvane::host {
namespace {

std::shared_ptr<UnitFolder> openUnit(const std::filesystem::path& folder,
                                     const std::optional<UnitFacts>& ofNew) {
  return withDeviceErrors(folder.c_str(), [&] {
    return std::make_shared<UnitFolder>(std::filesystem::absolute(folder), ofNew);
  });
}

}  // namespace

VirtualDevice::VirtualDevice(const std::filesystem::path& folder, const UnitFacts& facts)
    : VirtualDevice(openUnit(folder, facts)) {}

VirtualDevice::VirtualDevice(std::shared_ptr<UnitFolder> unit) : _unit(std::move(unit)) {}

VirtualDevice::~VirtualDevice() = default;

VirtualDevice VirtualDevice::existing(const std::filesystem::path& folder) {
  return VirtualDevice(openUnit(folder, {}));
}

std::filesystem::path VirtualDevice::defaultFolder() { return defaultUnitFolder(); }

void VirtualDevice::use() const { useUnit(_unit); }

const std::filesystem::path& VirtualDevice::folder() const { return _unit->path(); }

std::filesystem::path VirtualDevice::filePath(std::string_view devicePath) const {
  return _unit->filePath(devicePath);
}

UnitFacts VirtualDevice::facts() const {
  return withDeviceErrors(folder().c_str(), [&] { return _unit->facts(); });
}

void VirtualDevice::setFacts(const UnitFacts& facts) {
  withDeviceErrors(folder().c_str(), [&] { _unit->setFacts(facts); });
}

std::vector<uint8_t> VirtualDevice::dataSet(const std::string& set) const {
  return withDeviceErrors(folder().c_str(), [&] {
    const auto contents = _unit->dataSets().copyContents(set);
    if (!contents) throw DeviceError(folder().string() + " has no data set " + set);
    const auto bytes = bytesOf(contents.get());
    return std::vector<uint8_t>(bytes.begin(), bytes.end());
  });
}

void VirtualDevice::setDataSet(const std::string& set, std::span<const uint8_t> contents) {
  withDeviceErrors(folder().c_str(), [&] { _unit->dataSets().replace(set, contents); });
}

std::vector<std::string> VirtualDevice::uncommittedDataSets() const {
  return withDeviceErrors(folder().c_str(), [&] { return _unit->dataSets().uncommittedSets(); });
}

void VirtualDevice::reboot() {
  withDeviceErrors(folder().c_str(), [&] { _unit->dataSets().reboot(); });
}

void VirtualDevice::setFaults(std::string_view rules) {
  if (const std::string fault = setFaultRules(rules); !fault.empty()) throw DeviceError(fault);
}

std::string VirtualDevice::faultInEnvironment() { return host::faultInEnvironment(); }

std::map<std::string, uint64_t> VirtualDevice::callsMade() { return host::callsMade(); }

std::vector<std::string> VirtualDevice::systemLog() const {
  return withDeviceErrors(folder().c_str(), [&] {
    std::vector<std::string> messages;
    const auto log = readFile(_unit->filePath(kSystemLogFile), kMaxSystemLog);
    if (!log) return messages;
    const auto bytes = bytesOf(log.get());
    std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    while (!text.empty()) {
      const std::string_view line = text.substr(0, text.find('\n'));
      text.remove_prefix(std::min(line.size() + 1, text.size()));
      if (const auto message = messageOfEntry(line)) {
        messages.emplace_back(*message);
      } else if (!messages.empty()) {
        messages.back().append("\n").append(line);
      }
    }
    return messages;
  });
}

size_t VirtualDevice::openHandles() { return handles().count(); }

}  // namespace corvane::host
