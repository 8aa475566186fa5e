#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>

#include "log/log.h"
#include "platform/device_path.h"
#include "platform/printable.h"
#include "tools/command_error.h"
#include "tools/log/test_log.h"

namespace corvane::tools {

/// How much is read at once.
constexpr size_t kChunk = size_t{256} << 10;

void LogReader::open() {
  _descriptor =
      FileDescriptor(::open(_file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (_descriptor && !S_ISREG(facts().st_mode)) fail("is not a regular file");
  if (_descriptor || (errno == ENOENT && _mayCome)) return;
  fail(errno == ELOOP ? "is a symbolic link" : std::strerror(errno));
}

void LogReader::skipToLast(size_t lines) {
  if (_descriptor) _position = facts().st_size;
  const off_t end = _position;
  std::string piece;
  for (off_t lastFeed = end; _position > 0 && lines > 0;) {
    piece.resize(static_cast<size_t>(std::min<off_t>(kChunk, _position)));
    _position -= std::ssize(piece);
    for (readAt(_position, piece); !piece.empty(); piece.pop_back()) {
      if (piece.back() != '\n') continue;
      lastFeed = _position + std::ssize(piece);
      if (lastFeed != end && --lines == 0) {
        _position = lastFeed;
        return;
      }
    }
    if (lastFeed - _position >= static_cast<off_t>(kMaxRecord)) return;
  }
}

bool LogReader::readMore() {
  if (!_descriptor) open();
  if (!_descriptor) return false;
  std::string piece(kChunk, '\0');
  const bool isEnd = readAt(_position, piece) == 0;
  _position += std::ssize(piece);
  const bool endsInZero = piece.ends_with('\0');
  if (piece.find('\0') != piece.npos) {
    _zeros += static_cast<off_t>(std::erase(piece, '\0'));
    if (piece.empty()) skipHole();
  }
  if (_zeros > 0 && !endsInZero) {
    std::cerr << "corvane: " << printable(_file) << ": left out " << _zeros
              << " zero bytes before byte " << _position << "\n";
    _zeros = 0;
  }
  _text.erase(0, _begin).append(piece);
  _begin = 0;
  return !isEnd;
}

/// Passes over zeros that take no space on the disk.
void LogReader::skipHole() {
  // The size first: what is written after the look for data is read, not passed over.
  const off_t size = facts().st_size;
  const off_t data = ::lseek(_descriptor.get(), _position, SEEK_DATA);
  const off_t next = std::max(_position, data < 0 && errno == ENXIO ? size : data);
  _zeros += next - _position;
  _position = next;
}

std::optional<std::string> LogReader::nextLine() {
  size_t end = 0;
  while ((end = text().find('\n')) == std::string_view::npos) {
    if (text().size() >= kMaxRecord || !readMore()) break;
  }
  if (end == std::string_view::npos && text().size() < kMaxRecord) return {};
  std::string line(text().substr(0, end));
  take(std::min(line.size() + 1, text().size()));
  return line;
}

void LogReader::followOn() {
  if (!_descriptor) return;
  const struct stat opened = facts();
  struct stat named {};
  const bool isSame = ::lstat(_file.c_str(), &named) == 0 && named.st_ino == opened.st_ino &&
                      named.st_dev == opened.st_dev;
  if (isSame && opened.st_size >= _position) return;
  if (!isSame) _descriptor = FileDescriptor();
  _position = 0;
  take(text().size());
}

struct stat LogReader::facts() const {
  struct stat facts {};
  if (::fstat(_descriptor.get(), &facts) != 0) fail(std::strerror(errno));
  return facts;
}

/// Fills `piece` from `position` on, and makes it as short as what there was. Returns its size.
size_t LogReader::readAt(off_t position, std::string& piece) const {
  const ssize_t count = ::pread(_descriptor.get(), piece.data(), piece.size(), position);
  if (count < 0) fail(std::strerror(errno));
  piece.resize(static_cast<size_t>(count));
  return piece.size();
}

void LogReader::fail(const std::string& reason) const {
  throw CommandError(kFailed, _file + ": " + reason);
}

void writeToLog(size_t lines, const std::function<void()>& write) {
  const std::string file = devicePath(kLogFile);
  if (file.empty()) throw CommandError(kNotReady, "the unit is not ready");
  LogReader log(file, true);
  log.skipToLast(0);
  write();
  size_t written = 0;
  while (log.nextLine()) ++written;
  if (written >= lines && log.text().empty()) return;
  throw CommandError(kFailed, "the text could not be written to " + file);
}

}  // namespace corvane::tools
