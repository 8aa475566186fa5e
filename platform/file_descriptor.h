#ifndef CORVANE_PLATFORM_FILE_DESCRIPTOR_H_
#define CORVANE_PLATFORM_FILE_DESCRIPTOR_H_

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace corvane {

/// Owns at most one open file and closes it.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  /// Takes over what `open` returned. Negative means no file.
  explicit FileDescriptor(int owned) : _descriptor(owned) {}
  FileDescriptor(FileDescriptor&& other) noexcept
      : _descriptor(std::exchange(other._descriptor, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(_descriptor, other._descriptor);
    return *this;
  }
  ~FileDescriptor() {
    if (_descriptor >= 0) ::close(_descriptor);
  }

  int get() const { return _descriptor; }
  int release() { return std::exchange(_descriptor, -1); }
  explicit operator bool() const { return _descriptor >= 0; }

 private:
  int _descriptor = -1;
};

/// The ends of a pipe. Programs that this one starts inherit neither.
struct Pipe {
  FileDescriptor readEnd, writeEnd;

  /// Leaves the ends empty, and the reason in `errno`, when no pipe can be made.
  Pipe() {
    int ends[2];
    if (::pipe(ends) != 0) return;
    for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
    readEnd = FileDescriptor(ends[0]);
    writeEnd = FileDescriptor(ends[1]);
  }
};

}  // namespace corvane

#endif  // CORVANE_PLATFORM_FILE_DESCRIPTOR_H_
