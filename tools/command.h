#ifndef CORVANE_TOOLS_COMMAND_H_
#define CORVANE_TOOLS_COMMAND_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "platform/cf_ref.h"

/// What the command groups share.
namespace corvane::tools {

/// Exit statuses, for scripts.
enum ExitStatus {
  kDone = 0,
  kFailed = 1,    ///< The answer is no, or what was asked for did not come about.
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

/// Makes `command` run `work` when the command line names it and no command below it. What `work`
/// returns is the tool's exit status.
void setAction(CLI::App* command, std::function<ExitStatus()> work);

/// The exit status of the command that ran.
ExitStatus statusOfRun();

/// Adds "--json" to a command that prints data.
void addJsonFlag(CLI::App* command, bool& json);

/// Prints `value`, indented, to standard output. Bytes that are no UTF-8 show as U+FFFD.
void printJson(const nlohmann::ordered_json& value);

/// `text` as the library takes it, or throws CommandError when it is no UTF-8.
CFRef<CFStringRef> textArgument(const std::string& text);

/// Opens the unit, or throws CommandError; the platform has said why on standard error.
void requireUnit();

/// Gets the data area ready, or throws CommandError; the library has said why on standard error.
void requireReady();

void addStatusGroup(CLI::App& app);
void addPoisonGroup(CLI::App& app);
void addRecordGroup(CLI::App& app);
void addSyscfgGroup(CLI::App& app);
/// `inspect`, which needs no unit.
void addInspectGroup(CLI::App& app);
void addBootArgsGroup(CLI::App& app);
/// `facts`.
void addFactsGroup(CLI::App& app);
void addLogGroup(CLI::App& app);
/// `ps`, which needs no unit but to write to its log.
void addPsGroup(CLI::App& app);
/// The commands that only the virtual device has; none on the device.
void addDeviceGroup(CLI::App& app);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_COMMAND_H_
