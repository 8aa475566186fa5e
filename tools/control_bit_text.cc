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

std::vector<std::string> controlBitRow(size_t offset, uint8_t byte) {
  return {std::to_string(offset), hexNumber(byte, 2), unit::statusText(offset, byte),
          unit::hasFailCount(offset) ? std::to_string(failCountOf(byte)) : "", unit::useOf(offset)};
}

nlohmann::ordered_json controlBitAsJson(size_t offset, uint8_t byte) {
  nlohmann::ordered_json json = {{"offset", offset},
                                 {"byte", byte},
                                 {"status", unit::statusName(offset, byte)},
                                 {"failCount", failCountOf(byte)},
                                 {"upperBits", byte >> 5}};
  if (!unit::useOf(offset).empty()) json["use"] = unit::useOf(offset);
  return json;
}

}  // namespace corvane::tools
