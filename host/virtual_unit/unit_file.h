#ifndef CORVANE_HOST_VIRTUAL_UNIT_UNIT_FILE_H_
#define CORVANE_HOST_VIRTUAL_UNIT_UNIT_FILE_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "host/include/device_error.h"
#include "platform/cf_ref.h"
#include "platform/file_descriptor.h"

/// Reads and changes a unit's files. A user who can write to the unit's folder can put anything in
/// the place of a file or a folder, so only regular files of a bounded size are read, nothing is
/// changed through a symbolic link, and no open waits for another process. Paths have no
/// symbolic links above the unit's folder (std::filesystem::canonical).
namespace corvane::host {

/// Bounds of the files that are read, in bytes.
inline constexpr size_t kMaxDataSet = size_t{64} << 20;
inline constexpr size_t kMaxPropertyFile = size_t{16} << 20;

/// Reasons that this layer adds to the system's.
enum class FileFault { kSymbolicLink = 1, kBelowSymbolicLink, kNotRegular, kTooLarge };
std::error_code make_error_code(FileFault fault);

/// A file cannot be read or changed; the text is "FILE: reason".
class FileError : public DeviceError {
 public:
  FileError(const std::filesystem::path& file, const std::error_code& code);
  /// Takes the reason from errno.
  explicit FileError(const std::filesystem::path& file);

  const std::error_code& code() const { return _code; }

 private:
  std::error_code _code;
};

/// Throws DeviceError with the text "FILE: reason".
[[noreturn]] void failOn(const std::filesystem::path& file, const std::string& reason);

/// Opens the folder, for reading its entries or for changing them. Throws FileError.
FileDescriptor openFolder(const std::filesystem::path& folder);

/// Opens the regular file for appending, with further flags for open. Makes it when it is missing;
/// one that root makes goes to the folder's owner, who could not change it otherwise. Returns no
/// file, with the reason in `errno`, when that fails.
FileDescriptor openForAppending(const std::string& file, int flags);

/// Returns the file's contents; null when there is no such file. Throws FileError when it cannot be
/// read, is not a regular file, or holds more than `maxSize` bytes.
CFRef<CFMutableDataRef> readFile(const std::string& file, size_t maxSize);

/// Returns whether anything, even a broken link, is at `path`. Throws FileError when that cannot be
/// determined.
bool isThere(const std::filesystem::path& path);

/// Returns the names of what the folder holds, except "." and "..". Throws FileError.
std::vector<std::string> namesIn(const std::filesystem::path& folder);

/// kDurable: when the change returns, no power cut takes it away. kVolatile: a power cut leaves
/// what was before the change or what is after it.
enum class Durability { kDurable, kVolatile };

/// Makes the folder as mkdir does: what root makes goes to the owner of the folder above. Returns
/// whether it did; the reason is in `errno`.
bool createFolder(const std::string& folder, mode_t mode);

/// Makes the folder and what is missing above it. Throws FileError.
void createFolders(const std::filesystem::path& folder, Durability durability);

/// Makes every creation, renaming and removal in the folder durable. Throws FileError.
void syncFolder(const std::filesystem::path& folder);

/// Gives `file`, which this process has just made in `folder`, to the folder's owner when this is
/// root. Both are open. Returns whether that worked; the reason is in `errno`.
bool giveToOwnerOf(int folder, int file);

/// Returns whether `name` is one that an interrupted change can leave in a folder.
bool isTemporaryName(std::string_view name);

/// Removes what interrupted changes left in the folder. Callers hold the unit's lock. Files that
/// cannot be removed stay, and do no harm.
void removeTemporaryFiles(const std::filesystem::path& folder);

/// Replaces one or more files together or, on any failure, none of them. Each file is replaced
/// atomically: readers, kills and power cuts see its old or its new contents. Callers hold the
/// unit's lock.
///
///     FileChanges changes;
///     changes.prepare(first, contents);    // all that needs space on the disk
///     changes.prepare(second, contents);
///     changes.apply();
class FileChanges {
 public:
  FileChanges() = default;
  /// Removes what was prepared and not applied.
  ~FileChanges();
  FileChanges(const FileChanges&) = delete;
  FileChanges& operator=(const FileChanges&) = delete;

  /// Writes the new contents of `file` to a temporary file beside it, on the disk. They get the
  /// owner and mode of the file that they replace; without one, those of `model` if given, else the
  /// folder's owner. Throws FileError.
  void prepare(const std::filesystem::path& file, std::span<const uint8_t> contents,
               Durability durability = Durability::kDurable,
               const std::filesystem::path& model = {});

  /// Prepares `file` to become a second name of `source`, a file of the same folder, which takes no
  /// space on the disk where the file system has links. Throws FileError.
  void prepareLink(const std::filesystem::path& file, const std::filesystem::path& source);

  /// Puts everything that was prepared in its place, in order, each durable before the next. When
  /// that fails, puts back what was there and throws FileError.
  void apply();

 private:
  /// What undoing a change takes.
  enum class Undo { kNothing, kPutBack, kRemove };

  struct Change {
    std::filesystem::path file;
    FileDescriptor folder;
    std::string name;
    /// In the same folder: the new contents until they are put in place, then what they replaced.
    std::string temporary;
    Durability durability;
    Undo undo = Undo::kNothing;
  };

  Change& add(const std::filesystem::path& file, Durability durability);
  static void putInPlace(Change& change);
  void undoAll();

  std::vector<Change> _changes;
};

}  // namespace corvane::host

template <>
struct std::is_error_code_enum<corvane::host::FileFault> : std::true_type {};

#endif  // CORVANE_HOST_VIRTUAL_UNIT_UNIT_FILE_H_
