#ifndef CORVANE_HOST_VIRTUAL_UNIT_PROPERTY_FILE_H_
#define CORVANE_HOST_VIRTUAL_UNIT_PROPERTY_FILE_H_

#include <sys/stat.h>

#include <filesystem>
#include <mutex>

#include "host/virtual_unit/unit_file.h"
#include "platform/cf_ref.h"

namespace corvane::host {

/// Returns the dictionary at the top of the property-list file; null when there is no such file.
/// Throws DeviceError, naming the file and the reason, when it cannot be read or holds something
/// else.
CFRef<CFDictionaryRef> readPropertyFile(const std::filesystem::path& file);

/// Prepares `properties` to become the file's contents, as XML. Throws DeviceError.
void preparePropertyFile(FileChanges& changes, const std::filesystem::path& file,
                         CFDictionaryRef properties);

/// A property-list file that is read again only when it has changed.
class CachedPropertyFile {
 public:
  explicit CachedPropertyFile(std::filesystem::path file) : _file(std::move(file)) {}

  const std::filesystem::path& path() const { return _file; }

  /// Returns the dictionary as readPropertyFile does, except that a missing file is an error, too.
  CFRef<CFDictionaryRef> copyProperties();

 private:
  const std::filesystem::path _file;
  std::mutex _mutex;
  struct stat _readAt {};
  /// Whether `_readAt` distinguishes the file that was read from every later one.
  bool _isSettled = false;
  CFRef<CFDictionaryRef> _properties;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_VIRTUAL_UNIT_PROPERTY_FILE_H_
