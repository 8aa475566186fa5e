#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <new>
#include <nlohmann/json.hpp>
#include <string_view>
#include <vector>

#include "platform/printable.h"
#include "tools/command_line.h"
#include "tools/json_output.h"
#include "tools/unit_access.h"

namespace corvane::tools {

// Each is in commands/NAME.cc; on the device commands/on_device.cc replaces some.
void addStatus(CLI::App& app);
void addPoison(CLI::App& app);
void addRecord(CLI::App& app);
void addSyscfg(CLI::App& app);
void addBootArgs(CLI::App& app);
void addFacts(CLI::App& app);
void addLog(CLI::App& app);
void addPs(CLI::App& app);
void addInspect(CLI::App& app);
void addResults(CLI::App& app);
void addNewStation(CLI::App& app);
void addTrial(CLI::App& app);
void addDevice(CLI::App& app);
void addUnit(CLI::App& app);
void addReport(CLI::App& app);
void addShell(CLI::App& app);

namespace {

/// The commands in the order of --help.
constexpr auto kCommands = {addStatus, addPoison, addRecord,  addSyscfg,  addBootArgs,   addFacts,
                            addLog,    addPs,     addInspect, addResults, addNewStation, addTrial,
                            addDevice, addUnit,   addReport,  addShell};

constexpr char kFooter[] = R"(Examples:
  corvane status                       what every station wrote, as a grid
  corvane status set 20 --status failed --count 2
  corvane syscfg set OPTS soak
  corvane log tail -f
  corvane unit export -o unit.json     a whole unit as one document
  corvane results line-3/              yields, failures and measurements of stations

Exit status: 0 done, 1 no or not done, 2 wrong usage, 3 the unit cannot be used.
"corvane GROUP --help" and "corvane GROUP COMMAND --help" say more.)";

ExitStatus run(int argc, char** argv) {
  requireFaultRules();
  CLI::App app("Looks at and changes what test stations keep on a unit.", "corvane");
  app.set_version_flag("--version", "corvane " CORVANE_VERSION);
  app.footer(kFooter);
  app.require_subcommand(1);
  for (const auto& addCommand : kCommands) addCommand(app);
  const ExitStatus status = runCommandLine(app, argc, argv);
  if (!std::cout.flush()) throw CommandError(kFailed, "standard output cannot be written");
  return status;
}

/// Prints the error as the command line asks for it, and returns the exit status.
ExitStatus reportError(ExitStatus status, const std::string& message, bool asJson) {
  std::cerr << (asJson ? jsonLine({{"error", {{"status", status}, {"message", message}}}})
                       : "corvane: " + printable(message) + "\n");
  return status;
}

}  // namespace
}  // namespace corvane::tools

int main(int argc, char** argv) {
  using namespace corvane::tools;
  const std::vector<std::string_view> words(argv, argv + argc);
  const auto end = std::ranges::find(words, "--");
  const bool asJson = std::find(words.begin(), end, "--json") != end;
  try {
    return run(argc, argv);
  } catch (const std::bad_alloc&) {
    return reportError(kFailed, "there is not enough memory", asJson);
  } catch (const std::exception& error) {
    return reportError(statusOf(error), error.what(), asJson);
  }
}
