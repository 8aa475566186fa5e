#include "tools/control_bit_text.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "controlbits/control_bit_byte.h"
#include "controlbits/conventions.h"

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

std::string hexByte(uint8_t byte) {
  std::array<char, 5> text{};
  std::snprintf(text.data(), text.size(), "0x%02x", byte);
  return text.data();
}

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
