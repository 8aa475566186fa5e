#include "controlbits/diagnostic_record.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "platform/text.h"

namespace corvane {

template <typename Time>
CFRef<CFStringRef> messageOf(const DiagnosticRecord<Time>& record) {
  return textFromBytes({record.message, strnlen(record.message, sizeof(record.message))});
}

template <typename Time>
DiagnosticRecord<Time> swapForSlot(DiagnosticRecord<Time> record) {
  if constexpr (std::endian::native == std::endian::big) {
    auto bytes = std::bit_cast<std::array<uint8_t, sizeof(Time)>>(record.time);
    std::ranges::reverse(bytes);
    record.time = std::bit_cast<Time>(bytes);
  }
  return record;
}

template <typename Time>
std::optional<DiagnosticRecord<Time>> recordInSlot(std::span<const uint8_t> contents, size_t slot) {
  const size_t offset = slotOffset<Time>(slot);
  DiagnosticRecord<Time> record;
  if (offset + sizeof(record) > contents.size()) return std::nullopt;
  std::memcpy(&record, &contents[offset], sizeof(record));
  return swapForSlot(record);
}

template CFRef<CFStringRef> messageOf(const DiagnosticRecord<int64_t>&);
template CFRef<CFStringRef> messageOf(const DiagnosticRecord<int32_t>&);
template DiagnosticRecord<int64_t> swapForSlot(DiagnosticRecord<int64_t>);
template DiagnosticRecord<int32_t> swapForSlot(DiagnosticRecord<int32_t>);
template std::optional<DiagnosticRecord<int64_t>> recordInSlot<int64_t>(std::span<const uint8_t>,
                                                                        size_t);
template std::optional<DiagnosticRecord<int32_t>> recordInSlot<int32_t>(std::span<const uint8_t>,
                                                                        size_t);

}  // namespace corvane
