#include "tools/quiet_write.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <iostream>
#include <string>

#include "platform/scoped_file.h"

namespace corvane::tools {
namespace {

/// Leads standard error into a file while it exists.
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

void passOnUnitLines(std::FILE* file) {
  std::rewind(file);
  std::array<char, 4096> piece;
  bool isLineStart = true, isPassedOn = false;
  while (std::fgets(piece.data(), static_cast<int>(piece.size()), file)) {
    const std::string text = piece.data();
    if (isLineStart) isPassedOn = text.starts_with("virtual device: ");
    if (isPassedOn) std::cerr << text;
    isLineStart = text.ends_with('\n');
  }
}

}  // namespace

void runQuietly(const std::function<void()>& write) {
  const ScopedFile kept(std::tmpfile());
  if (!kept) return write();
  {
    const Redirection redirection(kept.get());
    write();
  }
  passOnUnitLines(kept.get());
}

}  // namespace corvane::tools
