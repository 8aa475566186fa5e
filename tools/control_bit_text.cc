#include "tools/control_bit_text.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "controlbits/control_bit_byte.h"
#include "controlbits/poison_byte.h"
#include "platform/number.h"

namespace corvane::tools {

const StatusNames& testStatusNames() {
  static const StatusNames names = {{"passed", kCorvaneCotnrolBitsPassed},
                                    {"incomplete", kCorvaneControlBitsIncompleteTest},
                                    {"failed", kCorvaneControlBitsFailed},
                                    {"not-tested", kCorvaneControlBitsNotTested}};
  return names;
}

const StatusNames& logCollectionStatusNames() {
  static const StatusNames names = {{"complete", kLogCollectionControlBitsComplete},
                                    {"incomplete", kLogCollectionControlBitsIncomplete}};
  return names;
}

std::string statusName(uint8_t byte, const StatusNames& names) {
  const auto status = static_cast<int32_t>(testStatusOf(byte));
  for (const auto& [name, value] : names) {
    if (value == status) return name;
  }
  return "status " + std::to_string(status);
}

char markOf(uint8_t byte) {
  if (byte == 0xFF) return kUnwrittenMark;
  if (byte == poisonByte(0, true)) return kPoisonMark;
  switch (testStatusOf(byte)) {
    case kCorvaneCotnrolBitsPassed:
      return 'P';
    case kCorvaneControlBitsIncompleteTest:
      return 'I';
    case kCorvaneControlBitsFailed:
      return 'F';
    default:
      return 'N';
  }
}

std::string hexByte(uint8_t byte) { return hexNumber(byte, 2); }

std::string useOf(size_t offset) {
  if (offset == kLogCollectionOffset) return "log collection";
  return offset == kSuiteStatusOffset ? "test suite" : "";
}

nlohmann::ordered_json controlBitAsJson(size_t offset, uint8_t byte) {
  nlohmann::ordered_json json = {{"offset", offset},
                                 {"byte", byte},
                                 {"status", statusName(byte, testStatusNames())},
                                 {"failCount", failCountOf(byte)},
                                 {"upperBits", byte >> 5}};
  if (!useOf(offset).empty()) json["use"] = useOf(offset);
  return json;
}

}  // namespace corvane::tools
