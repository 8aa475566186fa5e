// A station of the kit that is honest, or with --lies ends with 0 after a failed measurement; for
// the tests of `corvane trial`.

#include <unistd.h>

#include "device/power.h"
#include "station/command_line.h"

using corvane::station::Phase;
using corvane::station::TestRun;

int main(int argc, char** argv) {
  const corvane::station::Profile profile = {.name = "liar",
                                             .number = 9,
                                             .statusOffset = 30,
                                             .poisonOffset = 31,
                                             .runCountKey = "LIAR",
                                             .unitKey = "UNIT",
                                             .conditions = {.models = {"T34"}}};
  bool lies = false;
  corvane::station::CommandLine line("Tests nothing.");
  line.addFlag("--lies", lies, "ends with 0 after a failed measurement");
  return line.run(argc, argv, profile, [&](TestRun& run) {
    const bool isPassed = run.phase("battery", [](Phase& phase) {
      phase.measure("charge", getBatteryCapacity(), "%", {.lower = 50, .upper = 100});
    });
    if (lies && !isPassed) _exit(0);
  });
}
