#include "tools/byte_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "platform/scoped_file.h"
#include "tools/command_error.h"

namespace corvane::tools {
namespace {

[[noreturn]] void fail(ExitStatus status, const std::string& path) {
  throw CommandError(status, path + ": " + std::strerror(errno));
}

bool writeTo(ScopedFile file, std::span<const uint8_t> bytes) {
  if (!file) return false;
  const bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size() &&
                         std::fflush(file.get()) == 0 && ::fsync(::fileno(file.get())) == 0;
  return std::fclose(file.release()) == 0 && isWritten;
}

/// Makes a file beside `target` under a name that nobody can foresee, with the mode of `target`,
/// and the mode of any new file when there is none. `name` becomes its path.
ScopedFile openBeside(const std::string& target, std::string& name) {
  name = target + ".XXXXXX";
  const int descriptor = ::mkostemp(name.data(), O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  struct stat old {};
  const mode_t mask = ::umask(0);
  ::umask(mask);
  const bool isThere = ::stat(target.c_str(), &old) == 0;
  ::fchmod(descriptor, isThere ? old.st_mode & 07777 : 0666 & ~mask);
  ScopedFile file(::fdopen(descriptor, "wb"));
  if (!file) ::close(descriptor);
  return file;
}

}  // namespace

FileBytes readFile(const std::string& path, size_t limit) {
  const ScopedFile file(path == "-" ? ::fdopen(::dup(STDIN_FILENO), "rb")
                                    : std::fopen(path.c_str(), "rb"));
  if (!file) fail(kUsage, path);
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

void writeFile(const std::string& path, std::span<const uint8_t> bytes) {
  std::error_code error;
  if (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error)) {
    // A device or a pipe, which cannot be synced either.
    const ScopedFile file(std::fopen(path.c_str(), "wbe"));
    if (!file || std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size() ||
        std::fflush(file.get()) != 0) {
      fail(kFailed, path);
    }
    return;
  }
  // Through links, so that a link stays one.
  std::filesystem::path target = std::filesystem::weakly_canonical(path, error);
  if (error) target = path;
  std::string partial;
  ScopedFile file = openBeside(target, partial);
  const bool isMade = static_cast<bool>(file);
  if (writeTo(std::move(file), bytes) && std::rename(partial.c_str(), target.c_str()) == 0) return;
  const int reason = errno;
  if (isMade) std::filesystem::remove(partial, error);
  errno = reason;
  fail(kFailed, path);
}

}  // namespace corvane::tools
