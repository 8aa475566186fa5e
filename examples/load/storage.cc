#include "storage.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <vector>

namespace load {
namespace {

constexpr size_t kBlock = size_t{1} << 20;

using Clock = std::chrono::steady_clock;

double megabytesPerSecond(size_t bytes, Clock::time_point begin) {
  return static_cast<double>(bytes) / 1e6 /
         std::chrono::duration<double>(Clock::now() - begin).count();
}

/// Returns the bytes of the file's block `index`; no two blocks are alike.
std::vector<uint8_t> blockOf(size_t index) {
  std::vector<uint8_t> bytes(kBlock);
  uint64_t state = 0x9E3779B97F4A7C15 * (index + 1);
  for (size_t i = 0; i < kBlock; i += sizeof state) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    std::memcpy(&bytes[i], &state, sizeof state);
  }
  return bytes;
}

/// Returns the fault of a call that returned `count`: with the reason that the system gives when
/// that is negative, and `otherwise`, an errno, when the transfer was cut short.
std::string failed(const char* what, ssize_t count = -1, int otherwise = 0) {
  return std::string("storage: ") + what + ": " + std::strerror(count < 0 ? errno : otherwise);
}

void writeAndRead(int file, size_t blocks, StorageResult& result) {
  auto begin = Clock::now();
  for (size_t i = 0; i < blocks; ++i) {
    const ssize_t count = ::write(file, blockOf(i).data(), kBlock);
    if (count != static_cast<ssize_t>(kBlock)) {
      result.fault = failed("write", count, ENOSPC);
      return;
    }
  }
  if (::fsync(file) != 0) {
    result.fault = failed("sync");
    return;
  }
  result.writeSpeed = megabytesPerSecond(blocks * kBlock, begin);

#ifdef POSIX_FADV_DONTNEED
  ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
#endif
  begin = Clock::now();
  std::vector<uint8_t> bytes(kBlock);
  for (size_t i = 0; i < blocks; ++i) {
    const ssize_t count = ::pread(file, bytes.data(), kBlock, static_cast<off_t>(i * kBlock));
    if (count != static_cast<ssize_t>(kBlock)) {
      result.fault = failed("read", count, EIO);
      return;
    }
    if (bytes != blockOf(i)) {
      result.fault = "storage: block " + std::to_string(i) + " came back changed";
      return;
    }
  }
  result.readSpeed = megabytesPerSecond(blocks * kBlock, begin);
}

}  // namespace

StorageResult checkStorage(const std::filesystem::path& folder, size_t size) {
  StorageResult result;
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  std::string path = (folder / "storage-XXXXXX").string();
  const int file = ::mkostemp(path.data(), O_CLOEXEC);
  if (file < 0) {
    result.fault = failed(path.c_str());
    return result;
  }
  ::unlink(path.c_str());
  writeAndRead(file, std::max<size_t>(size / kBlock, 1), result);
  ::close(file);
  return result;
}

}  // namespace load
