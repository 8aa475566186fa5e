#include <CLI/CLI.hpp>
#include <algorithm>
#include <ctime>
#include <iostream>
#include <nlohmann/json.hpp>

#include "controlbits/control_bits.h"
#include "controlbits/record_chain.h"
#include "dataarea/data_area.h"
#include "dataarea/data_sets.h"
#include "tools/command.h"
#include "tools/inspect/dump_view.h"
#include "tools/json_output.h"

namespace corvane::tools {
namespace {

/// In the width of this machine's time value, as the library reads and writes them.
using Chain = RecordChain<time_t>;
constexpr size_t kRoom = kRecordMessageRoom<time_t>;

Chain readUnitChain() {
  const uint8_t* bytes = nullptr;
  uint32_t length = 0;
  if (!getDataAreaBytePtr(&bytes, &length, diagnosticDataSet())) {
    throw CommandError(kNotReady, "the records cannot be read");
  }
  const std::span contents(bytes, length);
  Chain chain = readChain<time_t>(contents);
  if (chain.end == ChainEnd::kUnreadable) {
    throw CommandError(kNotReady, "the data set ends after " + std::to_string(length) +
                                      " bytes, before the chain of records does");
  }
  return chain;
}

ExitStatus list(bool json) {
  requireReady();
  const Chain chain = readUnitChain();
  std::vector<RecordLine> lines;
  for (size_t slot = 0; slot < chain.records.size(); ++slot) {
    lines.push_back(recordLine(slot, chain.records[slot]));
  }
  if (!json) {
    printRecords(std::cout, lines);
    return kDone;
  }
  nlohmann::ordered_json array = nlohmann::ordered_json::array();
  for (const RecordLine& line : lines) array.push_back(recordAsJson(line));
  printJson({{"records", array}});
  return kDone;
}

/// Refuses what a record would not hold whole. The library ends the process for a longer message,
/// and cuts one short whose characters take more than one byte.
CFRef<CFStringRef> recordMessage(const std::string& text) {
  if (std::any_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; })) {
    throw CommandError(kUsage, "'" + text + "' holds characters that are not ASCII");
  }
  if (text.size() > kRoom) {
    throw CommandError(kUsage, "'" + text + "' has " + std::to_string(text.size()) +
                                   " characters; a record holds " + std::to_string(kRoom));
  }
  return textArgument(text);
}

struct AddOptions {
  int32_t station = 0;
  int32_t result = 0;
  std::string message;
  bool json = false;
};

ExitStatus add(const AddOptions& options) {
  const CFRef<CFStringRef> message = recordMessage(options.message);
  requireReady();
  const Chain before = readUnitChain();
  if (!ControlBits::writeDiagnosticsRecord(static_cast<uint8_t>(options.station), options.result,
                                           message.get())) {
    throw CommandError(kFailed, "there is no room for a further record; see \"corvane log tail\"");
  }

  const Chain after = readUnitChain();
  const size_t slot = before.records.size();
  if (after.records.size() == slot + 1) {
    const RecordLine line = recordLine(slot, after.records[slot]);
    if (line.station == options.station && line.result == options.result &&
        line.message == options.message) {
      if (options.json) {
        printJson(recordAsJson(line));
      } else {
        printRecords(std::cout, {line});
      }
      return kDone;
    }
  }
  throw CommandError(kFailed, "the record does not read back; see \"corvane log tail\"");
}

void addAdd(CLI::App* group) {
  const auto options = std::make_shared<AddOptions>();
  CLI::App* command = group->add_subcommand("add", "Append a record to the chain");
  command
      ->add_option("MESSAGE", options->message,
                   "What it says, in ASCII; " + std::to_string(kRoom) + " characters at most")
      ->required();
  command->add_option("--station", options->station, "The writing station's number, 0 to 255")
      ->required()
      ->check(CLI::Range(0, 255));
  command->add_option("--result", options->result, "The test's result, 0 to 3")
      ->required()
      ->check(CLI::Range(0, 3));
  addJsonFlag(command, options->json);
  command->footer("Example:\n  corvane record add --station 12 --result 1 \"fixture 7\"");
  setAction(command, [=] { return add(*options); });
}

void addList(CLI::App* group) {
  const auto json = std::make_shared<bool>(false);
  CLI::App* command = group->add_subcommand("list", "Print the records, the first one first");
  addJsonFlag(command, *json);
  command->footer("Example:\n  corvane record list --json");
  setAction(command, [=] { return list(*json); });
}

}  // namespace

void addRecordGroup(CLI::App& app) {
  CLI::App* group =
      app.add_subcommand("record", "Show and append to the chain of at most 20 diagnostic records");
  group->require_subcommand(1);
  group->footer("Example:\n  corvane record add --station 12 --result 1 \"fixture 7\"");
  addAdd(group);
  addList(group);
}

}  // namespace corvane::tools
