#include "tools/captured_output.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "platform/file_descriptor.h"
#include "platform/scoped_file.h"
#include "tools/command_error.h"

namespace corvane::tools {
namespace {

void flushAll() {
  std::cout.flush();
  std::fflush(nullptr);
}

/// Makes `descriptor` another name of `file` while it exists.
class Redirection {
 public:
  Redirection(int descriptor, int file)
      : _descriptor(descriptor), _before(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0)) {
    flushAll();
    if (_before && ::dup2(file, descriptor) >= 0) return;
    throw CommandError(kFailed, std::string("output cannot be captured: ") + std::strerror(errno));
  }
  ~Redirection() {
    flushAll();
    ::dup2(_before.get(), _descriptor);
  }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;

 private:
  int _descriptor;
  FileDescriptor _before;
};

}  // namespace

std::string captured(int descriptor, const std::function<void()>& work) {
  const ScopedFile kept(std::tmpfile());
  if (!kept) {
    throw CommandError(kFailed,
                       std::string("a temporary file cannot be made: ") + std::strerror(errno));
  }
  ::fcntl(fileno(kept.get()), F_SETFD, FD_CLOEXEC);
  {
    const Redirection redirection(descriptor, fileno(kept.get()));
    work();
  }
  std::rewind(kept.get());
  std::string text;
  std::array<char, 4096> piece;
  while (const size_t size = std::fread(piece.data(), 1, piece.size(), kept.get())) {
    text.append(piece.data(), size);
  }
  return text;
}

}  // namespace corvane::tools
