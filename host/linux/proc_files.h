#ifndef CORVANE_HOST_LINUX_PROC_FILES_H_
#define CORVANE_HOST_LINUX_PROC_FILES_H_

#include <array>
#include <climits>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_descriptor.h"

namespace corvane::host {

/// A path that ends in an id and, below it, a file: "/proc/", 12 and "stat" make "/proc/12/stat".
/// Made without touching the heap.
class IdPath {
 public:
  /// Makes the path, or "" when it would be too long.
  IdPath(std::string_view prefix, int32_t id, std::string_view file);

  const char* get() const { return _text.data(); }

 private:
  std::array<char, PATH_MAX> _text;
};

/// An open folder of /proc, or no folder. Its files are found without walking its own path again. A
/// function that fails leaves the reason in `errno`.
class ProcFolder {
 public:
  ProcFolder() = default;
  explicit ProcFolder(const char* path);

  explicit operator bool() const { return static_cast<bool>(_folder); }

  /// Replaces `ids` by the entries that are numbers, in ascending order. Returns false when the
  /// folder cannot be read.
  bool listNumbers(std::vector<int32_t>& ids) const;

  /// Returns the beginning of a file, as one read gives it in `buffer`, or nothing when it cannot
  /// be read. `path` is relative to the folder unless it is absolute.
  std::optional<std::string_view> readStart(const char* path, std::span<char> buffer) const;

 private:
  FileDescriptor _folder;
};

/// Returns the contents of the file, or nothing, with the reason in `errno`, when it cannot be
/// read.
std::optional<std::string> readWhole(const char* path);

/// Returns the target of the symbolic link, or "", with the reason in `errno`, when it cannot be
/// read.
std::string linkTarget(const char* path);

}  // namespace corvane::host

#endif  // CORVANE_HOST_LINUX_PROC_FILES_H_
