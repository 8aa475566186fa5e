#include <nlohmann/json.hpp>

#include "controlbits/control_bit_byte.h"
#include "platform/number.h"
#include "platform/or_null.h"
#include "platform/printable.h"
#include "platform/text.h"
#include "tools/inspect/inspect.h"

namespace corvane::tools {
using Json = nlohmann::ordered_json;

char markOf(size_t offset, uint8_t byte) {
  if (byte == 0xFF) return '.';
  if (unit::mayBePoison(offset, byte)) return '!';
  return (unit::hasFailCount(offset) ? "PIFN" : "CI??")[testStatusOf(byte)];
}

Table controlBitTable(const std::vector<ControlBit>& bytes) {
  Table table(
      {{"Offset", Align::kRight}, {"Byte"}, {"Status"}, {"Fail count", Align::kRight}, {"Use"}});
  for (const auto& [offset, byte] : bytes) {
    table.addRow({std::to_string(offset), hexNumber(byte, 2), unit::statusText(offset, byte),
                  unit::hasFailCount(offset) ? std::to_string(failCountOf(byte)) : "",
                  unit::useOf(offset)});
  }
  return table;
}

Table recordTable(const std::vector<unit::Record>& records) {
  Table table({{"Offset", Align::kRight},
               {"Time"},
               {"Station", Align::kRight},
               {"Result", Align::kRight},
               {"Message"}});
  for (const unit::Record& record : records) {
    table.addRow({std::to_string(record.offset), localTimeText(record.time).value_or("(no time)"),
                  std::to_string(record.station), std::to_string(record.result),
                  printable(record.message)});
  }
  return table;
}

Table entryTable(const AreaReport& report, size_t valueWidth) {
  Table table({{"Key"}, {"Kind"}, {"Length", Align::kRight}, {"Value"}});
  for (const AreaEntry& entry : report.entries) {
    table.addRow({keyName(entry.key), entry.isIndirect ? "indirect" : "inline",
                  std::to_string(entry.valueLength),
                  entry.fault.empty()
                      ? shortened(printable(valueText(entry.writtenValue())), valueWidth)
                      : "(damaged)"});
  }
  return table;
}

Table findingTable(const std::vector<Finding>& findings) {
  Table table({{"Offset", Align::kRight}, {"Bytes", Align::kRight}, {"What is wrong"}});
  for (const auto& [offset, length, reason] : findings) {
    table.addRow({std::to_string(offset), std::to_string(length), reason});
  }
  return table;
}

void to_json(Json& json, const ControlBit& bit) {
  const auto& [offset, byte] = bit;
  json = {{"offset", offset},
          {"byte", byte},
          {"status", unit::statusName(offset, byte)},
          {"failCount", failCountOf(byte)},
          {"upperBits", byte >> 5}};
  if (!unit::useOf(offset).empty()) json["use"] = unit::useOf(offset);
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
  return {{"controlBits", report.controlBits},
          {"timeBits", report.timeBits},
          {"records", recordsAsJson(report.records, timeText)}};
}

Json keyAsJson(uint32_t key, ByteSpan value, ByteSpan written) {
  return {
      {"key", keyName(key)},
      {"code", key},
      {"length", value.size()},
      {"hex", hexText(value)},
      {"text", isPlainText(written) ? Json(std::string(written.begin(), written.end())) : Json()}};
}

void to_json(Json& json, const AreaEntry& entry) {
  json = keyAsJson(entry.key, entry.value, entry.writtenValue());
  json.update({{"kind", entry.isIndirect ? "indirect" : "inline"},
               {"offset", entry.offset},
               {"valueOffset", entry.valueOffset},
               {"found", entry.isFound},
               {"fault", orNull(entry.fault)},
               {"length", entry.valueLength}});
}

void to_json(Json& json, const AreaReport& report) {
  Json header, checks = Json::array();
  if (report.header) {
    header = {{"magic", report.header->magic},        {"tableEnd", report.header->table_end},
              {"areaSize", report.header->area_size}, {"version", report.header->version},
              {"reserved", report.header->reserved},  {"count", report.header->count}};
  }
  for (const auto& [condition, holds] : report.checks) {
    checks.push_back({{"condition", condition}, {"holds", holds}});
  }
  json = {{"header", header},
          {"checks", checks},
          {"isHeaderSound", report.isHeaderSound},
          {"entries", report.entries},
          {"free", {{"offset", report.freeBegin}, {"length", report.freeEnd - report.freeBegin}}},
          {"findings", report.findings}};
}

void to_json(Json& json, const Finding& finding) {
  const auto& [offset, length, reason] = finding;
  json = {{"offset", offset}, {"length", length}, {"reason", reason}};
}

std::optional<unit::Bytes> parseHex(std::string_view text) {
  unit::Bytes bytes;
  size_t at = 0;
  while ((at = text.find_first_not_of(" \t\r\n", at)) != std::string_view::npos) {
    const auto byte = parseNumber<uint8_t>("0x" + std::string(text.substr(at, 2)));
    if (!byte || at + 2 > text.size()) return std::nullopt;
    bytes.push_back(*byte);
    at += 2;
  }
  return bytes;
}

std::string valueText(ByteSpan value) {
  return isPlainText(value) ? std::string(value.begin(), value.end()) : "0x" + hexText(value);
}

}  // namespace corvane::tools
