#include <CLI/CLI.hpp>
#include <iostream>
#include <nlohmann/json.hpp>

#include "controlbits/control_bits.h"
#include "controlbits/poison_byte.h"
#include "dataarea/bits.h"
#include "dataarea/data_sets.h"
#include "tools/command.h"
#include "tools/control_bit_text.h"
#include "tools/json_output.h"

namespace corvane::tools {
namespace {

std::string place(uint8_t offset) { return "the byte at offset " + std::to_string(offset); }

uint8_t readByte(uint8_t offset) {
  uint8_t byte = 0;
  if (readBits(offset, 1, &byte, diagnosticDataSet()) == 0) return byte;
  throw CommandError(kNotReady, place(offset) + " cannot be read");
}

void printByte(uint8_t offset, uint8_t byte, bool json) {
  if (json) {
    return printJson({{"offset", offset},
                      {"byte", byte},
                      {"poisoned", isPoisoned(offset, byte)},
                      {"final", isPoisonFinal(offset, byte)}});
  }
  std::cout << "offset " << int{offset} << ": " << hexByte(byte) << ", "
            << (isPoisoned(offset, byte) ? "poisoned" : "not poisoned") << "\n";
}

ExitStatus show(uint8_t offset, bool json) {
  requireReady();
  printByte(offset, readByte(offset), json);
  return kDone;
}

ExitStatus change(uint8_t offset, bool isSet, bool json) {
  requireReady();
  const uint8_t before = readByte(offset);
  ControlBits::writePoisonByte(offset, isSet);
  if (isPoisonFinal(offset, before)) {
    throw CommandError(kFailed, place(offset) + " is " + hexByte(before) +
                                    ": a failure, which is not overwritten");
  }
  const uint8_t after = readByte(offset);
  const uint8_t wanted = poisonByte(offset, isSet);
  if (after != wanted) {
    throw CommandError(kFailed, place(offset) + " is " + hexByte(after) + ", wanted " +
                                    hexByte(wanted) + "; see \"corvane log tail\"");
  }
  printByte(offset, after, json);
  return kDone;
}

void addCommand(CLI::App* group, const std::string& name, const std::string& about,
                const std::function<ExitStatus(uint8_t offset, bool json)>& work) {
  struct Options {
    uint32_t offset = 0;
    bool json = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand(name, about);
  command->add_option("OFFSET", options->offset, "Where the byte lies")
      ->required()
      ->check(CLI::Range(0, 255));
  addJsonFlag(command, options->json);
  command->footer("Example:\n  corvane poison " + name + " 24");
  setAction(command, [=] { return work(static_cast<uint8_t>(options->offset), options->json); });
}

}  // namespace

void addPoisonGroup(CLI::App& app) {
  CLI::App* group = app.add_subcommand(
      "poison", "Mark the unit as failed in a poison byte, which later stations look at");
  group->require_subcommand(1);
  group->footer(
      "Example:\n  corvane poison set 24\n\n"
      "A failure at an offset below 128 is final: it can be neither set again nor cleared.\n"
      "From offset 128 on, poison bytes lie among the diagnostic records.");
  addCommand(group, "set", "Mark the unit as failed",
             [](uint8_t offset, bool json) { return change(offset, true, json); });
  addCommand(group, "clear", "Take the mark away, where there is no failure yet",
             [](uint8_t offset, bool json) { return change(offset, false, json); });
  addCommand(group, "show", "Tell whether the unit is marked", show);
}

}  // namespace corvane::tools
