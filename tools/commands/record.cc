#include <nlohmann/json.hpp>

#include "tools/command_line.h"
#include "tools/inspect/inspect.h"
#include "tools/json_output.h"
#include "tools/unit_access.h"
#include "unit/records.h"

namespace corvane::tools {
namespace {

void listRecords(bool json) {
  requireDataToLook();
  const std::vector<unit::Record> records = unit::readRecords().records;
  printResult(json, {{"records", recordsAsJson(records)}}, recordTable(records).text());
}

struct AddOptions {
  uint8_t station = 0;
  uint8_t result = 0;
  std::string message;
  bool json = false;
};

void appendRecord(const AddOptions& options) {
  if (unit::textForRecord(options.message) != options.message) {
    throw CommandError(kUsage, "'" + options.message + "' does not fit a record, which holds " +
                                   std::to_string(unit::kMaxRecordMessage) +
                                   " bytes of UTF-8 without control characters");
  }
  unit::openDataArea();
  const unit::Record record = changeUnit([&](unit::Lock& lock) {
    return unit::appendRecord(lock, options.station, options.result, options.message);
  });
  printResult(options.json, recordAsJson(record), recordTable({record}).text());
}

void addAdd(Command group) {
  Command command =
      group.add("add", "Append a record to the chain",
                "Example:\n  corvane record add --station 12 --result 1 \"fixture 7\"");
  auto& options = command.actionOn<AddOptions>(appendRecord);
  command
      .text("MESSAGE", options.message,
            "UTF-8 text of at most " + std::to_string(unit::kMaxRecordMessage) + " bytes")
      .required();
  command.number("--station", options.station, "Number of the writing station, 0 to 255")
      .required();
  command.number("--result", options.result, "Result of the test, 0 to 3", {0, 3}).required();
  command.jsonFlag(options.json);
}

}  // namespace

void addRecord(CLI::App& app) {
  Command group = Command(app).addGroup(
      "record", "Show and append to the chain of at most 20 diagnostic records",
      "Example:\n  corvane record add --station 12 --result 1 \"fixture 7\"");
  addAdd(group);
  addLook(group, "list", "Print the records, the first one first", "", listRecords);
}

}  // namespace corvane::tools
