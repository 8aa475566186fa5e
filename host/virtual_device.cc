#include "host/virtual_device.h"

#include <fstream>
#include <regex>

#include "host/faults.h"
#include "host/handles.h"
#include "host/system_log_file.h"
#include "host/unit/unit_folder.h"
#include "host/unit/unit_in_use.h"

namespace corvane::host {

VirtualDevice::VirtualDevice(const std::filesystem::path& folder, const UnitFacts& facts) {
  _unit = std::make_shared<UnitFolder>(std::filesystem::absolute(folder), facts);
}

VirtualDevice::~VirtualDevice() = default;

std::filesystem::path VirtualDevice::defaultFolder() { return defaultUnitFolder(); }

void VirtualDevice::use() const { useUnit(_unit); }

const std::filesystem::path& VirtualDevice::folder() const { return _unit->path(); }

std::filesystem::path VirtualDevice::filePath(std::string_view devicePath) const {
  return _unit->filePath(devicePath);
}

UnitFacts VirtualDevice::facts() const { return _unit->facts(); }

void VirtualDevice::setFacts(const UnitFacts& facts) { _unit->setFacts(facts); }

std::vector<uint8_t> VirtualDevice::dataSet(const std::string& set) const {
  const auto contents = _unit->dataSets().copyContents(set);
  if (!contents) throw DeviceError(_unit->path().string() + " has no data set " + set);
  const uint8_t* bytes = CFDataGetBytePtr(contents.get());
  return {bytes, bytes + CFDataGetLength(contents.get())};
}

void VirtualDevice::setDataSet(const std::string& set, std::span<const uint8_t> contents) {
  const std::error_code error = _unit->dataSets().replace(set, contents);
  if (error) throw DeviceError("data set " + set + ": " + error.message());
}

std::vector<std::string> VirtualDevice::uncommittedDataSets() const {
  return _unit->dataSets().uncommittedSets();
}

void VirtualDevice::reboot() { _unit->dataSets().reboot(); }

void VirtualDevice::setFaults(std::string_view rules) {
  if (const std::string fault = setFaultRules(rules); !fault.empty()) throw DeviceError(fault);
}

std::map<std::string, uint64_t> VirtualDevice::callsMade() { return host::callsMade(); }

std::vector<std::string> VirtualDevice::systemLog() const {
  static const std::regex prefix(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} .*?\[\d+:\d+\] )");
  std::vector<std::string> messages;
  std::ifstream log(filePath(kSystemLogFile));
  for (std::string line; std::getline(log, line);) {
    std::smatch match;
    if (std::regex_search(line, match, prefix)) {
      messages.push_back(match.suffix());
    } else if (!messages.empty()) {
      messages.back() += "\n" + line;
    }
  }
  return messages;
}

size_t VirtualDevice::openHandles() { return handles().count(); }

}  // namespace corvane::host
