#include <algorithm>
#include <ctime>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "controlbits/control_bits.h"
#include "controlbits/record_chain.h"
#include "tools/command.h"
#include "tools/command_line.h"
#include "tools/diagnostic_data.h"
#include "tools/inspect/dump_view.h"
#include "tools/inspect/value_text.h"
#include "tools/json_output.h"
#include "tools/standard_error.h"
#include "tools/unit_lock.h"

namespace corvane::tools {
namespace {

/// In the width of this machine's time value, as the library reads and writes them.
using Chain = RecordChain<time_t>;
constexpr size_t kRoom = kRecordMessageRoom<time_t>;

Chain readUnitChain() {
  const std::span<const uint8_t> contents = readDiagnosticData("the records");
  Chain chain = readChain<time_t>(contents);
  if (chain.end == ChainEnd::kUnreadable) {
    throw CommandError(kNotReady, "the data set ends after " + std::to_string(contents.size()) +
                                      " bytes, before the chain of records does");
  }
  return chain;
}

Chain readChainBack() try { return readUnitChain(); } catch (const CommandError&) {
  throw unknownChange("the records");
}

ExitStatus listRecords(bool json) {
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

/// Returns the message for a record. Refuses control characters and what a record would not hold
/// whole: the library ends the process for a longer message, and cuts one short whose characters
/// take more than one byte.
CFRef<CFStringRef> recordMessage(const std::string& text) {
  if (std::any_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; })) {
    throw CommandError(kUsage, "'" + text + "' holds characters that are not ASCII");
  }
  if (std::any_of(text.begin(), text.end(),
                  [](char c) { return isControlCharacter(static_cast<uint8_t>(c)); })) {
    throw CommandError(kUsage, "'" + text + "' holds control characters");
  }
  if (text.size() > kRoom) {
    throw CommandError(kUsage, "'" + text + "' has " + std::to_string(text.size()) +
                                   " characters; a record holds " + std::to_string(kRoom));
  }
  return textArgument(text);
}

struct AddOptions {
  uint8_t station = 0;
  int32_t result = 0;
  std::string message;
  bool json = false;
};

ExitStatus add(const AddOptions& options) {
  const CFRef<CFStringRef> message = recordMessage(options.message);
  requireReady();
  const UnitLock lock;
  const Chain before = readUnitChain();
  bool isWritten = false;
  const bool isRefused = runQuietly([&] {
    isWritten = ControlBits::writeDiagnosticsRecord(options.station, options.result, message.get());
  });

  const Chain after = readChainBack();
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
      if (isRefused) throw undurableChange("the record");
      return kDone;
    }
  }
  if (isWritten) {
    throw CommandError(kFailed, "the record does not read back; see \"corvane log tail\"");
  }
  if (slot < kRecordSlots) {
    throw CommandError(kNotReady, "the record was not added: the records cannot be read");
  }
  throw CommandError(kFailed, "there is no room for a further record; see \"corvane log tail\"");
}

void addAdd(Command group) {
  const auto options = std::make_shared<AddOptions>();
  Command command = group.add("add", "Append a record to the chain");
  command
      .text("MESSAGE", options->message,
            "ASCII text of at most " + std::to_string(kRoom) + " characters")
      .required();
  command.number("--station", options->station, "Number of the writing station, 0 to 255")
      .required();
  command.number("--result", options->result, "Result of the test, 0 to 3", {0, 3}).required();
  command.jsonFlag(options->json);
  command.footer("Example:\n  corvane record add --station 12 --result 1 \"fixture 7\"");
  command.action([=] { return add(*options); });
}

void addRecordList(Command group) {
  const auto json = std::make_shared<bool>(false);
  Command command = group.add("list", "Print the records, the first one first");
  command.jsonFlag(*json);
  command.footer("Example:\n  corvane record list --json");
  command.action([=] { return listRecords(*json); });
}

}  // namespace

void addRecordGroup(CLI::App& app) {
  Command group = Command(app).addGroup(
      "record", "Show and append to the chain of at most 20 diagnostic records",
      "Example:\n  corvane record add --station 12 --result 1 \"fixture 7\"");
  addAdd(group);
  addRecordList(group);
}

}  // namespace corvane::tools
