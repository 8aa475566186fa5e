#ifndef CORVANE_HOST_VIRTUAL_UNIT_UNIT_FOLDER_H_
#define CORVANE_HOST_VIRTUAL_UNIT_UNIT_FOLDER_H_

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "host/include/unit_facts.h"
#include "host/virtual_unit/data_sets.h"
#include "host/virtual_unit/property_file.h"
#include "host/virtual_unit/unit_paths.h"
#include "platform/cf_ref.h"

namespace corvane::host {

/// The file that NSLog writes to, as the device knows it.
inline constexpr char kSystemLogFile[] = "/private/var/log/system.log";

/// The folder that behaves like one unit:
///
///     device.plist   the registry's entries with their properties, the radio, "power"
///     nvram.plist    the NVRAM variables
///     data/          the data sets
///     root/          the device's file tree
///     .lock          the lock that serialises changes
///
/// Every function that reads or changes files throws DeviceError when it cannot; a failed change
/// has changed nothing.
class UnitFolder {
 public:
  /// Opens the unit in `folder`. A folder that is missing, empty or half made first gets what it
  /// lacks of a unit with the facts `ofNew`, so that a power cut leaves a whole unit or one that
  /// the next opening completes; without facts it is an error, and nothing is made. Throws
  /// DeviceError when the folder cannot be used: it is not a folder, cannot be read, belongs to
  /// another user, holds something other than a unit, or its device.plist is damaged.
  explicit UnitFolder(const std::filesystem::path& folder,
                      const std::optional<UnitFacts>& ofNew = UnitFacts());

  /// The folder, without symbolic links in its path.
  const std::filesystem::path& path() const { return _folder; }
  const DataSets& dataSets() const { return _dataSets; }

  /// Returns where the device's file `devicePath` (absolute) lies.
  std::string filePath(std::string_view devicePath) const;

  /// Returns what device.plist lists under "registry" for the class or path `name`: a dictionary of
  /// properties, or an array of these when there are several services of one class. Returns null
  /// when the unit has none.
  CFRef<CFTypeRef> copyRegistryEntries(const std::string& name);

  /// Return whether "radio" in device.plist is true, and whether "power" is "host".
  bool hasRadio();
  bool hasHostPower();

  /// Returns the NVRAM variable `name`, read again from nvram.plist; null when there is none.
  CFRef<CFTypeRef> copyNvramVariable(CFStringRef name) const;
  /// Sets an NVRAM variable durably and leaves the others alone.
  void setNvramVariable(CFStringRef name, CFTypeRef value) const;

  UnitFacts facts();
  /// Gives the unit these facts: all of them or, on an error, none. Only facts that differ are
  /// written; what else the files hold stays.
  void setFacts(const UnitFacts& facts);

 private:
  /// Returns what device.plist holds. Throws DeviceError when it is damaged.
  CFRef<CFDictionaryRef> copyDevice();

  std::filesystem::path _folder;
  std::string _root;
  DataSets _dataSets;
  CachedPropertyFile _deviceFile;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_VIRTUAL_UNIT_UNIT_FOLDER_H_
