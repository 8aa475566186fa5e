#include "host/virtual_unit/unit_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "host/linux/link_free_open.h"
#include "host/linux/system_calls.h"
#include "platform/data_bytes.h"
#include "platform/files.h"

namespace corvane::host {
namespace {

namespace fs = std::filesystem;

class FaultCategory : public std::error_category {
 public:
  const char* name() const noexcept override { return "unit file"; }
  std::string message(int fault) const override {
    switch (static_cast<FileFault>(fault)) {
      case FileFault::kSymbolicLink:
        return "is a symbolic link";
      case FileFault::kBelowSymbolicLink:
        return "is reached through a symbolic link";
      case FileFault::kNotRegular:
        return "is not a regular file";
      case FileFault::kTooLarge:
        return "is larger than any file of a unit";
    }
    return "cannot be used";
  }
};

constexpr std::string_view kTemporarySuffix = ".new";
constexpr size_t kTemporaryDigits = 16;

/// Returns ".NAME.0123456789abcdef.new"; no other process can predict it and create the file first.
std::string temporaryName(const std::string& name) {
  uint64_t number = 0;
  if (::getrandom(&number, sizeof number, 0) != sizeof number) throw FileError(name);
  char digits[kTemporaryDigits + 1];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(number));
  return "." + name + "." + digits + std::string(kTemporarySuffix);
}

/// Stores the attributes of the file `name` of `folder` in `facts`. Returns false when there is
/// none. Throws FileError when it is not a regular file.
bool describe(int folder, const std::string& name, const fs::path& file, struct stat& facts) {
  if (::fstatat(folder, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return false;
    throw FileError(file);
  }
  if (S_ISLNK(facts.st_mode)) throw FileError(file, FileFault::kSymbolicLink);
  if (!S_ISREG(facts.st_mode)) throw FileError(file, FileFault::kNotRegular);
  return true;
}

/// Gives the new file `descriptor` the owner and mode of the old one that `facts` describes. Only
/// root can keep another user's ownership; others keep at least the mode.
void keepOwnerAndMode(const fs::path& file, int descriptor, const struct stat& facts) {
  if (::fchown(descriptor, facts.st_uid, facts.st_gid) != 0 &&
      ::fchown(descriptor, static_cast<uid_t>(-1), facts.st_gid) != 0 && errno != EPERM) {
    throw FileError(file);
  }
  if (::fchmod(descriptor, facts.st_mode & 0777) != 0) throw FileError(file);
}

/// Returns the contents of the file that `input` is open on. Throws FileError when it is not a
/// regular file or holds more than `maxSize` bytes.
CFRef<CFMutableDataRef> readOpenFile(const std::string& file, int input, size_t maxSize) {
  struct stat facts {};
  if (::fstat(input, &facts) != 0) throw FileError(file);
  if (!S_ISREG(facts.st_mode)) throw FileError(file, FileFault::kNotRegular);
  if (static_cast<uint64_t>(facts.st_size) > maxSize) {
    throw FileError(file, FileFault::kTooLarge);
  }
  CFRef<CFMutableDataRef> data(CFDataCreateMutable(kCFAllocatorDefault, 0));
  CFDataSetLength(data.get(), facts.st_size);
  CFIndex filled = 0;
  while (filled < facts.st_size) {
    const ssize_t count = ::pread(input, CFDataGetMutableBytePtr(data.get()) + filled,
                                  static_cast<size_t>(facts.st_size - filled), filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw FileError(file);
    if (count == 0) break;
    filled += count;
  }
  if (filled < facts.st_size) CFDataSetLength(data.get(), filled);
  return data;
}

/// Makes the entry of `folder` in the one above it durable.
void syncEntry(const fs::path& folder) {
  try {
    syncFolder(folder.parent_path());
  } catch (const FileError& error) {
    // A folder that may not be listed can still be synced with its file system.
    if (error.code() != std::errc::permission_denied || !syncFileSystem(openFolder(folder).get())) {
      throw;
    }
  }
}

}  // namespace

std::error_code make_error_code(FileFault fault) {
  static const FaultCategory category;
  return {static_cast<int>(fault), category};
}

FileError::FileError(const fs::path& file, const std::error_code& code)
    : DeviceError(file.string() + ": " + code.message()), _code(code) {}

FileError::FileError(const fs::path& file)
    : FileError(file, std::error_code(errno, std::generic_category())) {}

void failOn(const fs::path& file, const std::string& reason) {
  throw DeviceError(file.string() + ": " + reason);
}

FileDescriptor openFolder(const fs::path& folder) {
  auto descriptor = openLinkFree(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (!descriptor && errno == ELOOP) throw FileError(folder, FileFault::kBelowSymbolicLink);
  if (!descriptor) throw FileError(folder);
  return descriptor;
}

FileDescriptor openForAppending(const std::string& file, int flags) {
  flags |= O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  FileDescriptor output = openLinkFree(file.c_str(), flags);
  if (!output && errno == ENOENT) {
    const fs::path path = file;
    const FileDescriptor folder = openPlace(path.parent_path().c_str());
    if (!folder) return {};
    const std::string name = path.filename();
    output = FileDescriptor(::openat(folder.get(), name.c_str(), flags | O_CREAT | O_EXCL, 0666));
    if (output) {
      // When that fails it stays root's.
      [[maybe_unused]] const bool isGiven = giveToOwnerOf(folder.get(), output.get());
      return output;
    }
    if (errno == EEXIST) output = openLinkFree(file.c_str(), flags);
  }
  struct stat facts {};
  if (!output || ::fstat(output.get(), &facts) != 0) return {};
  if (S_ISREG(facts.st_mode)) return output;
  errno = EINVAL;
  return {};
}

CFRef<CFMutableDataRef> readFile(const std::string& file, size_t maxSize) {
  const FileDescriptor input(
      ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (!input) {
    if (errno == ENOENT) return {};
    if (errno == ELOOP) throw FileError(file, FileFault::kSymbolicLink);
    if (errno == ENXIO) throw FileError(file, FileFault::kNotRegular);  // A socket.
    throw FileError(file);
  }
  // Most files fit into one block and need no other call. readOpenFile examines a file that gives
  // no bytes or fills the block, and what has no positions, such as a pipe, which fails here.
  std::array<uint8_t, 4096> block;
  const ssize_t count = ::pread(input.get(), block.data(), block.size(), 0);
  if (count <= 0 || static_cast<size_t>(count) == block.size()) {
    return readOpenFile(file, input.get(), maxSize);
  }
  CFRef<CFMutableDataRef> data(CFDataCreateMutable(kCFAllocatorDefault, 0));
  CFDataAppendBytes(data.get(), block.data(), count);
  return data;
}

bool isThere(const fs::path& path) {
  struct stat facts {};
  if (::lstat(path.c_str(), &facts) == 0) return true;
  if (errno == ENOENT) return false;
  throw FileError(path);
}

std::vector<std::string> namesIn(const fs::path& folder) {
  const FileDescriptor opened = openFolder(folder);
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(
      ::fdopendir(::fcntl(opened.get(), F_DUPFD_CLOEXEC, 0)), ::closedir);
  if (!directory) throw FileError(folder);
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* entry = ::readdir(directory.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
    errno = 0;
  }
  if (errno != 0) throw FileError(folder);
  return names;
}

bool createFolder(const std::string& folder, mode_t mode) {
  // Most folders exist, which one call tells.
  if (::access(folder.c_str(), F_OK) == 0) {
    errno = EEXIST;
    return false;
  }
  const fs::path path = folder;
  const FileDescriptor above = openPlace(path.parent_path().c_str());
  const std::string name = path.filename();
  if (!above || ::mkdirat(above.get(), name.c_str(), mode) != 0) return false;
  if (::geteuid() == 0) {
    const FileDescriptor made(
        ::openat(above.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    [[maybe_unused]] const bool isGiven = made && giveToOwnerOf(above.get(), made.get());
  }
  return true;
}

void createFolders(const fs::path& folder, Durability durability) {
  const fs::path above = folder.parent_path();
  if (above == folder) return;
  FileDescriptor opened = openPlace(above.c_str());
  const bool isAboveMissing = !opened && errno == ENOENT;
  if (isAboveMissing) {
    createFolders(above, durability);
    opened = openPlace(above.c_str());
  }
  if (!opened && errno == ELOOP) throw FileError(above, FileFault::kBelowSymbolicLink);
  if (!opened) throw FileError(folder);
  if (::mkdirat(opened.get(), folder.filename().c_str(), 0777) != 0 && errno != EEXIST) {
    throw FileError(folder);
  }
  if (durability == Durability::kVolatile) return;
  syncEntry(folder);
  // The process that made the last folder may have been killed before it synced it.
  if (!isAboveMissing && above.has_relative_path()) syncEntry(above);
}

void syncFolder(const fs::path& folder) {
  if (::fsync(openFolder(folder).get()) != 0) throw FileError(folder);
}

bool giveToOwnerOf(int folder, int file) {
  if (::geteuid() != 0) return true;
  struct stat place {};
  struct stat facts {};
  if (::fstat(folder, &place) != 0 || ::fstat(file, &facts) != 0) return false;
  return facts.st_uid == place.st_uid || ::fchown(file, place.st_uid, place.st_gid) == 0;
}

bool isTemporaryName(std::string_view name) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  if (!name.starts_with('.') || !name.ends_with(kTemporarySuffix)) return false;
  name.remove_suffix(kTemporarySuffix.size());
  const size_t dot = name.rfind('.');
  const std::string_view digits = name.substr(dot + 1);
  return dot > 0 && digits.size() == kTemporaryDigits &&
         digits.find_first_not_of(kDigits) == std::string_view::npos;
}

void removeTemporaryFiles(const fs::path& folder) {
  try {
    const FileDescriptor opened = openFolder(folder);
    for (const std::string& name : namesIn(folder)) {
      if (isTemporaryName(name)) ::unlinkat(opened.get(), name.c_str(), 0);
    }
  } catch (const FileError&) {
    return;
  }
}

FileChanges::~FileChanges() {
  for (const Change& change : _changes) {
    if (!change.temporary.empty()) ::unlinkat(change.folder.get(), change.temporary.c_str(), 0);
  }
}

FileChanges::Change& FileChanges::add(const fs::path& file, Durability durability) {
  // The folder stays open, so that all steps mean the same one, and a folder that cannot be synced
  // is known before anything is changed.
  _changes.push_back({file, openFolder(file.parent_path()), file.filename(), {}, durability});
  return _changes.back();
}

void FileChanges::prepare(const fs::path& file, std::span<const uint8_t> contents,
                          Durability durability, const fs::path& model) {
  Change& change = add(file, durability);
  const int folder = change.folder.get();
  struct stat facts {};
  const bool hasModel = describe(folder, change.name, file, facts) ||
                        (!model.empty() && describe(folder, model.filename(), model, facts));

  const std::string temporary = temporaryName(change.name);
  const FileDescriptor output(::openat(folder, temporary.c_str(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (!output) throw FileError(file);
  change.temporary = temporary;
  if (hasModel) {
    keepOwnerAndMode(file, output.get(), facts);
  } else if (!giveToOwnerOf(folder, output.get())) {
    throw FileError(file);
  }
  if (!writeAll(output.get(), contents.data(), contents.size())) throw FileError(file);
  // Volatile changes, too: a rename can reach the disk before the data of the file that it moves.
  if (::fsync(output.get()) != 0) throw FileError(file);
}

void FileChanges::prepareLink(const fs::path& file, const fs::path& source) {
  Change& change = add(file, Durability::kDurable);
  struct stat facts {};
  if (!describe(change.folder.get(), source.filename(), source, facts)) throw FileError(source);
  const std::string temporary = temporaryName(change.name);
  if (::linkat(change.folder.get(), source.filename().c_str(), change.folder.get(),
               temporary.c_str(), 0) == 0) {
    change.temporary = temporary;
    return;
  }
  // The file system has no links, so that this takes space.
  _changes.pop_back();
  const auto contents = readFile(source, kMaxDataSet);
  if (!contents)
    throw FileError(source, std::make_error_code(std::errc::no_such_file_or_directory));
  prepare(file, bytesOf(contents.get()), Durability::kDurable, source);
}

void FileChanges::putInPlace(Change& change) {
  const int folder = change.folder.get();
  const char* name = change.name.c_str();
  const char* temporary = change.temporary.c_str();
  if (exchangeFiles(folder, temporary, folder, name)) {
    change.undo = Undo::kPutBack;
    return;
  }
  // There is no file yet, or the file system cannot exchange two. Without exchange a link keeps the
  // old file; where there are no links either, there is no way back from a failed sync.
  const std::string kept = temporaryName(change.name);
  const bool isKept = errno != ENOENT && ::linkat(folder, name, folder, kept.c_str(), 0) == 0;
  const bool isNew = !isKept && ::faccessat(folder, name, F_OK, AT_SYMLINK_NOFOLLOW) != 0;
  if (::renameat(folder, temporary, folder, name) != 0) {
    const int error = errno;
    if (isKept) ::unlinkat(folder, kept.c_str(), 0);
    errno = error;
    throw FileError(change.file);
  }
  change.temporary = isKept ? kept : "";
  change.undo = isKept ? Undo::kPutBack : isNew ? Undo::kRemove : Undo::kNothing;
}

void FileChanges::undoAll() {
  for (auto change = _changes.rbegin(); change != _changes.rend(); ++change) {
    const int folder = change->folder.get();
    if (change->undo == Undo::kPutBack) {
      ::renameat(folder, change->temporary.c_str(), folder, change->name.c_str());
      change->temporary.clear();
    } else if (change->undo == Undo::kRemove) {
      ::unlinkat(folder, change->name.c_str(), 0);
    }
    if (change->undo != Undo::kNothing) ::fsync(folder);
  }
}

void FileChanges::apply() {
  try {
    for (Change& change : _changes) {
      putInPlace(change);
      if (change.durability == Durability::kDurable && ::fsync(change.folder.get()) != 0) {
        throw FileError(change.file);
      }
    }
  } catch (...) {
    undoAll();
    throw;
  }
}

}  // namespace corvane::host
