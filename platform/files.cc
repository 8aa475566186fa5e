#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <new>
#include <optional>

#include "platform/file_descriptor.h"
#include "platform/out_of_memory.h"

namespace corvane {
namespace {

bool createDirectory(const std::string& path) {
  return mkdir(path.c_str(), 0777) == 0 || errno == EEXIST;
}

constexpr off_t kNoCutLine = -1;
/// More than any property list of a device has, so that none exhausts the memory.
constexpr off_t kMaxPropertyList = off_t{16} << 20;

/// Returns the size of the open file when it ends inside a line, else `kNoCutLine`.
off_t endOfCutLine(int file) {
  char last = '\n';
  const off_t size = ::lseek(file, 0, SEEK_END);
  return size > 0 && ::pread(file, &last, 1, size - 1) == 1 && last != '\n' ? size : kNoCutLine;
}

/// Returns the contents of the regular file at `path`. Returns nothing when there is no such file,
/// it is larger than `kMaxPropertyList`, or it cannot be read to its end.
std::optional<std::string> readFile(const std::string& path) {
  // O_NONBLOCK: opening a pipe that has no writer would block.
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat facts {};
  if (!file || fstat(file.get(), &facts) != 0 || !S_ISREG(facts.st_mode)) return {};
  if (facts.st_size > kMaxPropertyList) return {};

  std::string bytes;
  std::array<char, 16384> block;
  for (;;) {
    const ssize_t count = ::read(file.get(), block.data(), block.size());
    if (count == 0) return bytes;
    if (count > 0) {
      // The file may grow meanwhile.
      if (std::ssize(bytes) + count > kMaxPropertyList) return {};
      bytes.append(block.data(), static_cast<size_t>(count));
    } else if (errno != EINTR) {
      return {};
    }
  }
}

}  // namespace

bool createDirectories(const std::string& path) {
  if (createDirectory(path)) return true;
  const size_t lastSlash = path.find_last_of('/');
  if (errno != ENOENT || lastSlash == std::string::npos || lastSlash == 0) return false;
  return createDirectories(path.substr(0, lastSlash)) && createDirectory(path);
}

bool endsInsideLine(const std::string& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  const off_t end = file ? endOfCutLine(file.get()) : kNoCutLine;
  if (end == kNoCutLine) return false;
  // A reader can see a part of what another process is just appending. A write waits until that is
  // done, even one of nothing, and then the file is longer.
  [[maybe_unused]] const ssize_t written = ::write(file.get(), "", 0);
  return endOfCutLine(file.get()) == end;
}

bool writeAll(int file, const void* bytes, size_t size) {
  for (const char* rest = static_cast<const char*>(bytes); size > 0;) {
    const ssize_t written = ::write(file, rest, size);
    if (written < 0 && errno != EINTR) return false;
    if (written < 0) continue;
    rest += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

bool fileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

CFRef<CFDictionaryRef> copyDictionaryFromFile(const std::string& path) {
  return unlessOutOfMemory({}, [&]() -> CFRef<CFDictionaryRef> {
    const std::optional<std::string> bytes = readFile(path);
    if (!bytes) return {};
    const CFRef<CFDataRef> data(CFDataCreate(kCFAllocatorDefault,
                                             reinterpret_cast<const UInt8*>(bytes->data()),
                                             static_cast<CFIndex>(bytes->size())));
    if (!data) return {};
    CFRef<CFPropertyListRef> list(CFPropertyListCreateWithData(
        kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
    if (!list || CFGetTypeID(list.get()) != CFDictionaryGetTypeID()) return {};
    return CFRef<CFDictionaryRef>(static_cast<CFDictionaryRef>(list.release()));
  });
}

}  // namespace corvane
