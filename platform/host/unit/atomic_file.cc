#include "platform/host/unit/atomic_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/host/device_error.h"

namespace corvane::host {
namespace {

std::error_code lastError() { return {errno, std::generic_category()}; }

/// Owns a file descriptor.
class File {
 public:
  File(const std::string& path, int flags)
      : _descriptor(::open(path.c_str(), flags | O_CLOEXEC, 0666)) {}
  ~File() {
    if (_descriptor >= 0) ::close(_descriptor);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  int descriptor() const { return _descriptor; }
  explicit operator bool() const { return _descriptor >= 0; }

 private:
  int _descriptor;
};

void stepDone(const char* step) {
  if (gReplaceStepDone) gReplaceStepDone(step);
}

std::error_code writeAll(int descriptor, std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return lastError();
    bytes = bytes.subspan(static_cast<size_t>(written));
  }
  return {};
}

/// Writes the new contents beside the file, with the file's permissions when there is one.
std::error_code writeBeside(const std::filesystem::path& file, const std::filesystem::path& beside,
                            std::span<const uint8_t> contents, Durability durability) {
  const File output(beside, O_WRONLY | O_CREAT | O_TRUNC);
  if (!output) return lastError();
  struct stat old {};
  if (::stat(file.c_str(), &old) == 0 && ::fchmod(output.descriptor(), old.st_mode & 07777) != 0) {
    return lastError();
  }
  stepDone("created");
  if (const std::error_code error = writeAll(output.descriptor(), contents)) return error;
  stepDone("written");
  if (durability == Durability::kDurable && ::fsync(output.descriptor()) != 0) return lastError();
  stepDone("synced");
  return {};
}

}  // namespace

void (*gReplaceStepDone)(const char* step) = nullptr;

CFRef<CFMutableDataRef> readFile(const std::string& file, std::error_code& error) {
  const File input(file, O_RDONLY);
  struct stat facts {};
  if (!input || ::fstat(input.descriptor(), &facts) != 0) {
    error = lastError();
    return {};
  }
  CFRef<CFMutableDataRef> data(CFDataCreateMutable(kCFAllocatorDefault, 0));
  CFDataSetLength(data.get(), facts.st_size);
  CFIndex filled = 0;
  while (filled < facts.st_size) {
    const ssize_t count = ::read(input.descriptor(), CFDataGetMutableBytePtr(data.get()) + filled,
                                 static_cast<size_t>(facts.st_size - filled));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      error = lastError();
      return {};
    }
    if (count == 0) break;
    filled += count;
  }
  if (filled < facts.st_size) CFDataSetLength(data.get(), filled);
  return data;
}

std::error_code syncFolder(const std::filesystem::path& folder) {
  const File directory(folder, O_RDONLY | O_DIRECTORY);
  if (!directory || ::fsync(directory.descriptor()) != 0) return lastError();
  return {};
}

std::error_code replaceFile(const std::filesystem::path& file, std::span<const uint8_t> contents,
                            Durability durability) {
  // One name, reused: what an interrupted replacement leaves behind is overwritten by the next.
  std::string name = ".";
  name += file.filename().native();
  name += ".new";
  const std::filesystem::path beside = file.parent_path() / name;
  std::error_code error = writeBeside(file, beside, contents, durability);
  if (!error && ::rename(beside.c_str(), file.c_str()) != 0) error = lastError();
  if (error) {
    ::unlink(beside.c_str());
    return error;
  }
  stepDone("renamed");
  if (durability == Durability::kDurable) error = syncFolder(file.parent_path());
  stepDone("folder synced");
  return error;
}

FolderLock::FolderLock(const std::filesystem::path& folder) {
  const std::filesystem::path name = folder / ".lock";
  _file = ::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  int locked = _file;
  if (_file >= 0) {
    do {
      locked = ::flock(_file, LOCK_EX);
    } while (locked != 0 && errno == EINTR);
  }
  if (locked >= 0) return;
  const std::error_code error = lastError();
  if (_file >= 0) ::close(_file);
  throw DeviceError(name.string() + ": " + error.message());
}

FolderLock::~FolderLock() { ::close(_file); }

}  // namespace corvane::host
