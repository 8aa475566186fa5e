#include "host/virtual_unit/data_sets.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "host/include/unit_lock.h"
#include "host/virtual_unit/unit_file.h"
#include "platform/data_bytes.h"
#include "platform/text.h"

namespace corvane::host {
namespace {

constexpr std::string_view kCommittedSuffix = ".committed";

/// Returns whether `set` can be the name of a file in the data folder.
bool isSetName(const std::string& set) {
  // A file name has at most 255 bytes, of which the longest temporary name adds 32.
  constexpr size_t kMaxNameLength = 223;
  return !set.empty() && set.size() <= kMaxNameLength && set.front() != '.' &&
         set.find('/') == std::string::npos && set.find('\0') == std::string::npos;
}

bool holdsRange(CFDataRef data, uint64_t offset, uint64_t length) {
  const auto size = static_cast<uint64_t>(CFDataGetLength(data));
  return offset <= size && length <= size - offset;
}

/// Puts `bytes` at `offset` of `contents` and returns the whole.
std::span<const uint8_t> patched(CFMutableDataRef contents, uint64_t offset,
                                 std::span<const uint8_t> bytes) {
  std::copy(bytes.begin(), bytes.end(), bytesOf(contents).begin() + static_cast<ptrdiff_t>(offset));
  return bytesOf(contents);
}

}  // namespace

DataSets::DataSets(const std::filesystem::path& folder)
    : _folder(folder), _data((folder / "data").string()) {}

DataSets::~DataSets() {
  for (const ReadSet* set = _readSets; set;) delete std::exchange(set, set->next);
}

std::string DataSets::contentsFile(const std::string& set) const {
  std::string file;
  file.reserve(_data.size() + set.size() + 5);
  return file.append(_data).append("/").append(set).append(".bin");
}

std::string DataSets::committedFile(const std::string& set) const {
  return (_data + "/" + set).append(kCommittedSuffix);
}

CFRef<CFMutableDataRef> DataSets::copyContents(const std::string& set) const {
  if (!isSetName(set)) return {};
  return readFile(contentsFile(set), kMaxDataSet);
}

CFRef<CFMutableDataRef> DataSets::copyContents(CFStringRef set) const {
  if (const ReadSet* known = findReadSet(set)) return readFile(known->file, kMaxDataSet);
  const std::string name = utf8Bytes(set);
  CFRef<CFMutableDataRef> contents = copyContents(name);
  if (contents) remember(set, contentsFile(name));
  return contents;
}

const DataSets::ReadSet* DataSets::findReadSet(CFStringRef name) const {
  const ReadSet* set = _readSets;
  while (set && !CFEqual(set->name.get(), name)) set = set->next;
  return set;
}

void DataSets::remember(CFStringRef name, std::string file) const {
  // A copy, since the caller may change its own.
  CFRef<CFStringRef> copy(CFStringCreateMutableCopy(kCFAllocatorDefault, 0, name));
  if (!copy) return;
  auto* set = new ReadSet{std::move(copy), std::move(file), _readSets};
  while (!_readSets.compare_exchange_weak(set->next, set)) {
  }
}

void DataSets::write(const std::string& set, uint64_t offset, std::span<const uint8_t> bytes,
                     bool commit) const {
  const std::string file = contentsFile(set);
  if (!isSetName(set)) throw FileError(file, make_error_code(std::errc::no_such_file_or_directory));
  const UnitLock lock(_folder);
  const auto current = readFile(file, kMaxDataSet);
  if (!current) throw FileError(file, make_error_code(std::errc::no_such_file_or_directory));
  const auto committed = readFile(committedFile(set), kMaxDataSet);
  if (!holdsRange(current.get(), offset, bytes.size()) ||
      (committed && !holdsRange(committed.get(), offset, bytes.size()))) {
    throw FileError(file, make_error_code(std::errc::invalid_argument));
  }

  // The committed contents first: once a change can be seen, a reboot must not take it away.
  FileChanges changes;
  if (commit && committed) {
    changes.prepare(committedFile(set), patched(committed.get(), offset, bytes));
  } else if (!commit && !committed) {
    changes.prepare(committedFile(set), bytesOf(current.get()), Durability::kDurable, file);
  }
  changes.prepare(file, patched(current.get(), offset, bytes),
                  commit ? Durability::kDurable : Durability::kVolatile);
  changes.apply();
}

void DataSets::replace(const std::string& set, std::span<const uint8_t> contents) const {
  const std::string file = contentsFile(set), committed = committedFile(set);
  if (!isSetName(set)) throw FileError(file, make_error_code(std::errc::invalid_argument));
  if (contents.size() > kMaxDataSet) throw FileError(file, FileFault::kTooLarge);
  const UnitLock lock(_folder);
  FileChanges changes;
  if (isThere(committed)) changes.prepare(committed, contents);
  changes.prepare(file, contents);
  changes.apply();
  removeCommittedFile(set);
}

std::vector<std::string> DataSets::uncommittedSets() const {
  std::vector<std::string> sets;
  if (!isThere(_data)) return sets;
  for (std::string& name : namesIn(_data)) {
    if (!name.ends_with(kCommittedSuffix) || name.starts_with('.')) continue;
    name.resize(name.size() - kCommittedSuffix.size());
    sets.push_back(std::move(name));
  }
  std::sort(sets.begin(), sets.end());
  return sets;
}

void DataSets::reboot() const {
  const UnitLock lock(_folder);
  const std::vector<std::string> sets = uncommittedSets();
  FileChanges changes;
  for (const std::string& set : sets) changes.prepareLink(contentsFile(set), committedFile(set));
  changes.apply();
  for (const std::string& set : sets) removeCommittedFile(set);
}

/// Removes the file of the committed contents. Both files hold the same contents by now, so that
/// nothing is lost when this fails.
void DataSets::removeCommittedFile(const std::string& set) const {
  if (::unlink(committedFile(set).c_str()) != 0) return;
  try {
    syncFolder(_data);
  } catch (const FileError&) {
    return;
  }
}

}  // namespace corvane::host
