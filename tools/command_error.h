#ifndef CORVANE_TOOLS_COMMAND_ERROR_H_
#define CORVANE_TOOLS_COMMAND_ERROR_H_

#include <stdexcept>
#include <string>

namespace corvane::tools {

/// Exit statuses, for scripts.
enum ExitStatus {
  kDone = 0,
  kFailed = 1,    ///< The answer is no, or the change was not made.
  kUsage = 2,     ///< The command line is wrong.
  kNotReady = 3,  ///< The unit cannot be used.
};

/// Ends the command with a line on standard error and `status`.
class CommandError : public std::runtime_error {
 public:
  CommandError(ExitStatus status, const std::string& text)
      : std::runtime_error(text), _status(status) {}
  ExitStatus status() const { return _status; }

 private:
  ExitStatus _status;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_COMMAND_ERROR_H_
