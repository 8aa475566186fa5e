#include "tools/inspect/dump_view.h"

#include <nlohmann/json.hpp>

#include "platform/number.h"
#include "platform/or_null.h"
#include "platform/printable.h"
#include "platform/text.h"
#include "tools/inspect/value_text.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;

}  // namespace

Table recordTable(const std::vector<unit::Record>& records) {
  Table table({{"OFFSET", Align::kRight},
               {"TIME"},
               {"STATION", Align::kRight},
               {"RESULT", Align::kRight},
               {"MESSAGE"}});
  for (const unit::Record& record : records) {
    table.addRow({std::to_string(record.offset), localTimeText(record.time).value_or("(no time)"),
                  std::to_string(record.station), std::to_string(record.result),
                  printable(record.message)});
  }
  return table;
}

Table entryTable(const AreaReport& report, size_t valueWidth) {
  Table table({{"KEY"}, {"KIND"}, {"LENGTH", Align::kRight}, {"VALUE"}});
  for (const AreaEntry& entry : report.entries) {
    table.addRow({keyName(entry.key), entry.isIndirect ? "indirect" : "inline",
                  std::to_string(entry.valueLength),
                  entry.fault.empty() ? preview(entry.writtenValue(), valueWidth) : "(damaged)"});
  }
  return table;
}

Table findingTable(const std::vector<Finding>& findings) {
  Table table({{"OFFSET", Align::kRight}, {"BYTES", Align::kRight}, {"WHAT IS WRONG"}});
  for (const auto& [offset, length, reason] : findings) {
    table.addRow({std::to_string(offset), std::to_string(length), reason});
  }
  return table;
}

Json recordAsJson(const unit::Record& record, TimeText timeText) {
  return {{"offset", record.offset},
          {"time", orNull(timeText(record.time))},
          {"seconds", record.time},
          {"station", record.station},
          {"version", record.version},
          {"result", record.result},
          {"message", utf8Bytes(textFromBytes(record.message).get())}};
}

Json recordsAsJson(const std::vector<unit::Record>& records, TimeText timeText) {
  Json list = Json::array();
  for (const unit::Record& record : records) list.push_back(recordAsJson(record, timeText));
  return list;
}

Json diagnosticDataAsJson(const DiagnosticReport& report, TimeText timeText) {
  return {{"controlBits", controlBitsAsJson(report.controlBits)},
          {"timeBits", report.timeBits},
          {"records", recordsAsJson(report.records, timeText)}};
}

Json valueAsJson(std::span<const uint8_t> value, std::span<const uint8_t> written) {
  const bool isText = isPlainText(written);
  return {{"length", value.size()},
          {"hex", hexText(value)},
          {"text", isText ? Json(std::string(written.begin(), written.end())) : Json()}};
}

Json entriesAsJson(const AreaReport& report) {
  Json list = Json::array();
  for (const AreaEntry& entry : report.entries) {
    const bool isSound = entry.fault.empty();
    list.push_back({{"key", keyName(entry.key)},
                    {"code", entry.key},
                    {"kind", entry.isIndirect ? "indirect" : "inline"},
                    {"offset", entry.offset},
                    {"valueOffset", entry.valueOffset},
                    {"found", entry.isFound},
                    {"fault", isSound ? Json() : Json(entry.fault)}});
    list.back().update(isSound ? valueAsJson(entry.value, entry.writtenValue())
                               : Json{{"length", entry.valueLength}});
  }
  return list;
}

Json areaAsJson(const AreaReport& report) {
  Json header;
  if (report.header) {
    header = {{"magic", report.header->magic},        {"tableEnd", report.header->table_end},
              {"areaSize", report.header->area_size}, {"version", report.header->version},
              {"reserved", report.header->reserved},  {"count", report.header->count}};
  }
  Json checks = Json::array();
  for (const auto& [condition, holds] : report.checks) {
    checks.push_back({{"condition", condition}, {"holds", holds}});
  }
  return {{"header", header},
          {"checks", checks},
          {"isHeaderSound", report.isHeaderSound},
          {"entries", entriesAsJson(report)},
          {"free", {{"offset", report.freeBegin}, {"length", report.freeEnd - report.freeBegin}}},
          {"findings", findingsAsJson(report.findings)}};
}

Json findingsAsJson(const std::vector<Finding>& findings) {
  Json list = Json::array();
  for (const auto& [offset, length, reason] : findings) {
    list.push_back({{"offset", offset}, {"length", length}, {"reason", reason}});
  }
  return list;
}

}  // namespace corvane::tools
