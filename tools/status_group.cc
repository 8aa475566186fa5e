#include <CLI/CLI.hpp>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

#include "controlbits/control_bits.h"
#include "controlbits/conventions.h"
#include "dataarea/data_area.h"
#include "dataarea/data_sets.h"
#include "tools/command.h"
#include "tools/control_bit_text.h"
#include "tools/json_output.h"
#include "tools/table.h"

namespace corvane::tools {
namespace {

constexpr uint32_t kLastControlBitOffset = 127;

std::vector<uint8_t> readRange(uint32_t from, uint32_t to) {
  const uint8_t* bytes = nullptr;
  uint32_t length = 0;
  if (!getDataAreaBytePtr(&bytes, &length, diagnosticDataSet())) {
    throw CommandError(kNotReady, "the control-bit bytes cannot be read");
  }
  if (to >= length) {
    throw CommandError(kUsage, "offset " + std::to_string(to) + " lies outside the data set of " +
                                   std::to_string(length) + " bytes");
  }
  return {bytes + from, bytes + to + 1};
}

uint8_t readByte(uint32_t offset) { return readRange(offset, offset).front(); }

struct ShowOptions {
  uint32_t from = 0;
  uint32_t to = kLastControlBitOffset;
  bool written = false;
  bool json = false;
};

ExitStatus show(const ShowOptions& options) {
  if (options.from > options.to) throw CommandError(kUsage, "--from lies behind --to");
  requireReady();
  const std::vector<uint8_t> bytes = readRange(options.from, options.to);
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  Table table(
      {{"OFFSET", Align::kRight}, {"BYTE"}, {"STATUS"}, {"FAIL COUNT", Align::kRight}, {"USE"}});
  for (uint32_t i = 0; i < bytes.size(); ++i) {
    if (options.written && bytes[i] == 0xFF) continue;
    const uint32_t offset = options.from + i;
    json.push_back(controlBitAsJson(offset, bytes[i]));
    table.addRow({std::to_string(offset), hexByte(bytes[i]),
                  statusName(bytes[i], testStatusNames()), std::to_string(failCountOf(bytes[i])),
                  useOf(offset)});
  }
  if (options.json) {
    printJson({{"bytes", json}});
  } else {
    table.print(std::cout);
  }
  return kDone;
}

/// Prints one byte, or how it changed.
void printByte(uint32_t offset, uint8_t byte, bool json) {
  if (json) return printJson(controlBitAsJson(offset, byte));
  std::cout << "offset " << offset << ": " << hexByte(byte) << ", "
            << statusName(byte, testStatusNames()) << ", fail count " << failCountOf(byte) << "\n";
}

/// Runs `write` and sees whether the byte at `offset` became what `change` makes of it. The
/// library's writers leave their failures in the log only.
ExitStatus changeByte(uint32_t offset, bool json, const std::function<void()>& write,
                      const std::function<void(uint8_t&)>& change) {
  requireReady();
  uint8_t wanted = readByte(offset);
  change(wanted);
  write();
  const uint8_t byte = readByte(offset);
  printByte(offset, byte, json);
  if (byte == wanted) return kDone;
  throw CommandError(kFailed, "the byte at offset " + std::to_string(offset) + " is " +
                                  hexByte(byte) + ", wanted " + hexByte(wanted) +
                                  "; see \"corvane log tail\"");
}

void addShow(CLI::App* group) {
  const auto options = std::make_shared<ShowOptions>();
  group->add_option("--from", options->from, "First offset")->capture_default_str();
  group->add_option("--to", options->to, "Last offset")->capture_default_str();
  group->add_flag("--written", options->written, "Only bytes that are not 0xff");
  addJsonFlag(group, options->json);
  setAction(group, [=] { return show(*options); });
}

void addSet(CLI::App* group) {
  struct Options {
    uint32_t offset = 0;
    std::optional<int32_t> status, count;
    bool json = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* set = group->add_subcommand("set", "Write one control-bit byte");
  set->add_option("OFFSET", options->offset, "Where the byte lies")->required();
  set->add_option("--status", options->status, "Test status; left alone when not given")
      ->transform(CLI::CheckedTransformer(testStatusNames()));
  set->add_option("--count", options->count, "Fail count; left alone when not given")
      ->check(CLI::Range(0, 7));
  addJsonFlag(set, options->json);
  set->footer("Example:\n  corvane status set 20 --status failed --count 2");
  setAction(set, [=] {
    if (!options->status && !options->count) {
      throw CommandError(kUsage, "status set needs --status, --count or both");
    }
    constexpr int32_t kKeepStatus = 4, kKeepCount = 8;
    return changeByte(
        options->offset, options->json,
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

/// A command on one byte of fixed use: shows it, or writes the status given.
void addFixedByte(CLI::App* group, const std::string& name, const std::string& about,
                  uint32_t offset, const StatusNames& names, void (*write)(int32_t status)) {
  struct Options {
    std::optional<int32_t> status;
    bool json = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand(name, about);
  command->add_option("STATUS", options->status, "What to write; without it the byte is shown")
      ->transform(CLI::CheckedTransformer(names));
  addJsonFlag(command, options->json);
  setAction(command, [=] {
    if (options->status) {
      return changeByte(
          offset, options->json, [&] { write(*options->status); },
          [&](uint8_t& byte) { changeTestStatus(&byte, static_cast<uint32_t>(*options->status)); });
    }
    requireReady();
    printByte(offset, readByte(offset), options->json);
    return kDone;
  });
}

}  // namespace

void addStatusGroup(CLI::App& app) {
  CLI::App* group = app.add_subcommand(
      "status", "Show the control-bit bytes, in which each station keeps its test status");
  group->footer(
      "Examples:\n"
      "  corvane status --written             only bytes that a station wrote\n"
      "  corvane status --from 16 --to 31 --json\n"
      "  corvane status suite passed");
  addShow(group);
  addSet(group);
  addFixedByte(group, "suite", "Show or write the test suite's byte, at offset 18",
               kSuiteStatusOffset, testStatusNames(), &ControlBits::writeCorvaneStatus);
  addFixedByte(group, "log-collection", "Show or write the log-collection byte, at offset 9",
               kLogCollectionOffset, logCollectionStatusNames(),
               &ControlBits::writeLogCollectionStatus);
}

}  // namespace corvane::tools
