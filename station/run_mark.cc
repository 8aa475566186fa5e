#include "station/run_mark.h"

#include <algorithm>
#include <string>

#include "station/unit_visit.h"

namespace corvane::station {
namespace {

constexpr std::string_view kForm = "RUNS";

uint64_t littleEndian(std::span<const uint8_t> bytes) {
  uint64_t value = 0;
  for (size_t i = bytes.size(); i-- > 0;) value = value << 8 | bytes[i];
  return value;
}

}  // namespace

std::array<uint8_t, 16> bytesOf(const RunMark& mark) {
  std::array<uint8_t, 16> bytes = {};
  std::ranges::copy(kForm, bytes.begin());
  for (size_t i = 0; i < 4; ++i) bytes[4 + i] = static_cast<uint8_t>(mark.count >> (8 * i));
  for (size_t i = 0; i < 8; ++i) bytes[8 + i] = static_cast<uint8_t>(mark.run >> (8 * i));
  return bytes;
}

RunMark runMarkIn(std::span<const uint8_t> value, std::string_view key) {
  if (value.size() == sizeof(bytesOf({}))) {
    if (std::ranges::equal(value.first(4), kForm)) {
      return {static_cast<uint32_t>(littleEndian(value.subspan(4, 4))),
              littleEndian(value.subspan(8))};
    }
    if (std::ranges::count(value.subspan(4), 0xFF) == 12) {
      return {static_cast<uint32_t>(littleEndian(value.first(4))), 0};
    }
  }
  throw RefusedUnit("key " + std::string(key) + " holds " + std::to_string(value.size()) +
                    " bytes that are not a run count; it may be another's key");
}

}  // namespace corvane::station
