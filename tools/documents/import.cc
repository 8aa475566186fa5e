#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <system_error>

#include "host/include/unit_lock.h"
#include "host/include/virtual_device.h"
#include "host/linux/system_calls.h"
#include "platform/file_descriptor.h"
#include "platform/files.h"
#include "tools/command_error.h"
#include "tools/documents/documents.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& path) {
  throw fs::filesystem_error("", path, std::error_code(errno, std::generic_category()));
}

void sync(const fs::path& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file || ::fsync(file.get()) != 0) fail(path);
}

/// Makes the folder and those above it that are missing, durably.
void createFolders(const fs::path& folder) {
  if (fs::exists(folder)) return;
  createFolders(folder.parent_path());
  fs::create_directory(folder);
  sync(folder.parent_path());
}

/// A new unit, in the same folder as the one that it replaces. The destructor removes the new unit,
/// or the replaced one when the new unit has taken its place.
class StagedUnit {
 public:
  explicit StagedUnit(const fs::path& target) : _target(target) {
    std::string name = prefix(target).string() + "XXXXXX";
    if (!::mkdtemp(name.data())) fail(target.parent_path());
    _folder = name;
  }
  ~StagedUnit() {
    std::error_code ignored;
    fs::remove_all(_folder, ignored);
  }
  StagedUnit(const StagedUnit&) = delete;
  StagedUnit& operator=(const StagedUnit&) = delete;

  /// Removes what stopped imports left. Callers hold the unit's lock, so no import is running.
  static void removeLeftovers(const fs::path& target) {
    std::error_code ignored;
    const std::string name = prefix(target).filename().string();
    for (const auto& entry : fs::directory_iterator(target.parent_path(), ignored)) {
      if (entry.path().filename().string().starts_with(name)) fs::remove_all(entry, ignored);
    }
  }

  /// Gives the new unit all that no image has: what the old one has, or what any unit has. Files
  /// are linked, not copied: the lock must stay the same file, for which other processes may be
  /// waiting.
  void fill(bool isReplaced) const {
    using enum fs::copy_options;
    if (isReplaced) {
      fs::copy(_target, _folder, recursive | copy_symlinks | create_hard_links);
    } else {
      [[maybe_unused]] const host::VirtualDevice made(_folder);
    }
    for (const auto& entry : fs::recursive_directory_iterator(_folder)) {
      const std::string path = entry.path().lexically_relative(_folder).string();
      if (entry.is_symlink() && (holdsImageFiles(path) || isImagePath(path))) {
        throw CommandError(
            kFailed, (_target / path).string() + ": is a symbolic link; the unit is as it was");
      }
      if (isImagePath(path)) {
        fs::remove(entry);
      } else if (entry.is_symlink() || entry.is_directory()) {
        takeOwner(_target / path, entry);
      }
    }
  }

  /// Writes the image's files, durably.
  void write(const UnitImage& image) const {
    for (const auto& [path, contents] : image.files) {
      const fs::path file = _folder / path;
      fs::create_directories(file.parent_path());
      const FileDescriptor output(
          ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
      if (!output || !writeAll(output.get(), contents.data(), contents.size())) fail(file);
      takeOwner(_target / path, file);
      if (::fsync(output.get()) != 0) fail(file);
    }
    for (const auto& entry : fs::recursive_directory_iterator(_folder)) {
      if (!entry.is_symlink() && entry.is_directory()) sync(entry.path());
    }
    sync(_folder);
  }

  void takeTheUnitsPlace(bool isReplaced) const {
    takeOwner(_target, _folder);
    const auto rename = [&](const fs::path& from, const fs::path& to) {
      return isReplaced ? host::exchangeFiles(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str())
                        : ::rename(from.c_str(), to.c_str()) == 0;
    };
    const FileDescriptor parent(::open(_target.parent_path().c_str(), O_RDONLY | O_CLOEXEC));
    if (!parent) fail(_target.parent_path());
    if (!rename(_folder, _target)) fail(_target);
    if (::fsync(parent.get()) == 0) return;
    const int reason = errno;
    if (!rename(_target, _folder)) {
      throw CommandError(kFailed, _target.string() +
                                      ": holds the new unit, which a power cut may undo: " +
                                      std::generic_category().message(reason));
    }
    ::fsync(parent.get());
    errno = reason;
    fail(_target.parent_path());
  }

 private:
  static fs::path prefix(const fs::path& target) {
    return target.parent_path() / ("." + target.filename().string() + ".import-");
  }

  /// Gives `to` the owner and the mode of `from`, or the unit's owner when there is no `from`.
  void takeOwner(const fs::path& from, const fs::path& to) const {
    struct stat old {};
    const bool isThere = ::lstat(from.c_str(), &old) == 0;
    if (!isThere && ::lstat(_target.c_str(), &old) != 0) {
      // A new unit. mkdtemp closed its folder to others; the user's mask decides, as for those
      // below it.
      if (to == _folder) fs::permissions(to, fs::status(_folder / "data").permissions());
      return;
    }
    // Only root may change the owner; for others it is their own already, or stays so.
    if (::lchown(to.c_str(), old.st_uid, old.st_gid) != 0 && ::geteuid() == 0) fail(to);
    if (isThere && !S_ISLNK(old.st_mode) && ::chmod(to.c_str(), old.st_mode & 07777) != 0) {
      fail(to);
    }
  }

  fs::path _target;
  fs::path _folder;
};

void install(const fs::path& target, const UnitImage& image) {
  if (!propertiesAsJson(image.file(kDeviceFile)).is_object()) {
    throw CommandError(kFailed, (target / kDeviceFile).string() +
                                    ": its new contents are not a property list; the unit is as "
                                    "it was");
  }
  const bool isReplaced = fs::exists(target / kDeviceFile);
  if (!isReplaced && fs::exists(target) && !fs::is_empty(target)) {
    throw CommandError(kFailed, target.string() + ": is not a unit, and not empty");
  }
  createFolders(target.parent_path());
  std::optional<host::UnitLock> lock;
  if (isReplaced) {
    lock.emplace(target);
    StagedUnit::removeLeftovers(target);
  }
  const StagedUnit staged(target);
  staged.fill(isReplaced);
  staged.write(image);
  staged.takeTheUnitsPlace(isReplaced);
}

}  // namespace

void installUnit(const fs::path& folder, const UnitImage& image) {
  fs::path target = fs::absolute(folder).lexically_normal();
  if (!target.has_filename()) target = target.parent_path();
  try {
    // Through links, so that a link to a unit stays one.
    install(fs::weakly_canonical(target), image);
  } catch (const host::DeviceError& error) {
    throw CommandError(kFailed, std::string(error.what()) + "; the unit is as it was");
  } catch (const fs::filesystem_error& error) {
    throw CommandError(kFailed, error.path1().string() + ": " + error.code().message() +
                                    "; the unit is as it was");
  }
}

}  // namespace corvane::tools
