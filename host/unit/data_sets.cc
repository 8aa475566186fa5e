#include "host/unit/data_sets.h"

#include <algorithm>

#include "host/device_error.h"
#include "host/unit/atomic_file.h"
#include "host/unit_lock.h"

namespace corvane::host {
namespace {

/// Whether `set` is the name of a file in the data folder and of nothing else.
bool isSetName(const std::string& set) {
  return !set.empty() && set.front() != '.' && set.find('/') == std::string::npos;
}

std::span<uint8_t> bytesOf(CFMutableDataRef data) {
  return {CFDataGetMutableBytePtr(data), static_cast<size_t>(CFDataGetLength(data))};
}

bool holdsRange(CFDataRef data, uint64_t offset, uint64_t length) {
  const auto size = static_cast<uint64_t>(CFDataGetLength(data));
  return offset <= size && length <= size - offset;
}

/// Replaces `file` by its contents `old` with `bytes` put over them at `offset`.
std::error_code patchFile(const std::filesystem::path& file, CFMutableDataRef old, uint64_t offset,
                          std::span<const uint8_t> bytes, Durability durability) {
  const std::span<uint8_t> contents = bytesOf(old);
  std::copy(bytes.begin(), bytes.end(), contents.begin() + static_cast<ptrdiff_t>(offset));
  return replaceFile(file, contents, durability);
}

}  // namespace

DataSets::DataSets(const std::filesystem::path& folder)
    : _folder(folder), _data((folder / "data").string()) {}

std::string DataSets::contentsFile(const std::string& set) const {
  return _data + "/" + set + ".bin";
}

std::string DataSets::committedFile(const std::string& set) const {
  return _data + "/" + set + ".committed";
}

CFRef<CFMutableDataRef> DataSets::copyContents(const std::string& set) const {
  if (!isSetName(set)) return {};
  std::error_code error;
  return readFile(contentsFile(set), error);
}

std::error_code DataSets::write(const std::string& set, uint64_t offset,
                                std::span<const uint8_t> bytes, bool commit) const {
  if (!isSetName(set)) return make_error_code(std::errc::no_such_file_or_directory);
  const UnitLock lock(_folder);

  std::error_code error;
  const auto current = readFile(contentsFile(set), error);
  if (!current) return error;
  const auto committed = readFile(committedFile(set), error);
  if (!committed && error != std::errc::no_such_file_or_directory) return error;
  if (!holdsRange(current.get(), offset, bytes.size()) ||
      (committed && !holdsRange(committed.get(), offset, bytes.size()))) {
    return make_error_code(std::errc::invalid_argument);
  }

  error.clear();
  if (commit && committed) {
    error = patchFile(committedFile(set), committed.get(), offset, bytes, Durability::kDurable);
  } else if (!commit && !committed) {
    error = replaceFile(committedFile(set), bytesOf(current.get()), Durability::kDurable);
  }
  if (error) return error;
  return patchFile(contentsFile(set), current.get(), offset, bytes,
                   commit ? Durability::kDurable : Durability::kVolatile);
}

std::error_code DataSets::replace(const std::string& set, std::span<const uint8_t> contents) const {
  if (!isSetName(set)) return make_error_code(std::errc::invalid_argument);
  const UnitLock lock(_folder);
  std::error_code error = replaceFile(contentsFile(set), contents, Durability::kDurable);
  if (!error) std::filesystem::remove(committedFile(set), error);
  return error;
}

std::vector<std::string> DataSets::uncommittedSets() const {
  std::vector<std::string> sets;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(_data, error)) {
    const std::filesystem::path& file = entry.path();
    if (file.extension() == ".committed") sets.push_back(file.stem().string());
  }
  std::sort(sets.begin(), sets.end());
  return sets;
}

void DataSets::reboot() const {
  const UnitLock lock(_folder);
  for (const std::string& set : uncommittedSets()) {
    std::error_code error;
    std::filesystem::rename(committedFile(set), contentsFile(set), error);
    if (!error) error = syncFolder(_data);
    if (error) throw DeviceError(contentsFile(set) + ": " + error.message());
  }
}

}  // namespace corvane::host
