#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "controlbits/control_bits.h"
#include "controlbits/poison_byte.h"
#include "dataarea/bits.h"
#include "dataarea/data_sets.h"
#include "tools/command.h"
#include "tools/command_line.h"
#include "tools/control_bit_text.h"
#include "tools/diagnostic_data.h"
#include "tools/json_output.h"
#include "tools/record_field.h"
#include "tools/standard_error.h"
#include "tools/unit_lock.h"

namespace corvane::tools {
namespace {

std::string place(uint8_t offset) { return "the byte at offset " + std::to_string(offset); }

/// Returns the whole data set. Throws CommandError when it has no byte at `offset` that can be
/// read.
std::span<const uint8_t> readDataSet(uint8_t offset) {
  const std::span<const uint8_t> contents = readDiagnosticData(place(offset));
  if (offset < contents.size()) return contents;
  throw CommandError(kNotReady, place(offset) + " cannot be read");
}

uint8_t readByte(uint8_t offset) { return readDataSet(offset)[offset]; }

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

struct PoisonOptions {
  uint8_t offset = 0;
  bool force = false;
  bool json = false;
};

ExitStatus showPoison(const PoisonOptions& options) {
  requireReady();
  printByte(options.offset, readByte(options.offset), options.json);
  return kDone;
}

ExitStatus change(const PoisonOptions& options, bool isSet) {
  requireReady();
  const uint8_t offset = options.offset;
  const UnitLock lock;
  const std::span<const uint8_t> contents = readDataSet(offset);
  if (!options.force) requireNoRecordByte(offset, contents);
  const uint8_t before = contents[offset];
  const bool isRefused = runQuietly([&] { ControlBits::writePoisonByte(offset, isSet); });
  if (isPoisonFinal(offset, before)) {
    throw CommandError(kFailed, place(offset) + " is " + hexByte(before) +
                                    ": a failure, which is not overwritten");
  }
  uint8_t after = 0;
  if (readBits(offset, 1, &after, diagnosticDataSet()) != 0) throw unknownChange(place(offset));
  const uint8_t wanted = poisonByte(offset, isSet);
  if (after != wanted) {
    throw CommandError(kFailed, place(offset) + " is " + hexByte(after) + ", wanted " +
                                    hexByte(wanted) + "; see \"corvane log tail\"");
  }
  printByte(offset, after, options.json);
  if (isRefused && before != wanted) throw undurableChange(place(offset));
  return kDone;
}

void addPoisonCommand(Command group, const std::string& name, const std::string& about,
                      bool isChange, const std::function<ExitStatus(const PoisonOptions&)>& work) {
  const auto options = std::make_shared<PoisonOptions>();
  Command command = group.add(name, about);
  command.number("OFFSET", options->offset, "Offset of the byte").required();
  if (isChange) {
    command.flag("--force", options->force, "Also write from offset 128 on, where records lie");
  }
  command.jsonFlag(options->json);
  command.footer("Example:\n  corvane poison " + name + " 24");
  command.action([=] { return work(*options); });
}

}  // namespace

void addPoisonGroup(CLI::App& app) {
  Command group = Command(app).addGroup(
      "poison", "Mark the unit as failed in a poison byte, which later stations look at",
      "Example:\n  corvane poison set 24\n\n"
      "A failure at an offset below 128 is final: it can be neither set again nor cleared.\n"
      "From offset 128 on, a poison byte is a byte of a diagnostic record.");
  addPoisonCommand(group, "set", "Mark the unit as failed", true,
                   [](const PoisonOptions& options) { return change(options, true); });
  addPoisonCommand(group, "clear", "Remove the mark, unless it is a failure below offset 128", true,
                   [](const PoisonOptions& options) { return change(options, false); });
  addPoisonCommand(group, "show", "Tell whether the unit is marked", false, showPoison);
}

}  // namespace corvane::tools
