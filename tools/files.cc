#include "tools/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "platform/file_descriptor.h"
#include "tools/command_error.h"

namespace corvane::tools {
namespace {

[[noreturn]] void fail(ExitStatus status, const std::string& path) {
  throw CommandError(status, path + ": " + std::strerror(errno));
}

/// Creates a file in the folder of `target` under an unpredictable name and stores its path in
/// `name`. The file has the mode of `target`, or that of any new file when there is no target.
/// Returns null when it cannot be created.
ScopedFile openBeside(const std::string& target, std::string& name) {
  name = target + ".XXXXXX";
  const int descriptor = ::mkostemp(name.data(), O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  struct stat old {};
  // Looked at once: the look takes it away for a moment, from other threads, too.
  static const mode_t mask = [] {
    const mode_t held = ::umask(0);
    ::umask(held);
    return held;
  }();
  const bool isThere = ::stat(target.c_str(), &old) == 0;
  // A file system without modes refuses to set one.
  const bool hasMode =
      ::fchmod(descriptor, isThere ? old.st_mode & 07777 : 0666 & ~mask) == 0 || errno == EPERM;
  ScopedFile file(hasMode ? ::fdopen(descriptor, "wb") : nullptr);
  if (!file) {
    const int reason = errno;
    ::close(descriptor);
    ::unlink(name.c_str());
    errno = reason;
  }
  return file;
}

/// Returns whether both name one regular file, which may not exist yet.
bool areSame(const std::string& a, const std::string& b) {
  namespace fs = std::filesystem;
  std::error_code error;
  if (fs::exists(a, error) && !fs::is_regular_file(a, error)) return false;
  if (fs::equivalent(a, b, error)) return true;
  const fs::path canonical = fs::weakly_canonical(a, error);
  return !canonical.empty() && canonical == fs::weakly_canonical(b, error);
}

}  // namespace

ScopedFile openFile(const std::string& path) {
  ScopedFile file(path == "-" ? ::fdopen(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0), "rb")
                              : std::fopen(path.c_str(), "rbe"));
  if (!file) fail(kUsage, path);
  return file;
}

FileBytes readFile(const std::string& path, size_t limit) {
  const ScopedFile file = openFile(path);
  std::vector<uint8_t> bytes;
  std::vector<uint8_t> chunk(size_t{64} * 1024);
  while (bytes.size() <= limit) {
    const size_t count = std::fread(chunk.data(), 1, chunk.size(), file.get());
    if (std::ferror(file.get())) fail(kUsage, path);
    if (count == 0) break;
    bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(count));
  }
  const bool isWhole = bytes.size() <= limit;
  if (!isWhole) bytes.resize(limit);
  return {std::move(bytes), isWhole};
}

FileReplacement::FileReplacement(const std::string& path) : _path(path) {
  std::error_code error;
  if (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error)) {
    // A device or a pipe, which cannot be replaced or synced.
    _file.reset(std::fopen(path.c_str(), "wbe"));
  } else {
    // Through links, so that a link stays one.
    const std::filesystem::path target = std::filesystem::weakly_canonical(path, error);
    _target = error ? path : target.string();
    _file = openBeside(_target, _partial);
  }
  if (!_file) fail(kFailed, path);
}

FileReplacement::~FileReplacement() {
  std::error_code error;
  if (!_partial.empty()) std::filesystem::remove(_partial, error);
}

void FileReplacement::write(std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), _file.get()) != bytes.size()) fail(kFailed, _path);
}

void FileReplacement::finish() {
  const bool isReplaced = !_partial.empty();
  FileDescriptor folder;
  if (isReplaced) {
    const std::filesystem::path parent = std::filesystem::path(_target).parent_path();
    folder = FileDescriptor(
        ::open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder && errno != EACCES) fail(kFailed, _path);
  }
  if (std::fflush(_file.get()) != 0 || (isReplaced && ::fsync(fileno(_file.get())) != 0) ||
      std::fclose(_file.release()) != 0 ||
      (isReplaced && std::rename(_partial.c_str(), _target.c_str()) != 0)) {
    fail(kFailed, _path);
  }
  _partial.clear();
  // A folder that may not be read, and one of a file system without syncs, are left as they are.
  if (folder && ::fsync(folder.get()) != 0 && errno != EINVAL) {
    fail(kFailed, _path + ": was replaced, but may not survive a power cut");
  }
}

void writeFile(const std::string& path, std::string_view bytes) {
  if (path == "-") {
    std::cout << bytes;
    return;
  }
  FileReplacement file(path);
  file.write(bytes);
  file.finish();
}

void writeFile(const std::string& path, std::span<const uint8_t> bytes) {
  writeFile(path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

void requireDistinctOutputs(const std::vector<std::pair<std::string, std::string>>& outputs,
                            const std::vector<std::string>& inputs) {
  const auto isFile = [](const std::string& name) { return !name.empty() && name != "-"; };
  std::vector<std::string> used = inputs;
  for (const auto& [option, output] : outputs) {
    if (!isFile(output)) continue;
    for (const std::string& other : used) {
      if (!isFile(other) || !areSame(output, other)) continue;
      std::string text = option;
      text.append(" ").append(output).append(" would replace ").append(other);
      throw CommandError(kUsage, text + ": the same file is read or written, too");
    }
    used.push_back(output);
  }
}

}  // namespace corvane::tools
