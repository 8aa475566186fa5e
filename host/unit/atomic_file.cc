#include "host/unit/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace corvane::host {
namespace {

std::error_code lastError() { return {errno, std::generic_category()}; }

FileDescriptor openFile(const std::string& path, int flags) {
  return FileDescriptor(::open(path.c_str(), flags | O_CLOEXEC, 0666));
}

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
  const FileDescriptor output = openFile(beside, O_WRONLY | O_CREAT | O_TRUNC);
  if (!output) return lastError();
  struct stat old {};
  if (::stat(file.c_str(), &old) == 0 && ::fchmod(output.get(), old.st_mode & 07777) != 0) {
    return lastError();
  }
  stepDone("created");
  if (const std::error_code error = writeAll(output.get(), contents)) return error;
  stepDone("written");
  if (durability == Durability::kDurable && ::fsync(output.get()) != 0) return lastError();
  stepDone("synced");
  return {};
}

}  // namespace

void (*gReplaceStepDone)(const char* step) = nullptr;

CFRef<CFMutableDataRef> readFile(const std::string& file, std::error_code& error) {
  const FileDescriptor input = openFile(file, O_RDONLY);
  struct stat facts {};
  if (!input || ::fstat(input.get(), &facts) != 0) {
    error = lastError();
    return {};
  }
  CFRef<CFMutableDataRef> data(CFDataCreateMutable(kCFAllocatorDefault, 0));
  CFDataSetLength(data.get(), facts.st_size);
  CFIndex filled = 0;
  while (filled < facts.st_size) {
    const ssize_t count = ::read(input.get(), CFDataGetMutableBytePtr(data.get()) + filled,
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
  const FileDescriptor directory = openFile(folder, O_RDONLY | O_DIRECTORY);
  if (!directory || ::fsync(directory.get()) != 0) return lastError();
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

}  // namespace corvane::host
