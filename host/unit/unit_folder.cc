#include "host/unit/unit_folder.h"

#include <algorithm>
#include <array>

#include "host/device_error.h"
#include "host/unit/atomic_file.h"
#include "host/unit/fact_files.h"
#include "host/unit/factory_images.h"
#include "host/unit/properties.h"
#include "host/unit_lock.h"
#include "platform/text.h"

namespace corvane::host {
namespace {

namespace fs = std::filesystem;

constexpr char kDeviceFile[] = "device.plist";
constexpr char kVersionFile[] = "/System/Library/CoreServices/SystemVersion.plist";

[[noreturn]] void fail(const fs::path& file, const std::string& reason) {
  throw DeviceError(file.string() + ": " + reason);
}

void check(const std::error_code& error, const fs::path& file) {
  if (error) fail(file, error.message());
}

bool isThere(const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::symlink_status(file, error);
  if (status.type() == fs::file_type::none) fail(file, error.message());
  return fs::exists(status);
}

/// Whether the folder is a unit, complete or not: all that it holds is what units are made of.
bool holdsOnlyUnitFiles(const fs::path& folder) {
  constexpr std::array<std::string_view, 8> kNames = {
      kDeviceFile, kNvramFile, "data", "root", ".lock", ".device.plist.new", ".nvram.plist.new"};
  std::error_code error;
  fs::directory_iterator entries(folder, error);
  check(error, folder);
  return std::all_of(begin(entries), end(entries), [&](const fs::directory_entry& entry) {
    return std::find(kNames.begin(), kNames.end(), entry.path().filename().string()) !=
           kNames.end();
  });
}

void createFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  check(error, folder);
}

void createFileIfMissing(const fs::path& file, const std::vector<uint8_t>& contents) {
  if (isThere(file)) return;
  check(replaceFile(file, contents, Durability::kDurable), file);
}

/// Writes `changed` unless the file, whose contents were `old`, says so already.
void writeIfChanged(const fs::path& file, CFDictionaryRef old, CFDictionaryRef changed) {
  if (!old || !CFEqual(old, changed)) writePropertyFile(file, changed);
}

void setNvramFacts(const fs::path& file, const UnitFacts& facts) {
  const auto nvram = readPropertyFileIfPresent(file);
  writeIfChanged(file, nvram.get(), nvramWithFacts(nvram.get(), facts).get());
}

void setVersionFacts(const fs::path& file, const UnitFacts& facts) {
  const auto version = readPropertyFileIfPresent(file);
  if (!version && !facts.buildVersion) return;
  createFolder(file.parent_path());
  writeIfChanged(file, version.get(), versionWithFacts(version.get(), facts).get());
}

void requireDictionary(CFTypeRef value, const fs::path& file, const std::string& what) {
  if (CFGetTypeID(value) != CFDictionaryGetTypeID()) fail(file, what + " is not a dictionary");
}

/// Throws DeviceError when the file's "registry", or an entry in it, is not what it must be.
void checkRegistry(CFDictionaryRef device, const fs::path& file) {
  const CFDictionaryRef registry = dictionaryIn(device, "registry");
  if (!registry) fail(file, "has no dictionary \"registry\"");
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

/// Throws DeviceError when the file's "power" is there and is none of what it can be.
void checkPower(CFDictionaryRef device, const fs::path& file) {
  if (!CFDictionaryContainsKey(device, CFSTR("power"))) return;
  const auto power = textIn(device, "power");
  if (power == "plist" || power == "host") return;
  fail(file, "\"power\" is neither \"plist\" nor \"host\"");
}

}  // namespace

UnitFolder::UnitFolder(fs::path folder, const UnitFacts& facts)
    : _folder(std::move(folder)),
      _root((_folder / "root").string()),
      _dataSets(_folder),
      _nvram(_folder),
      _deviceFile(_folder / kDeviceFile) {
  if (isThere(_folder) && !fs::is_directory(_folder)) fail(_folder, "is not a folder");
  if (!isThere(_deviceFile.path())) createWhatIsMissing(facts);
  copyDevice();
}

void UnitFolder::createWhatIsMissing(const UnitFacts& facts) const {
  createFolder(_folder);
  if (!holdsOnlyUnitFiles(_folder)) {
    fail(_folder, "is no unit: it holds other files and no device.plist");
  }
  const UnitLock lock(_folder);
  if (isThere(_deviceFile.path())) return;

  for (const char* directory : {"/private/var/log", "/private/var/logs"}) {
    createFolder(filePath(directory));
  }
  const fs::path varLink = filePath("/var");
  if (!isThere(varLink)) {
    std::error_code error;
    fs::create_directory_symlink("private/var", varLink, error);
    check(error, varLink);
  }
  createFolder(_folder / "data");
  createFileIfMissing(_folder / "data/VelmoDiagnosticData.bin", factoryDiagnosticData());
  createFileIfMissing(_folder / "data/VelmoDiagnosticDataSysCfg.bin", factoryConfiguration());
  setVersionFacts(filePath(kVersionFile), facts);
  setNvramFacts(_nvram.file(), facts);
  // Last: with this file the unit is complete.
  writePropertyFile(_deviceFile.path(), deviceWithFacts(nullptr, facts).get());
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

UnitFacts UnitFolder::deviceFacts() {
  UnitFacts facts;
  factsFromDevice(copyDevice().get(), facts);
  return facts;
}

bool UnitFolder::hasRadio() { return deviceFacts().radio; }
bool UnitFolder::hasHostPower() { return deviceFacts().hostPower; }

UnitFacts UnitFolder::facts() {
  UnitFacts facts = deviceFacts();
  factsFromNvram(readPropertyFileIfPresent(_nvram.file()).get(), facts);
  factsFromVersion(readPropertyFileIfPresent(filePath(kVersionFile)).get(), facts);
  return facts;
}

void UnitFolder::setFacts(const UnitFacts& facts) {
  const UnitLock lock(_folder);
  const auto device = copyDevice();
  setVersionFacts(filePath(kVersionFile), facts);
  setNvramFacts(_nvram.file(), facts);
  writeIfChanged(_deviceFile.path(), device.get(), deviceWithFacts(device.get(), facts).get());
}

}  // namespace corvane::host
