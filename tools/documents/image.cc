#include <unistd.h>
#include <utf8.h>

#include <algorithm>

#include "host/include/device_error.h"
#include "host/include/unit_lock.h"
#include "tools/command_error.h"
#include "tools/documents/documents.h"
#include "tools/files.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;

const std::vector<std::string> kFixedPaths = {
    kDeviceFile,
    kNvramFile,
    kVersionFile,
    kTestLogFile,
    "root/private/var/logs/CorvaneTov/Expected/logCollection.plist",
    "root/private/var/logs/BurnIn/.CorvaneLogsCollected",
    "root/private/var/logs/BurnIn/.logsCollected"};

Bytes readWhole(const std::string& file, size_t maxMebibytes) {
  FileBytes contents = readFile(file, maxMebibytes << 20);
  if (contents.isWhole) return std::move(contents.bytes);
  throw CommandError(kFailed, file + ": is larger than " + std::to_string(maxMebibytes) + " MiB");
}

/// Adds the file unless there is none.
void addFile(UnitImage& image, const fs::path& folder, const std::string& path) {
  const fs::path file = folder / path;
  image.sources.push_back(file.string());
  const fs::file_status status = fs::symlink_status(file);
  if (!fs::exists(status)) return;
  if (!fs::is_regular_file(status)) {
    throw CommandError(kNotReady, file.string() + ": is not a regular file");
  }
  // Above what a unit accepts for any of its files.
  image.files[path] = readWhole(file.string(), 64);
}

/// `name` is for the message.
UnitImage imageOfDump(Bytes contents, std::optional<DumpKind> kind, const std::string& name) {
  const Dump dump = inspectDump(contents, kind);
  if (!dump.area && !dump.diagnosticData) {
    throw CommandError(kFailed, name +
                                    ": is not a unit, an export or a dump that is recognised; "
                                    "--as data|syscfg names the kind of a dump");
  }
  return {{{dump.area ? kConfigurationFile : kDiagnosticDataFile, std::move(contents)}}};
}

}  // namespace

const Bytes* UnitImage::file(const std::string& path) const {
  const auto found = files.find(path);
  return found == files.end() ? nullptr : &found->second;
}

bool isImagePath(std::string_view path) {
  constexpr std::string_view kData = "data/";
  if (std::ranges::find(kFixedPaths, path) != kFixedPaths.end()) return true;
  if (!path.starts_with(kData) || !(path.ends_with(".bin") || path.ends_with(".committed"))) {
    return false;
  }
  // NAME.bin, or NAME.committed with the contents that a reboot restores. A data set's name is
  // UTF-8.
  const std::string_view name = path.substr(kData.size());
  return name.front() != '.' && name.find_first_of(std::string_view("/\0", 2)) == name.npos &&
         utf8::is_valid(name.begin(), name.end());
}

bool holdsImageFiles(const std::string& path) {
  return path == "data" || std::ranges::any_of(kFixedPaths, [&](const std::string& fixed) {
           return fixed.starts_with(path + "/");
         });
}

UnitImage readUnitFolder(const fs::path& folder) try {
  if (!fs::exists(folder / kDeviceFile)) {
    throw CommandError(kNotReady, folder.string() + ": is not a unit; it has no device.plist");
  }
  std::optional<host::UnitLock> lock;
  if (::access(folder.c_str(), W_OK) == 0) lock.emplace(folder);
  UnitImage image;
  for (const std::string& path : kFixedPaths) addFile(image, folder, path);
  if (!fs::exists(folder / "data")) return image;
  for (const auto& entry : fs::directory_iterator(folder / "data")) {
    const std::string path = "data/" + entry.path().filename().string();
    if (isImagePath(path)) addFile(image, folder, path);
  }
  return image;
} catch (const host::DeviceError& error) {
  throw CommandError(kNotReady, error.what());
} catch (const fs::filesystem_error& error) {
  throw CommandError(kNotReady, error.path1().string() + ": " + error.code().message());
}

UnitImage readImage(const std::string& source, std::optional<DumpKind> kind) {
  std::error_code error;
  if (fs::is_directory(source, error)) {
    return readUnitFolder(fs::absolute(source).lexically_normal());
  }
  // A document has up to three characters for each byte of a unit's files.
  Bytes contents = readWhole(source, 512);
  const std::string name = source == "-" ? "standard input" : source;
  const bool isDocument = !kind && !contents.empty() && contents[0] == '{';
  UnitImage image =
      isDocument ? imageOfDocument(contents, name) : imageOfDump(std::move(contents), kind, name);
  image.sources = {source};
  return image;
}

}  // namespace corvane::tools
