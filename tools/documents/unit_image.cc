#include "tools/documents/unit_image.h"

#include <unistd.h>
#include <utf8.h>

#include <algorithm>
#include <array>
#include <system_error>

#include "host/include/device_error.h"
#include "host/include/unit_lock.h"
#include "tools/command_error.h"
#include "tools/documents/unit_document.h"
#include "tools/files.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;

const std::array kFixedPaths = {
    std::string_view(kDeviceFile),
    std::string_view(kNvramFile),
    std::string_view(kVersionFile),
    std::string_view(kTestLogFile),
    std::string_view("root/private/var/logs/CorvaneTov/Expected/logCollection.plist"),
    std::string_view("root/private/var/logs/BurnIn/.CorvaneLogsCollected"),
    std::string_view("root/private/var/logs/BurnIn/.logsCollected")};

/// Above what a unit accepts for any of its files.
constexpr size_t kMaxFile = size_t{64} << 20;
/// A document has up to three characters for each byte of a unit's files.
constexpr size_t kMaxDocument = size_t{512} << 20;

/// Returns whether `name` is the file of a data set: NAME.bin, or NAME.committed with the contents
/// that a reboot restores. Nobody can ask a unit for a name that is not UTF-8.
bool isDataSetFile(std::string_view name) {
  for (const std::string_view extension : {".bin", ".committed"}) {
    if (name.ends_with(extension) && name.size() > extension.size()) {
      return name.front() != '.' && name.find('/') == std::string_view::npos &&
             name.find('\0') == std::string_view::npos && utf8::is_valid(name.begin(), name.end());
    }
  }
  return false;
}

/// Throws for an error other than that there is nothing at `path`.
void requireLookedAt(const fs::path& path, const std::error_code& error) {
  if (!error || error == std::errc::no_such_file_or_directory ||
      error == std::errc::not_a_directory) {
    return;
  }
  throw CommandError(kNotReady, path.string() + ": " + error.message());
}

/// Adds the file unless there is none.
void addFile(UnitImage& image, const fs::path& folder, const std::string& path) {
  const fs::path file = folder / path;
  std::error_code error;
  const fs::file_status status = fs::symlink_status(file, error);
  requireLookedAt(file, error);
  if (!fs::exists(status)) return;
  if (!fs::is_regular_file(status)) {
    throw CommandError(kNotReady, file.string() + ": is not a regular file");
  }
  FileBytes contents = readFile(file.string(), kMaxFile);
  if (!contents.isWhole) {
    throw CommandError(kFailed, file.string() + ": is larger than 64 MiB");
  }
  image.files[path] = std::move(contents.bytes);
}

}  // namespace

const Bytes* UnitImage::file(const std::string& path) const {
  const auto found = files.find(path);
  return found == files.end() ? nullptr : &found->second;
}

bool isImagePath(std::string_view path) {
  constexpr std::string_view kData = "data/";
  return std::ranges::find(kFixedPaths, path) != kFixedPaths.end() ||
         (path.starts_with(kData) && isDataSetFile(path.substr(kData.size())));
}

bool holdsImageFiles(const std::string& path) {
  return path == "data" || std::ranges::any_of(kFixedPaths, [&](std::string_view fixed) {
           return fixed.starts_with(path + "/");
         });
}

UnitImage readUnitFolder(const fs::path& folder) {
  std::error_code error;
  const fs::file_status device = fs::status(folder / kDeviceFile, error);
  requireLookedAt(folder / kDeviceFile, error);
  if (!fs::exists(device)) {
    throw CommandError(kNotReady, folder.string() + ": is not a unit; it has no device.plist");
  }
  std::optional<host::UnitLock> lock;
  try {
    if (::access(folder.c_str(), W_OK) == 0) lock.emplace(folder);
  } catch (const host::DeviceError& failure) {
    throw CommandError(kNotReady, failure.what());
  }
  UnitImage image;
  for (const std::string_view path : kFixedPaths) addFile(image, folder, std::string(path));
  const fs::path data = folder / "data";
  for (fs::directory_iterator entry(data, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (isDataSetFile(name)) addFile(image, folder, "data/" + name);
  }
  requireLookedAt(data, error);
  return image;
}

UnitImage imageOfDump(Bytes contents, std::optional<DumpKind> kind, const std::string& name) {
  const DumpKind found = kind ? *kind : inspectDump(contents).kind;
  if (found == DumpKind::kUnknown) {
    throw CommandError(kFailed, name +
                                    ": is neither a unit, an export nor a dump that can be "
                                    "recognised; --as data|syscfg says what it is a dump of");
  }
  UnitImage image;
  image.kind = found == DumpKind::kDiagnosticData ? ImageKind::kData : ImageKind::kSysCfg;
  image.files[kImageKinds[static_cast<int>(image.kind)].file] = std::move(contents);
  return image;
}

UnitImage readImage(const std::string& source, std::optional<DumpKind> kind) {
  std::error_code error;
  if (fs::is_directory(source, error)) {
    return readUnitFolder(fs::absolute(source).lexically_normal());
  }
  FileBytes contents = readFile(source, kMaxDocument);
  const std::string name = source == "-" ? "standard input" : source;
  if (!contents.isWhole) throw CommandError(kFailed, name + ": is larger than 512 MiB");
  const auto first = std::ranges::find_if_not(
      contents.bytes, [](uint8_t byte) { return byte == ' ' || byte == '\n' || byte == '\r'; });
  if (!kind && first != contents.bytes.end() && *first == '{') {
    return imageOfDocument(contents.bytes, name);
  }
  return imageOfDump(std::move(contents.bytes), kind, name);
}

void requireOtherOutput(const std::string& output, const std::vector<std::string>& sources) {
  requireDistinctOutputs({{"-o", output}}, sources);
  for (const std::string& source : sources) {
    std::error_code error;
    const fs::path path =
        fs::weakly_canonical(output, error).lexically_relative(fs::weakly_canonical(source, error));
    if (!isImagePath(path.string())) continue;
    std::string text = "-o ";
    text.append(output).append(" would replace a file of the unit in ").append(source);
    throw CommandError(kUsage, text + ", which is read; name another file");
  }
}

}  // namespace corvane::tools
