#ifndef CORVANE_TOOLS_INSPECT_AREA_REPORT_H_
#define CORVANE_TOOLS_INSPECT_AREA_REPORT_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "syscfg/area_format.h"
#include "tools/inspect/finding.h"

namespace corvane::tools {

/// Size of the configuration area of every device.
inline constexpr size_t kDeviceAreaSize = 8192;

/// One entry of a configuration area's table.
struct AreaEntry {
  uint32_t key;
  bool isIndirect;
  /// Where the entry and its value lie. A faulty entry may claim a value outside the area.
  size_t offset;
  size_t valueOffset;
  size_t valueLength;
  /// Why it is not sound; empty when it is.
  std::string fault;
  /// Whether a unit finds this value under this key.
  bool isFound = false;
};

struct HeaderCheckResult {
  const char* condition;
  bool holds;
};

/// What a configuration area holds, whatever state it is in.
struct AreaReport {
  /// Absent when the area is too small for one.
  std::optional<area::Header> header;
  std::vector<HeaderCheckResult> checks;
  /// Whether all checks hold; without that, a unit takes the area for an empty store.
  bool isHeaderSound = false;
  /// In table order, as many as are claimed and the area has.
  std::vector<AreaEntry> entries;
  size_t freeBegin = 0;
  size_t freeEnd = 0;
  /// By offset.
  std::vector<Finding> damages;
};

AreaReport reportOnArea(std::span<const uint8_t> image);

/// The bytes of the entry's value that the area has.
std::span<const uint8_t> valueOf(const AreaEntry& entry, std::span<const uint8_t> image);

/// A value as it was probably written: one that is kept inside its entry does not record its
/// length, and free bytes follow it there.
std::span<const uint8_t> withoutFreeBytes(std::span<const uint8_t> value);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_AREA_REPORT_H_
