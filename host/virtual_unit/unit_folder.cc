#include "host/virtual_unit/unit_folder.h"

#include <vector>

#include "host/include/unit_lock.h"
#include "host/virtual_unit/fact_files.h"
#include "host/virtual_unit/new_unit.h"
#include "host/virtual_unit/properties.h"
#include "host/virtual_unit/unit_file.h"
#include "host/virtual_unit/unit_place.h"
#include "platform/text.h"

namespace corvane::host {
namespace {

namespace fs = std::filesystem;

void requireDictionary(CFTypeRef value, const fs::path& file, const std::string& what) {
  if (CFGetTypeID(value) != CFDictionaryGetTypeID()) failOn(file, what + " is not a dictionary");
}

/// Throws DeviceError when the file's "registry", or an entry in it, is not what it must be.
void checkRegistry(CFDictionaryRef device, const fs::path& file) {
  const CFDictionaryRef registry = dictionaryIn(device, "registry");
  if (!registry) failOn(file, "has no dictionary \"registry\"");
  const auto count = static_cast<size_t>(CFDictionaryGetCount(registry));
  std::vector<const void*> keys(count), values(count);
  CFDictionaryGetKeysAndValues(registry, keys.data(), values.data());
  for (size_t i = 0; i < count; ++i) {
    const std::string what =
        "the registry entry \"" + utf8Bytes(static_cast<CFStringRef>(keys[i])) + "\"";
    if (CFGetTypeID(values[i]) != CFArrayGetTypeID()) {
      requireDictionary(values[i], file, what);
      continue;
    }
    const auto services = static_cast<CFArrayRef>(values[i]);
    for (CFIndex service = 0; service < CFArrayGetCount(services); ++service) {
      requireDictionary(CFArrayGetValueAtIndex(services, service), file, what);
    }
  }
}

/// Throws DeviceError when the file has a "power" of no known kind.
void checkPower(CFDictionaryRef device, const fs::path& file) {
  if (!CFDictionaryContainsKey(device, CFSTR("power"))) return;
  const auto power = textIn(device, "power");
  if (power == "plist" || power == "host") return;
  failOn(file, "\"power\" is neither \"plist\" nor \"host\"");
}

/// Makes what is missing of a unit in `folder`, and returns the folder without symbolic links. When
/// the default folder cannot be used, the error also tells how to name another.
fs::path withAllFiles(const fs::path& folder, const std::optional<UnitFacts>& ofNew) {
  try {
    if (!isUsableFolder(folder) || !isThere(folder / kDeviceFile)) {
      if (!ofNew) failOn(folder, "there is no unit; \"corvane device init\" makes one");
      completeUnit(folder, *ofNew);
    }
    std::error_code error;
    fs::path canonical = fs::canonical(folder, error);
    if (error) throw FileError(folder, error);
    return canonical;
  } catch (const FileError& error) {
    if (folder != defaultUnitFolder()) throw;
    throw DeviceError(std::string(error.what()) + "; $CORVANE_DEVICE can name another folder");
  }
}

}  // namespace

UnitFolder::UnitFolder(const fs::path& folder, const std::optional<UnitFacts>& ofNew)
    : _folder(withAllFiles(folder, ofNew)),
      _root((_folder / "root").string()),
      _dataSets(_folder),
      _deviceFile(_folder / kDeviceFile) {
  copyDevice();
}

std::string UnitFolder::filePath(std::string_view devicePath) const {
  std::string path = _root;
  path += devicePath;
  return path;
}

CFRef<CFDictionaryRef> UnitFolder::copyDevice() {
  auto device = _deviceFile.copyProperties();
  checkRegistry(device.get(), _deviceFile.path());
  checkPower(device.get(), _deviceFile.path());
  return device;
}

CFRef<CFTypeRef> UnitFolder::copyRegistryEntries(const std::string& name) {
  const auto device = copyDevice();
  return CFRef<CFTypeRef>::retaining(
      CFDictionaryGetValue(dictionaryIn(device.get(), "registry"), createString(name).get()));
}

bool UnitFolder::hasRadio() { return factsFromDevice(copyDevice().get()).radio; }
bool UnitFolder::hasHostPower() { return factsFromDevice(copyDevice().get()).hostPower; }

CFRef<CFTypeRef> UnitFolder::copyNvramVariable(CFStringRef name) const {
  const auto variables = readPropertyFile(_folder / kNvramFile);
  if (!variables) return {};
  return CFRef<CFTypeRef>::retaining(CFDictionaryGetValue(variables.get(), name));
}

void UnitFolder::setNvramVariable(CFStringRef name, CFTypeRef value) const {
  const fs::path file = _folder / kNvramFile;
  const UnitLock lock(_folder);
  const auto variables = copyForChange(readPropertyFile(file).get());
  CFDictionarySetValue(variables.get(), name, value);
  FileChanges changes;
  preparePropertyFile(changes, file, variables.get());
  changes.apply();
}

UnitFacts UnitFolder::facts() { return factsFromFiles(_folder, copyDevice().get()); }

void UnitFolder::setFacts(const UnitFacts& facts) {
  const UnitLock lock(_folder);
  FileChanges changes;
  prepareFacts(changes, _folder, copyDevice().get(), facts);
  changes.apply();
}

}  // namespace corvane::host
