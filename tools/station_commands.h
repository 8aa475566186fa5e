#ifndef CORVANE_TOOLS_STATION_COMMANDS_H_
#define CORVANE_TOOLS_STATION_COMMANDS_H_

namespace CLI {
class App;
}

/// Commands for those who write and run stations; they need no unit.
namespace corvane::tools {

void addNewStationCommand(CLI::App& app);
void addResultsCommand(CLI::App& app);
/// Adds `trial`, off the device only.
void addTrialCommand(CLI::App& app);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_STATION_COMMANDS_H_
