#ifndef EXAMPLES_LOAD_STORAGE_H_
#define EXAMPLES_LOAD_STORAGE_H_

#include <cstddef>
#include <filesystem>
#include <string>

namespace load {

/// What a check of the storage found.
struct StorageResult {
  double writeSpeed = 0;  ///< Megabytes a second, with the sync to the disk.
  double readSpeed = 0;   ///< Megabytes a second, without the system's cache where possible.
  /// What went wrong; empty when nothing did.
  std::string fault;
};

/// Writes a file of `size` bytes in `folder`, which is made when it is missing, reads it back,
/// compares it, and removes it.
StorageResult checkStorage(const std::filesystem::path& folder, size_t size);

}  // namespace load

#endif  // EXAMPLES_LOAD_STORAGE_H_
