#include "host/virtual_unit/property_file.h"

#include <ctime>

#include "platform/data_bytes.h"

namespace corvane::host {
namespace {

bool isSameFile(const struct stat& a, const struct stat& b) {
  return a.st_ino == b.st_ino && a.st_dev == b.st_dev && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

/// Returns whether the file's last change is so long ago that another one cannot have the same
/// time.
bool isSettled(const struct stat& file) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  constexpr time_t kMaxTimeStep = 1;
  return now.tv_sec - file.st_mtim.tv_sec > kMaxTimeStep;
}

}  // namespace

CFRef<CFDictionaryRef> readPropertyFile(const std::filesystem::path& file) {
  const auto contents = readFile(file, kMaxPropertyFile);
  if (!contents) return {};
  CFRef<CFPropertyListRef> list(CFPropertyListCreateWithData(
      kCFAllocatorDefault, contents.get(), kCFPropertyListImmutable, nullptr, nullptr));
  if (!list) failOn(file, "is not a property list");
  if (CFGetTypeID(list.get()) != CFDictionaryGetTypeID()) {
    failOn(file, "holds a property list that is not a dictionary");
  }
  return CFRef<CFDictionaryRef>(static_cast<CFDictionaryRef>(list.release()));
}

void preparePropertyFile(FileChanges& changes, const std::filesystem::path& file,
                         CFDictionaryRef properties) {
  const CFRef<CFDataRef> contents(CFPropertyListCreateData(
      kCFAllocatorDefault, properties, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  if (!contents) failOn(file, "cannot hold these properties");
  const std::span<const uint8_t> bytes = bytesOf(contents.get());
  if (bytes.size() > kMaxPropertyFile) throw FileError(file, FileFault::kTooLarge);
  changes.prepare(file, bytes);
}

CFRef<CFDictionaryRef> CachedPropertyFile::copyProperties() {
  struct stat file {};
  if (::lstat(_file.c_str(), &file) != 0) throw FileError(_file);
  const std::lock_guard lock(_mutex);
  if (!_properties || !_isSettled || !isSameFile(file, _readAt)) {
    _isSettled = isSettled(file);
    _properties = readPropertyFile(_file);
    _readAt = file;
  }
  if (!_properties) {
    throw FileError(_file, std::make_error_code(std::errc::no_such_file_or_directory));
  }
  return CFRef<CFDictionaryRef>::retaining(_properties.get());
}

}  // namespace corvane::host
