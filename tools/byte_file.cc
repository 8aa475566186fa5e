#include "tools/byte_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "platform/scoped_file.h"
#include "tools/command_error.h"

namespace corvane::tools {
namespace {

[[noreturn]] void fail(ExitStatus status, const std::string& path) {
  throw CommandError(status, path + ": " + std::strerror(errno));
}

/// Writes a new file, or into what is no regular file.
bool writeTo(const std::filesystem::path& path, std::span<const uint8_t> bytes) {
  ScopedFile file(std::fopen(path.c_str(), "wb"));
  if (!file) return false;
  const bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
  return std::fclose(file.release()) == 0 && isWritten;
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
    if (!writeTo(path, bytes)) fail(kFailed, path);
    return;
  }
  // Through links, so that a link stays one.
  std::filesystem::path target = std::filesystem::weakly_canonical(path, error);
  if (error) target = path;
  std::filesystem::path partial = target;
  partial += ".partial";
  if (writeTo(partial, bytes) && std::rename(partial.c_str(), target.c_str()) == 0) return;
  const int reason = errno;
  std::filesystem::remove(partial, error);
  errno = reason;
  fail(kFailed, path);
}

}  // namespace corvane::tools
