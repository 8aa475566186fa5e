#include <nlohmann/json.hpp>

#include "controlbits/control_bit_byte.h"
#include "platform/number.h"
#include "platform/or_null.h"
#include "platform/printable.h"
#include "platform/text.h"
#include "tools/inspect/inspect.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;

/// Returns the list of what `asJson` makes of each item.
template <typename Item, typename AsJson>
Json jsonList(const std::vector<Item>& items, AsJson asJson) {
  Json list = Json::array();
  for (const Item& item : items) list.push_back(asJson(item));
  return list;
}

Json entryAsJson(const AreaEntry& entry) {
  const bool isSound = entry.fault.empty();
  Json json = {{"key", keyName(entry.key)},
               {"code", entry.key},
               {"kind", entry.isIndirect ? "indirect" : "inline"},
               {"offset", entry.offset},
               {"valueOffset", entry.valueOffset},
               {"found", entry.isFound},
               {"fault", isSound ? Json() : Json(entry.fault)}};
  json.update(isSound ? valueAsJson(entry.value, entry.writtenValue())
                      : Json{{"length", entry.valueLength}});
  return json;
}

}  // namespace

char markOf(size_t offset, uint8_t byte) {
  if (byte == 0xFF) return kUnwrittenMark;
  if (unit::mayBePoison(offset, byte)) return kMaybePoisonMark;
  return (unit::hasFailCount(offset) ? "PIFN" : "CI??")[testStatusOf(byte)];
}

Table controlBitTable(const std::vector<ControlBit>& bytes) {
  Table table(
      {{"OFFSET", Align::kRight}, {"BYTE"}, {"STATUS"}, {"FAIL COUNT", Align::kRight}, {"USE"}});
  for (const auto& [offset, byte] : bytes) {
    table.addRow({std::to_string(offset), hexNumber(byte, 2), unit::statusText(offset, byte),
                  unit::hasFailCount(offset) ? std::to_string(failCountOf(byte)) : "",
                  unit::useOf(offset)});
  }
  return table;
}

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

Json controlBitAsJson(const ControlBit& bit) {
  const auto& [offset, byte] = bit;
  Json json = {{"offset", offset},
               {"byte", byte},
               {"status", unit::statusName(offset, byte)},
               {"failCount", failCountOf(byte)},
               {"upperBits", byte >> 5}};
  if (!unit::useOf(offset).empty()) json["use"] = unit::useOf(offset);
  return json;
}

Json controlBitsAsJson(const std::vector<ControlBit>& bytes) {
  return jsonList(bytes, controlBitAsJson);
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
  return jsonList(records, [&](const unit::Record& each) { return recordAsJson(each, timeText); });
}

Json diagnosticDataAsJson(const DiagnosticReport& report, TimeText timeText) {
  return {{"controlBits", controlBitsAsJson(report.controlBits)},
          {"timeBits", report.timeBits},
          {"records", recordsAsJson(report.records, timeText)}};
}

Json valueAsJson(ByteSpan value, ByteSpan written) {
  const bool isText = isPlainText(written);
  return {{"length", value.size()},
          {"hex", hexText(value)},
          {"text", isText ? Json(std::string(written.begin(), written.end())) : Json()}};
}

Json entriesAsJson(const AreaReport& report) { return jsonList(report.entries, entryAsJson); }

Json areaAsJson(const AreaReport& report) {
  Json header;
  if (report.header) {
    header = {{"magic", report.header->magic},        {"tableEnd", report.header->table_end},
              {"areaSize", report.header->area_size}, {"version", report.header->version},
              {"reserved", report.header->reserved},  {"count", report.header->count}};
  }
  const auto checkAsJson = [](const auto& check) -> Json {
    return {{"condition", check.first}, {"holds", check.second}};
  };
  return {{"header", header},
          {"checks", jsonList(report.checks, checkAsJson)},
          {"isHeaderSound", report.isHeaderSound},
          {"entries", entriesAsJson(report)},
          {"free", {{"offset", report.freeBegin}, {"length", report.freeEnd - report.freeBegin}}},
          {"findings", findingsAsJson(report.findings)}};
}

Json findingsAsJson(const std::vector<Finding>& findings) {
  return jsonList(findings, [](const Finding& finding) -> Json {
    const auto& [offset, length, reason] = finding;
    return {{"offset", offset}, {"length", length}, {"reason", reason}};
  });
}

}  // namespace corvane::tools
