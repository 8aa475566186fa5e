#include <exception>
#include <iostream>

#include "tools/command.h"

namespace {

constexpr char kFooter[] = R"(Examples:
  corvane status                       what every station wrote
  corvane status set 20 --status failed --count 2
  corvane log write "fixture closed" --test Fixture
  corvane log tail -f

Exit status: 0 done, 1 no or not done, 2 wrong usage, 3 the unit cannot be used.
"corvane GROUP --help" and "corvane GROUP COMMAND --help" say more.)";

int run(int argc, char** argv) {
  using namespace corvane::tools;
  CLI::App app("Looks at and changes what test stations keep on a unit.", "corvane");
  app.set_version_flag("--version", "corvane " CORVANE_VERSION);
  app.footer(kFooter);
  app.require_subcommand(1);
  addStatusGroup(app);
  addLogGroup(app);
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
    return kNo;
  }
  return statusOfRun();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "corvane: " << error.what() << "\n";
    return corvane::tools::kNo;
  }
}
