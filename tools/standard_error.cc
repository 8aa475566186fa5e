#include "tools/standard_error.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <iostream>
#include <string>

#include "platform/scoped_file.h"

namespace corvane::tools {
namespace {

/// Redirects standard error to a file while it exists.
class Redirection {
 public:
  explicit Redirection(std::FILE* file) {
    std::cerr.flush();
    std::fflush(stderr);
    _standardError = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    if (_standardError >= 0) dup2(fileno(file), STDERR_FILENO);
  }
  ~Redirection() {
    std::fflush(stderr);
    if (_standardError < 0) return;
    dup2(_standardError, STDERR_FILENO);
    close(_standardError);
  }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;

 private:
  int _standardError;
};

}  // namespace

std::string standardErrorOf(const std::function<void()>& work) {
  const ScopedFile kept(std::tmpfile());
  if (!kept) {
    work();
    return "";
  }
  ::fcntl(fileno(kept.get()), F_SETFD, FD_CLOEXEC);
  {
    const Redirection redirection(kept.get());
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
