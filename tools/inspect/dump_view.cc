#include "tools/inspect/dump_view.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/terminal/table.h"

namespace corvane::tools {

void printRecords(std::ostream& out, const std::vector<RecordLine>& records) {
  Table table({{"OFFSET", Align::kRight},
               {"TIME"},
               {"STATION", Align::kRight},
               {"RESULT", Align::kRight},
               {"MESSAGE"}});
  for (const RecordLine& record : records) {
    table.addRow({std::to_string(record.offset), localTimeText(record.time).value_or("(no time)"),
                  std::to_string(record.station), std::to_string(record.result),
                  printable(record.bytes)});
  }
  table.print(out);
}

nlohmann::ordered_json recordAsJson(const RecordLine& record) {
  const std::optional<std::string> time = isoTimeText(record.time);
  return {{"offset", record.offset},
          {"time", time ? nlohmann::ordered_json(*time) : nlohmann::ordered_json(nullptr)},
          {"seconds", record.time},
          {"station", record.station},
          {"version", record.version},
          {"result", record.result},
          {"message", record.message}};
}

void printFindings(std::ostream& out, const std::vector<Finding>& findings) {
  Table table({{"OFFSET", Align::kRight}, {"BYTES", Align::kRight}, {"WHAT IS WRONG"}});
  for (const Finding& finding : findings) {
    table.addRow({std::to_string(finding.offset), std::to_string(finding.length), finding.reason});
  }
  table.print(out);
}

nlohmann::ordered_json findingsAsJson(const std::vector<Finding>& findings) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Finding& finding : findings) {
    list.push_back(
        {{"offset", finding.offset}, {"length", finding.length}, {"reason", finding.reason}});
  }
  return list;
}

}  // namespace corvane::tools
