#include "tools/control_bit_text.h"

#include <nlohmann/json.hpp>

#include "controlbits/control_bit_byte.h"
#include "platform/number.h"

namespace corvane::tools {

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

nlohmann::ordered_json controlBitAsJson(const ControlBit& bit) {
  const auto& [offset, byte] = bit;
  nlohmann::ordered_json json = {{"offset", offset},
                                 {"byte", byte},
                                 {"status", unit::statusName(offset, byte)},
                                 {"failCount", failCountOf(byte)},
                                 {"upperBits", byte >> 5}};
  if (!unit::useOf(offset).empty()) json["use"] = unit::useOf(offset);
  return json;
}

nlohmann::ordered_json controlBitsAsJson(const std::vector<ControlBit>& bytes) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const ControlBit& bit : bytes) list.push_back(controlBitAsJson(bit));
  return list;
}

}  // namespace corvane::tools
