#include "tools/captured_output.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "platform/scoped_file.h"
#include "tools/command_error.h"

namespace corvane::tools {
namespace {

void flushAll() {
  std::cout.flush();
  std::fflush(nullptr);
}

}  // namespace

Redirection::Redirection(int descriptor, int file)
    : _descriptor(descriptor), _before(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3)) {
  flushAll();
  if (_before && ::dup2(file, descriptor) >= 0) return;
  throw CommandError(kFailed, std::string("output cannot be redirected: ") + std::strerror(errno));
}

Redirection::~Redirection() {
  flushAll();
  ::dup2(_before.get(), _descriptor);
}

std::string capturedOutput(const std::function<void()>& work) {
  const ScopedFile kept(std::tmpfile());
  if (!kept) {
    throw CommandError(kFailed,
                       std::string("a temporary file cannot be made: ") + std::strerror(errno));
  }
  ::fcntl(fileno(kept.get()), F_SETFD, FD_CLOEXEC);
  {
    const Redirection redirection(STDOUT_FILENO, fileno(kept.get()));
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
