#include "tools/inspect/record_text.h"

#include <nlohmann/json.hpp>
#include <span>

#include "tools/inspect/value_text.h"
#include "tools/table.h"

namespace corvane::tools {
namespace {

/// The message as a terminal can be shown it, on one line.
std::string oneLine(const std::string& message) {
  const std::span bytes(reinterpret_cast<const uint8_t*>(message.data()), message.size());
  const bool isOneLine = message.find_first_of("\t\n") == std::string::npos;
  return isOneLine && isPlainText(bytes) ? message : escapedText(bytes);
}

}  // namespace

void printRecords(std::ostream& out, const std::vector<RecordLine>& records) {
  Table table({{"OFFSET", Align::kRight},
               {"TIME"},
               {"STATION", Align::kRight},
               {"RESULT", Align::kRight},
               {"MESSAGE"}});
  for (const RecordLine& record : records) {
    table.addRow({std::to_string(record.offset), timeText(record.time),
                  std::to_string(record.station), std::to_string(record.result),
                  oneLine(record.message)});
  }
  table.print(out);
}

nlohmann::ordered_json recordAsJson(const RecordLine& record) {
  return {{"offset", record.offset},   {"time", record.time},     {"station", record.station},
          {"version", record.version}, {"result", record.result}, {"message", record.message}};
}

}  // namespace corvane::tools
