#ifndef CORVANE_HOST_INCLUDE_VIRTUAL_DEVICE_H_
#define CORVANE_HOST_INCLUDE_VIRTUAL_DEVICE_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "device_error.h"
#include "unit_facts.h"

/// The virtual device, off the device only.
namespace corvane::host {

class UnitFolder;

/// A virtual unit: a folder that behaves like one device, for a station program's own tests.
///
///     corvane::host::VirtualDevice unit("/tmp/unit-1");
///     unit.use();  // The platform calls of this process are about it.
///     unit.setFaults("IORegistryEntrySetCFProperties@2");
///     runMyStation();
///     EXPECT_EQ(unit.dataSet("VelmoDiagnosticData")[18], 0xFC);
///
/// A function that fails throws DeviceError, whose text names the file and the reason, and changes
/// nothing. Changes are durable when they return and take the unit's lock for themselves; a program
/// that changes what it has read holds the lock over both (`unit_lock.h`).
class __attribute__((visibility("default"))) VirtualDevice {
 public:
  /// Opens the unit in `folder`. A missing or empty folder is made into a unit with `facts` first.
  explicit VirtualDevice(const std::filesystem::path& folder, const UnitFacts& facts = {});
  ~VirtualDevice();
  /// Returns the unit in `folder`, and makes nothing: throws DeviceError when no unit is there.
  /// With `existing(defaultFolder()).use()` a program that only looks leaves no new unit behind.
  static VirtualDevice existing(const std::filesystem::path& folder);

  /// Returns where a process's unit lies unless it uses another: "$CORVANE_DEVICE", else
  /// "corvane/device" below "$XDG_STATE_HOME" or "$HOME/.local/state".
  static std::filesystem::path defaultFolder();

  /// Makes this the unit that the platform calls of this process are about. Handles that were
  /// obtained before stay with the unit that they came from.
  void use() const;

  /// Returns the absolute path of the unit's folder.
  const std::filesystem::path& folder() const;
  /// Returns where the device's file `devicePath` (absolute) lies on this machine.
  std::filesystem::path filePath(std::string_view devicePath) const;

  /// Returns the facts that the unit's files hold now.
  UnitFacts facts() const;
  /// Makes `facts` the unit's: changes those that differ and keeps what else the unit's files hold.
  void setFacts(const UnitFacts& facts);

  /// Returns the bytes of the data set named `set` as the registry publishes them, but without
  /// stuck ones.
  std::vector<uint8_t> dataSet(const std::string& set) const;
  /// Replaces the data set named `set` by `contents`, which may have another size, and commits
  /// that.
  void setDataSet(const std::string& set, std::span<const uint8_t> contents);
  /// Returns the names of the data sets with changes that the next reboot undoes.
  std::vector<std::string> uncommittedDataSets() const;
  /// Does what a restart of the unit does: undoes what was not committed.
  void reboot();

  /// Makes `rules` the fault rules of this process, which "$CORVANE_FAULTS" set at first, and
  /// counts calls from 0; an empty text removes all. Throws DeviceError for a rule that cannot be
  /// used.
  static void setFaults(std::string_view rules);
  /// Returns what is wrong with "$CORVANE_FAULTS", which would end this process with status 2 at
  /// its first platform call; empty when its rules can be used.
  static std::string faultInEnvironment();
  /// Returns how often this process called each function that a rule can name since it set its
  /// rules; calls are counted only while there are rules. With it a test fails a call's first and
  /// last occurrence.
  static std::map<std::string, uint64_t> callsMade();

  /// Returns what NSLog wrote, one message an element, without its time and process; an empty list
  /// when there is none.
  std::vector<std::string> systemLog() const;

  /// Returns how many registry objects and Mach ports this process holds, over all units.
  static size_t openHandles();

 private:
  explicit VirtualDevice(std::shared_ptr<UnitFolder> unit);

  std::shared_ptr<UnitFolder> _unit;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_INCLUDE_VIRTUAL_DEVICE_H_
