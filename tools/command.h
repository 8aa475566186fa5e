#ifndef CORVANE_TOOLS_COMMAND_H_
#define CORVANE_TOOLS_COMMAND_H_

#include <functional>
#include <string>

#include "platform/cf_ref.h"
#include "tools/command_error.h"

namespace CLI {
class App;
}

/// What the command groups share.
namespace corvane::tools {

/// As Command's, for a command that is made with CLI11 itself.
void setAction(CLI::App* command, std::function<ExitStatus()> work);
void addJsonFlag(CLI::App* command, bool& json);

/// `text` as the library takes it, or throws CommandError when it is no UTF-8.
CFRef<CFStringRef> textArgument(const std::string& text);

/// Opens the unit, or throws CommandError; the platform has said why on standard error.
void requireUnit();

/// Gets the data area ready, or throws CommandError; the library has said why on standard error.
void requireReady();

/// Whether there is a unit. Unlike opening it, this makes none.
bool hasUnit();

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
/// `completion`, and what shells and the build ask: `complete` and `manual`.
void addShellGroup(CLI::App& app, const std::string& version);
void addUnitGroup(CLI::App& app);
/// `report`.
void addReportGroup(CLI::App& app);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_COMMAND_H_
