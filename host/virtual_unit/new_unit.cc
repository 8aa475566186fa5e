#include "host/virtual_unit/new_unit.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "host/include/unit_lock.h"
#include "host/virtual_unit/fact_files.h"
#include "host/virtual_unit/unit_file.h"
#include "host/virtual_unit/unit_folder.h"

namespace corvane::host {
namespace {

namespace fs = std::filesystem;

/// The folders of a unit, parents first.
constexpr auto kFolders =
    std::to_array<std::string_view>({"data", "root", "root/private", "root/private/var",
                                     "root/private/var/log", "root/private/var/logs", "root/System",
                                     "root/System/Library", "root/System/Library/CoreServices"});

/// Returns "VelmoDiagnosticData", 1024 bytes: every control-bit byte 0xFF, every record slot free.
std::vector<uint8_t> factoryDiagnosticData() {
  constexpr size_t kFirstSlot = 128;
  constexpr size_t kSlotSize = 24;
  constexpr size_t kSlotCount = 20;
  std::vector<uint8_t> image(1024, 0xFF);
  for (size_t slot = 0; slot < kSlotCount; ++slot) {
    // A free slot's 64-bit time is 0xFFFFFFFF.
    std::fill_n(&image[kFirstSlot + slot * kSlotSize + 4], 4, uint8_t{0});
  }
  return image;
}

/// Returns "VelmoDiagnosticDataSysCfg", 8192 bytes: an empty store.
std::vector<uint8_t> factoryConfiguration() {
  constexpr std::array<uint8_t, 24> kHeaderOfEmptyStore = {
      0x67, 0x66, 0x43, 0x53, 0x18, 0, 0, 0, 0x00, 0x20, 0, 0, 0x01, 0, 0x02, 0};
  std::vector<uint8_t> image(8192, 0xFF);
  std::copy(kHeaderOfEmptyStore.begin(), kHeaderOfEmptyStore.end(), image.begin());
  return image;
}

/// Returns whether the folder can become a unit: it holds only what units are made of.
bool holdsOnlyUnitFiles(const fs::path& folder) {
  const std::vector<std::string> names = namesIn(folder);
  return std::all_of(names.begin(), names.end(), [](const std::string& name) {
    return name == kNvramFile || name == "data" || name == "root" || name == ".lock" ||
           isTemporaryName(name);
  });
}

void prepareIfMissing(FileChanges& changes, const fs::path& file,
                      const std::vector<uint8_t>& contents) {
  if (!isThere(file)) changes.prepare(file, contents);
}

}  // namespace

void completeUnit(const fs::path& place, const UnitFacts& facts) {
  std::error_code error;
  fs::path folder = fs::weakly_canonical(place, error);
  if (error) throw FileError(place, error);
  if (!folder.has_filename()) folder = folder.parent_path();
  createFolders(folder, Durability::kDurable);
  if (!holdsOnlyUnitFiles(folder) && !isThere(folder / kDeviceFile)) {
    failOn(folder, "is not a unit: it holds other files and no device.plist");
  }
  const UnitLock lock(folder);
  if (isThere(folder / kDeviceFile)) return;

  for (const std::string_view name : kFolders) {
    createFolders(folder / name, Durability::kVolatile);
  }
  const fs::path varLink = folder / "root/var";
  if (!isThere(varLink)) {
    const FileDescriptor root = openFolder(folder / "root");
    if (::symlinkat("private/var", root.get(), "var") != 0) throw FileError(varLink);
  }
  // Those that exist already, too: a process that made them and was killed may have synced none.
  for (const std::string_view name : kFolders) syncFolder(folder / name);
  syncFolder(folder);

  FileChanges changes;
  prepareIfMissing(changes, folder / "data/VelmoDiagnosticData.bin", factoryDiagnosticData());
  prepareIfMissing(changes, folder / "data/VelmoDiagnosticDataSysCfg.bin", factoryConfiguration());
  prepareFacts(changes, folder, nullptr, facts);
  changes.apply();
}

}  // namespace corvane::host
