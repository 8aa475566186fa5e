#include "tools/inspect/finding.h"

#include <nlohmann/json.hpp>

#include "tools/table.h"

namespace corvane::tools {

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
