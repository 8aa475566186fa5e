#include "unit/byte_text.h"

#include "controlbits/control_bit_byte.h"
#include "controlbits/poison_byte.h"

namespace corvane::unit {

std::string useOf(size_t offset) {
  if (offset == kLogCollectionOffset) return "log collection";
  return offset == kSuiteStatusOffset ? "test suite" : "";
}

std::string statusName(size_t offset, uint8_t byte) {
  static const char* const kTest[] = {"passed", "incomplete", "failed", "not-tested"};
  static const char* const kLogCollection[] = {"complete", "incomplete", "status 2", "status 3"};
  return (offset == kLogCollectionOffset ? kLogCollection : kTest)[testStatusOf(byte)];
}

bool mayBePoison(size_t offset, uint8_t byte) {
  return useOf(offset).empty() && byte == poisonByte(0, true);
}

bool hasFailCount(size_t offset) { return offset != kLogCollectionOffset; }

std::string statusText(size_t offset, uint8_t byte) {
  return statusName(offset, byte) + (mayBePoison(offset, byte) ? ", or poisoned" : "");
}

std::string byteText(size_t offset, uint8_t byte) {
  const std::string use = useOf(offset);
  const bool hasCount = hasFailCount(offset) && !mayBePoison(offset, byte);
  return use + (use.empty() ? "" : ": ") + statusText(offset, byte) +
         (hasCount ? ", fail count " + std::to_string(failCountOf(byte)) : "");
}

}  // namespace corvane::unit
