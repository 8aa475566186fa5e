#ifndef CORVANE_HOST_UNIT_PROPERTY_FILE_H_
#define CORVANE_HOST_UNIT_PROPERTY_FILE_H_

#include <sys/stat.h>

#include <filesystem>
#include <mutex>

#include "platform/cf_ref.h"

namespace corvane::host {

/// The dictionary at the top of the property-list file. Throws DeviceError, naming the file and the
/// reason, when it cannot be read or holds something else.
CFRef<CFDictionaryRef> readPropertyFile(const std::filesystem::path& file);

/// The same; null when there is no such file.
CFRef<CFDictionaryRef> readPropertyFileIfPresent(const std::filesystem::path& file);

/// Puts `properties` in the file's place as XML, durably and whole. Throws DeviceError when it
/// cannot; the file is as it was then. Callers hold the unit's lock.
void writePropertyFile(const std::filesystem::path& file, CFDictionaryRef properties);

/// A property-list file that is read again only when it has changed.
class CachedPropertyFile {
 public:
  explicit CachedPropertyFile(std::filesystem::path file) : _file(std::move(file)) {}

  const std::filesystem::path& path() const { return _file; }

  /// As readPropertyFile.
  CFRef<CFDictionaryRef> copyProperties();

 private:
  const std::filesystem::path _file;
  std::mutex _mutex;
  struct stat _readAt {};
  /// Whether `_readAt` tells the file that was read from every later one.
  bool _isSettled = false;
  CFRef<CFDictionaryRef> _properties;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_UNIT_PROPERTY_FILE_H_
