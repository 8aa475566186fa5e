#include "host/linux/proc_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstring>

namespace corvane::host {
namespace {

/// Opens the file for reading. Returns no file, with the reason in `errno`, when that fails.
FileDescriptor openToRead(int folder, const char* path) {
  return FileDescriptor(openat(folder, path, O_RDONLY | O_CLOEXEC));
}

/// Adds the entries, as getdents64 stored them, whose names are numbers.
void addNumbers(std::span<const char> bytes, std::vector<int32_t>& ids) {
  while (!bytes.empty()) {
    const auto* entry = reinterpret_cast<const dirent64*>(bytes.data());
    const char* const end = entry->d_name + std::strlen(entry->d_name);
    int32_t id = 0;
    const auto [at, error] = std::from_chars(entry->d_name, end, id);
    if (error == std::errc() && at == end) ids.push_back(id);
    bytes = bytes.subspan(entry->d_reclen);
  }
}

}  // namespace

IdPath::IdPath(std::string_view prefix, int32_t id, std::string_view file) {
  constexpr size_t kMaxIdLength = 16;
  _text.front() = '\0';
  if (prefix.size() + kMaxIdLength + file.size() > _text.size()) return;
  char* at = std::copy(prefix.begin(), prefix.end(), _text.data());
  at = std::to_chars(at, _text.data() + _text.size(), id).ptr;
  *at++ = '/';
  *std::copy(file.begin(), file.end(), at) = '\0';
}

ProcFolder::ProcFolder(const char* path) : _folder(openToRead(AT_FDCWD, path)) {}

bool ProcFolder::listNumbers(std::vector<int32_t>& ids) const {
  alignas(dirent64) std::array<char, size_t{32} * 1024> entries;
  ids.clear();
  ssize_t size = 0;
  while ((size = getdents64(_folder.get(), entries.data(), entries.size())) > 0) {
    addNumbers({entries.data(), static_cast<size_t>(size)}, ids);
  }
  std::sort(ids.begin(), ids.end());
  return size == 0;
}

std::optional<std::string_view> ProcFolder::readStart(const char* path,
                                                      std::span<char> buffer) const {
  const FileDescriptor file = openToRead(_folder.get(), path);
  if (!file) return {};
  const ssize_t size = read(file.get(), buffer.data(), buffer.size());
  if (size < 0) return {};
  return std::string_view(buffer.data(), static_cast<size_t>(size));
}

std::optional<std::string> readWhole(const char* path) {
  constexpr size_t kStep = 4096;
  const FileDescriptor file = openToRead(AT_FDCWD, path);
  if (!file) return {};
  std::string bytes;
  for (size_t used = 0;;) {
    bytes.resize(used + std::max(kStep, used));
    const ssize_t size = read(file.get(), bytes.data() + used, bytes.size() - used);
    if (size < 0) return {};
    used += static_cast<size_t>(size);
    if (used == bytes.size()) continue;
    bytes.resize(used);
    return bytes;
  }
}

std::string linkTarget(const char* path) {
  std::array<char, PATH_MAX> target;
  const ssize_t size = readlink(path, target.data(), target.size());
  return size > 0 ? std::string(target.data(), static_cast<size_t>(size)) : std::string();
}

}  // namespace corvane::host
