#ifndef CORVANE_TOOLS_CAPTURED_OUTPUT_H_
#define CORVANE_TOOLS_CAPTURED_OUTPUT_H_

#include <functional>
#include <string>

#include "platform/file_descriptor.h"

namespace corvane::tools {

/// Makes standard output or standard error go to an open file while it exists.
class Redirection {
 public:
  /// Throws CommandError when `descriptor` cannot be redirected.
  Redirection(int descriptor, int file);
  ~Redirection();
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;

  /// Returns where `descriptor` went before.
  int before() const { return _before.get(); }

 private:
  int _descriptor;
  FileDescriptor _before;
};

/// Runs `work` and returns what it and the libraries wrote to standard output, which does not show
/// it. Throws CommandError when it cannot be captured.
std::string capturedOutput(const std::function<void()>& work);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_CAPTURED_OUTPUT_H_
