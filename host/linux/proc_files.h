#ifndef CORVANE_HOST_LINUX_PROC_FILES_H_
#define CORVANE_HOST_LINUX_PROC_FILES_H_

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/file_descriptor.h"

namespace corvane::host {

/// `prefix`, the id, "/" and `file`: a path in /proc, put together without touching the heap.
class IdPath {
 public:
  IdPath(std::string_view prefix, int32_t id, std::string_view file);

  const char* get() const { return _text.data(); }

 private:
  std::array<char, 64> _text;
};

/// A folder of /proc, or none, kept open so that what lies in it is found without going over its
/// own path again.
class ProcFolder {
 public:
  ProcFolder() = default;
  explicit ProcFolder(const char* path);

  /// Replaces `ids` by the entries that are numbers, in rising order. False when the folder cannot
  /// be read.
  bool listNumbers(std::vector<int32_t>& ids) const;

  /// The beginning of the file at `path`, which counts from the folder unless it is absolute, as
  /// one read gives it in `buffer`; nothing when that cannot be done.
  std::optional<std::string_view> readStart(const char* path, std::span<char> buffer) const;

 private:
  FileDescriptor _folder;
};

/// The whole file; empty when it cannot be read.
std::string readWhole(const char* path);

/// Where the link at `path` points; empty when that cannot be told.
std::string linkTarget(const char* path);

}  // namespace corvane::host

#endif  // CORVANE_HOST_LINUX_PROC_FILES_H_
