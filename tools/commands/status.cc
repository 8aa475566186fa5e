#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "controlbits/control_bits.h"
#include "controlbits/control_bit_byte.h"
#include "dataarea/bits.h"
#include "dataarea/data_sets.h"
#include "tools/command.h"
#include "tools/command_line.h"
#include "tools/control_bit_text.h"
#include "tools/diagnostic_data.h"
#include "tools/inspect/area_view.h"
#include "tools/json_output.h"
#include "tools/record_field.h"
#include "tools/standard_error.h"
#include "tools/terminal/status_grid.h"
#include "tools/terminal/table.h"
#include "tools/unit_lock.h"

namespace corvane::tools {
namespace {

constexpr uint32_t kLastControlBitOffset = 127;

std::string place(uint32_t offset) { return "the byte at offset " + std::to_string(offset); }

/// Returns the whole data set, valid until the next read of a byte. Throws CommandError when it
/// cannot be read or has no byte at offset `last`.
std::span<const uint8_t> readDataSet(uint32_t last) {
  const std::span<const uint8_t> contents = readDiagnosticData("the control-bit bytes");
  if (last < contents.size()) return contents;
  throw CommandError(kUsage, "offset " + std::to_string(last) + " lies outside the data set of " +
                                 std::to_string(contents.size()) + " bytes");
}

uint8_t readByte(uint32_t offset) { return readDataSet(offset)[offset]; }

struct ShowOptions {
  std::optional<uint32_t> from, to;
  bool written = false;
  bool list = false;
  bool json = false;
};

ExitStatus show(const ShowOptions& options) {
  const uint32_t from = options.from.value_or(0);
  const uint32_t to = options.to.value_or(kLastControlBitOffset);
  if (from > to) throw CommandError(kUsage, "--from is greater than --to");
  requireReady();
  const std::span<const uint8_t> bytes = readDataSet(to);
  if (!options.from && !options.to && !options.written && !options.list && !options.json) {
    printStatusGrid(std::cout, bytes.first(to + 1), isColouredOutput());
    return kDone;
  }
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  Table table(
      {{"OFFSET", Align::kRight}, {"BYTE"}, {"STATUS"}, {"FAIL COUNT", Align::kRight}, {"USE"}});
  for (uint32_t offset = from; offset <= to; ++offset) {
    const uint8_t byte = bytes[offset];
    if (options.written && byte == 0xFF) continue;
    json.push_back(controlBitAsJson(offset, byte));
    table.addRow({std::to_string(offset), hexByte(byte), statusName(byte, testStatusNames()),
                  std::to_string(failCountOf(byte)), useOf(offset)});
  }
  if (options.json) {
    printJson({{"bytes", json}});
  } else {
    table.print(std::cout);
  }
  return kDone;
}

/// Prints the byte at `offset`.
void printByte(uint32_t offset, uint8_t byte, bool json) {
  if (json) return printJson(controlBitAsJson(offset, byte));
  std::cout << "offset " << offset << ": " << hexByte(byte) << ", "
            << statusName(byte, testStatusNames()) << ", fail count " << failCountOf(byte) << "\n";
}

std::optional<uint8_t> readBack(uint32_t offset) {
  uint8_t byte = 0;
  if (readBits(offset, 1, &byte, diagnosticDataSet()) != 0) return {};
  return byte;
}

/// Makes the byte `old` again, which a change has left unreadable or as it should not be: the
/// library goes on from 0xff when it cannot read the byte. Returns what became of it.
std::string putBack(uint32_t offset, uint8_t old) {
  uint32_t result = 0;
  runQuietly([&] { result = writeBits(offset, 1, &old, kCommit, diagnosticDataSet()); });
  return result == 0 && readBack(offset) == old
             ? "it was put back to " + hexByte(old)
             : "whether it could be put back to " + hexByte(old) + " is not known";
}

/// Runs `write` and checks that the byte at `offset` became what `change` makes of it, under the
/// unit's lock; puts it back when it did not. The library's writers report their failures only in
/// the log.
ExitStatus changeByte(uint32_t offset, bool force, bool json, const std::function<void()>& write,
                      const std::function<void(uint8_t&)>& change) {
  requireReady();
  const UnitLock lock;
  const std::span<const uint8_t> contents = readDataSet(offset);
  if (!force) requireNoRecordByte(offset, contents);
  const uint8_t old = contents[offset];
  uint8_t wanted = old;
  change(wanted);
  const bool isRefused = runQuietly(write);
  const std::optional<uint8_t> byte = readBack(offset);
  if (!byte) {
    throw CommandError(kNotReady, place(offset) + " cannot be read back; " + putBack(offset, old));
  }
  if (*byte != wanted) {
    const bool isChanged = *byte != old;
    const std::string end = isChanged ? putBack(offset, old) + "; " : "";
    if (const std::optional<uint8_t> now = readBack(offset)) printByte(offset, *now, json);
    throw CommandError(kFailed, place(offset) + (isChanged ? " became " : " is ") + hexByte(*byte) +
                                    ", wanted " + hexByte(wanted) + "; " + end +
                                    "see \"corvane log tail\"");
  }
  printByte(offset, *byte, json);
  if (isRefused && old != wanted) throw undurableChange(place(offset));
  return kDone;
}

void addStatusShow(Command group) {
  const auto options = std::make_shared<ShowOptions>();
  group.number("--from", options->from, "First offset; 0 if not given");
  group.number("--to", options->to, "Last offset; 127 if not given");
  group.flag("--list", options->list, "One byte to a line instead of the grid");
  group.flag("--written", options->written, "Only bytes that are not 0xff");
  group.jsonFlag(options->json);
  group.action([=] { return show(*options); });
}

void addStatusSet(Command group) {
  struct Options {
    uint32_t offset = 0;
    std::optional<int32_t> status, count;
    bool force = false;
    bool json = false;
  };
  const auto options = std::make_shared<Options>();
  Command set = group.add("set", "Write one control-bit byte");
  set.number("OFFSET", options->offset, "Offset of the byte").required();
  set.choice("--status", options->status, "Test status; stays as it is if not given",
             testStatusNames());
  set.number("--count", options->count, "Fail count; stays as it is if not given", {0, 7});
  set.flag("--force", options->force, "Also write from offset 128 on, where records lie");
  set.jsonFlag(options->json);
  set.footer("Example:\n  corvane status set 20 --status failed --count 2");
  set.action([=] {
    if (!options->status && !options->count) {
      throw CommandError(kUsage, "status set needs --status, --count or both");
    }
    constexpr int32_t kKeepStatus = 4, kKeepCount = 8;
    return changeByte(
        options->offset, options->force, options->json,
        [&] {
          ControlBits::writeControlBits(static_cast<int32_t>(options->offset),
                                        options->status.value_or(kKeepStatus),
                                        options->count.value_or(kKeepCount));
        },
        [&](uint8_t& byte) {
          if (options->status) changeTestStatus(&byte, static_cast<uint32_t>(*options->status));
          if (options->count) changeFailCount(&byte, gFailCountMap[*options->count]);
        });
  });
}

/// Adds a command for one byte of fixed use, which shows it or writes the given status.
void addFixedByte(Command group, const std::string& name, const std::string& about, uint32_t offset,
                  const StatusNames& names, void (*write)(int32_t status)) {
  struct Options {
    std::optional<int32_t> status;
    bool json = false;
  };
  const auto options = std::make_shared<Options>();
  Command command = group.add(name, about);
  command.choice("STATUS", options->status, "Status to write; if not given, the byte is shown",
                 names);
  command.jsonFlag(options->json);
  command.action([=] {
    if (options->status) {
      return changeByte(
          offset, false, options->json, [&] { write(*options->status); },
          [&](uint8_t& byte) { changeTestStatus(&byte, static_cast<uint32_t>(*options->status)); });
    }
    requireReady();
    printByte(offset, readByte(offset), options->json);
    return kDone;
  });
}

}  // namespace

void addStatusGroup(CLI::App& app) {
  Command group = Command(app).add(
      "status", "Show the control-bit bytes, in which each station keeps its test status");
  group.footer(
      "The grid is coloured on a terminal, unless NO_COLOR is set or TERM is dumb.\n"
      "Examples:\n"
      "  corvane status --written             only bytes that a station wrote\n"
      "  corvane status --from 16 --to 31 --json\n"
      "  corvane status suite passed");
  addStatusShow(group);
  addStatusSet(group);
  addFixedByte(group, "suite", "Show or write the test suite's byte, at offset 18",
               kSuiteStatusOffset, testStatusNames(), &ControlBits::writeCorvaneStatus);
  addFixedByte(group, "log-collection", "Show or write the log-collection byte, at offset 9",
               kLogCollectionOffset, logCollectionStatusNames(),
               &ControlBits::writeLogCollectionStatus);
}

}  // namespace corvane::tools
