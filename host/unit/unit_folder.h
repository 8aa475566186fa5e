#ifndef CORVANE_HOST_UNIT_UNIT_FOLDER_H_
#define CORVANE_HOST_UNIT_UNIT_FOLDER_H_

#include <filesystem>
#include <string>
#include <string_view>

#include "host/unit/data_sets.h"
#include "host/unit/nvram.h"
#include "host/unit/property_file.h"
#include "host/unit_facts.h"
#include "platform/cf_ref.h"

namespace corvane::host {

/// The folder that behaves like one unit:
///
///     device.plist   the registry's entries with their properties, the radio, "power"
///     nvram.plist    the NVRAM variables
///     data/          the data sets
///     root/          the device's file tree
///     .lock          the lock that serialises changes
class UnitFolder {
 public:
  /// Opens the unit in `folder`. A folder that is missing, empty or half made gets what it lacks of
  /// a unit with `facts`. Throws DeviceError when it cannot be used: it is no folder, may not be
  /// read, holds something else than a unit, or its device.plist is damaged.
  explicit UnitFolder(std::filesystem::path folder, const UnitFacts& facts = {});

  const std::filesystem::path& path() const { return _folder; }
  const DataSets& dataSets() const { return _dataSets; }
  const Nvram& nvram() const { return _nvram; }

  /// Where the device's file `devicePath` (absolute) lies.
  std::string filePath(std::string_view devicePath) const;

  /// What device.plist lists under "registry" for the class or path `name`: a dictionary of
  /// properties, or an array of such when there are several services of one class. Null when the
  /// unit has none. Throws DeviceError when the file is damaged.
  CFRef<CFTypeRef> copyRegistryEntries(const std::string& name);

  /// "radio" and "power" in device.plist. Throws DeviceError when the file is damaged.
  bool hasRadio();
  bool hasHostPower();

  UnitFacts facts();
  /// Makes the unit what `facts` says. Only facts that differ are written; what else the files hold
  /// stays. Throws DeviceError.
  void setFacts(const UnitFacts& facts);

 private:
  void createWhatIsMissing(const UnitFacts& facts) const;
  /// What device.plist holds. Throws DeviceError when it is damaged.
  CFRef<CFDictionaryRef> copyDevice();
  UnitFacts deviceFacts();

  std::filesystem::path _folder;
  std::string _root;
  DataSets _dataSets;
  Nvram _nvram;
  CachedPropertyFile _deviceFile;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_UNIT_UNIT_FOLDER_H_
