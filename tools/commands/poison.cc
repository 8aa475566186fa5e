#include <nlohmann/json.hpp>

#include "platform/number.h"
#include "tools/command_line.h"
#include "tools/inspect/inspect.h"
#include "tools/json_output.h"
#include "tools/unit_access.h"
#include "unit/poison_byte.h"

namespace corvane::tools {
namespace {

struct PoisonOptions {
  uint8_t offset = 0;
  bool force = false;
  bool json = false;
};

void printPoison(const PoisonOptions& options, uint8_t byte) {
  const bool isPoisoned = unit::isPoisoned(options.offset, byte);
  printResult(options.json,
              {{"offset", options.offset},
               {"byte", byte},
               {"poisoned", isPoisoned},
               {"final", unit::isPoisonFinal(options.offset, byte)}},
              "offset " + std::to_string(options.offset) + ": " + hexNumber(byte, 2) + ", " +
                  (isPoisoned ? "poisoned\n" : "not poisoned\n"));
}

void showPoison(const PoisonOptions& options) {
  requireDataToLook();
  printPoison(options, unit::readByte(options.offset));
}

/// Throws for a byte that is failed already: it can be neither set again nor cleared.
void requireNotFinal(uint8_t offset, uint8_t byte) {
  if (!unit::isPoisonFinal(offset, byte)) return;
  const std::string place = std::to_string(offset);
  throw CommandError(kFailed, "the byte at offset " + place + " is " + hexNumber(byte, 2) +
                                  ": a failure, which is not overwritten; \"corvane status set " +
                                  place + " --status not-tested\" takes it back");
}

using PoisonChange = unit::ByteChange (*)(unit::Lock&, uint8_t offset);

void changePoison(const PoisonOptions& options, PoisonChange function) {
  unit::openDataArea();
  const unit::ByteChange done = changeUnit([&](unit::Lock& lock) {
    requireControlBit(options.offset, options.force);
    requireNotFinal(options.offset, unit::readByte(options.offset));
    return function(lock, options.offset);
  });
  printPoison(options, done.after);
}

/// Adds a command that makes the change, or shows the byte when there is none.
void addPoisonCommand(Command group, const std::string& name, const std::string& about,
                      PoisonChange function) {
  Command command = group.add(name, about);
  auto& options = command.actionOn<PoisonOptions>([=](const PoisonOptions& given) {
    function ? changePoison(given, function) : showPoison(given);
  });
  command.number("OFFSET", options.offset, "Offset of the byte").required();
  command.jsonFlag(options.json);
  if (!function) return;
  command.flag("--force", options.force, "Also write from offset 128 on, where records lie");
}

}  // namespace

void addPoison(CLI::App& app) {
  Command group = Command(app).addGroup(
      "poison", "Mark the unit as failed in a poison byte, which later stations look at",
      "Example:\n  corvane poison set 24\n\n"
      "A failure at an offset below 128 is final: it can be neither set again nor cleared.\n"
      "\"corvane status set 24 --status not-tested\" gives such a unit back to the stations.\n"
      "From offset 128 on, a poison byte is a byte of a diagnostic record.");
  addPoisonCommand(group, "set", "Mark the unit as failed", &unit::setPoison);
  addPoisonCommand(group, "clear", "Remove the mark, unless it is a failure below offset 128",
                   &unit::clearPoison);
  addPoisonCommand(group, "show", "Show whether the unit is marked", nullptr);
}

}  // namespace corvane::tools
