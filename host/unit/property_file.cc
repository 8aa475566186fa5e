#include "host/unit/property_file.h"

#include <cerrno>
#include <ctime>
#include <system_error>

#include "host/device_error.h"
#include "host/unit/atomic_file.h"

namespace corvane::host {
namespace {

[[noreturn]] void fail(const std::filesystem::path& file, const std::string& reason) {
  throw DeviceError(file.string() + ": " + reason);
}

bool isSameFile(const struct stat& a, const struct stat& b) {
  return a.st_ino == b.st_ino && a.st_dev == b.st_dev && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

/// Whether the file's last change is so long ago that another one cannot have the same time.
bool isSettled(const struct stat& file) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  constexpr time_t kCoarsestStep = 1;
  return now.tv_sec - file.st_mtim.tv_sec > kCoarsestStep;
}

}  // namespace

CFRef<CFDictionaryRef> readPropertyFile(const std::filesystem::path& file) {
  std::error_code error;
  const auto contents = readFile(file, error);
  if (!contents) fail(file, error.message());
  CFRef<CFPropertyListRef> list(CFPropertyListCreateWithData(
      kCFAllocatorDefault, contents.get(), kCFPropertyListImmutable, nullptr, nullptr));
  if (!list) fail(file, "is not a property list");
  if (CFGetTypeID(list.get()) != CFDictionaryGetTypeID()) {
    fail(file, "holds a property list that is not a dictionary");
  }
  return CFRef<CFDictionaryRef>(static_cast<CFDictionaryRef>(list.release()));
}

CFRef<CFDictionaryRef> readPropertyFileIfPresent(const std::filesystem::path& file) {
  std::error_code error;
  const auto status = std::filesystem::symlink_status(file, error);
  if (status.type() == std::filesystem::file_type::not_found) return {};
  return readPropertyFile(file);
}

void writePropertyFile(const std::filesystem::path& file, CFDictionaryRef properties) {
  const CFRef<CFDataRef> contents(CFPropertyListCreateData(
      kCFAllocatorDefault, properties, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  if (!contents) fail(file, "cannot hold these properties");
  const std::error_code error = replaceFile(
      file,
      {CFDataGetBytePtr(contents.get()), static_cast<size_t>(CFDataGetLength(contents.get()))},
      Durability::kDurable);
  if (error) fail(file, error.message());
}

CFRef<CFDictionaryRef> CachedPropertyFile::copyProperties() {
  struct stat file {};
  if (::stat(_file.c_str(), &file) != 0) {
    fail(_file, std::error_code(errno, std::generic_category()).message());
  }
  const std::lock_guard lock(_mutex);
  if (!_properties || !_isSettled || !isSameFile(file, _readAt)) {
    _isSettled = isSettled(file);
    _properties = readPropertyFile(_file);
    _readAt = file;
  }
  return CFRef<CFDictionaryRef>::retaining(_properties.get());
}

}  // namespace corvane::host
