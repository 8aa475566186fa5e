#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "tools/command.h"

namespace {

constexpr char kFooter[] = R"(Examples:
  corvane status                       what every station wrote
  corvane status set 20 --status failed --count 2
  corvane poison set 24                mark the unit as failed
  corvane record list                  what stations left for later ones
  corvane syscfg set OPTS "serial=3 soak"
  corvane bootargs add debug=0x14e     for the next boot
  corvane facts                        model, capabilities, power
  corvane log write "fixture closed" --test Fixture
  corvane log tail -f
  corvane ps --watch 2                 what uses the processors
  corvane inspect dump.bin             what a dump taken from a unit holds

Exit status: 0 done, 1 no or not done, 2 wrong usage, 3 the unit cannot be used.
"corvane GROUP --help" and "corvane GROUP COMMAND --help" say more.)";

int run(int argc, char** argv) {
  using namespace corvane::tools;
  CLI::App app("Looks at and changes what test stations keep on a unit.", "corvane");
  app.set_version_flag("--version", "corvane " CORVANE_VERSION);
  app.footer(kFooter);
  app.require_subcommand(1);
  addStatusGroup(app);
  addPoisonGroup(app);
  addRecordGroup(app);
  addSyscfgGroup(app);
  addBootArgsGroup(app);
  addFactsGroup(app);
  addLogGroup(app);
  addPsGroup(app);
  addInspectGroup(app);
  addDeviceGroup(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kUsage;
  } catch (const CommandError& error) {
    std::cerr << "corvane: " << error.what() << "\n";
    return error.status();
  }
  if (!std::cout.flush()) {
    std::cerr << "corvane: standard output cannot be written\n";
    return kFailed;
  }
  return statusOfRun();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "corvane: " << error.what() << "\n";
    return corvane::tools::kFailed;
  }
}
