#ifndef CORVANE_TOOLS_INSPECT_AREA_REPORT_H_
#define CORVANE_TOOLS_INSPECT_AREA_REPORT_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "dataarea/nor_access.h"
#include "syscfg/area_format.h"
#include "tools/inspect/finding.h"

namespace corvane::tools {

/// Size of the configuration area of every device, in bytes.
inline constexpr size_t kDeviceAreaSize = kConfigurationAreaSize;

/// One entry of a configuration area's table.
struct AreaEntry {
  uint32_t key;
  bool isIndirect;
  /// Where the entry and its value lie. A faulty entry may claim a value outside the area.
  size_t offset;
  size_t valueOffset;
  size_t valueLength;
  /// What is wrong with the entry; empty when it is sound.
  std::string fault;
  /// Whether a unit that looks up the key finds this entry.
  bool isFound = false;
};

struct HeaderCheckResult {
  const char* condition;
  bool holds;
};

/// What a configuration area holds, in whatever state it is.
struct AreaReport {
  /// Absent when the area is too small for a header.
  std::optional<area::Header> header;
  std::vector<HeaderCheckResult> checks;
  /// Whether all checks hold. If not, a unit treats the area as an empty store.
  bool isHeaderSound = false;
  /// In table order. As many as the header claims and the area can hold.
  std::vector<AreaEntry> entries;
  size_t freeBegin = 0;
  size_t freeEnd = 0;
  /// By offset.
  std::vector<Finding> findings;
};

AreaReport reportOnArea(std::span<const uint8_t> image);

/// Returns the bytes of the entry's value that lie inside `image`.
std::span<const uint8_t> valueOf(const AreaEntry& entry, std::span<const uint8_t> image);

/// Returns the value as it was probably written: without the free bytes at its end, for an inline
/// entry, which does not record the length of its value.
std::span<const uint8_t> writtenValueOf(const AreaEntry& entry, std::span<const uint8_t> image);

/// Returns `value` without the free bytes (0xFF) at its end.
std::span<const uint8_t> withoutFreeBytes(std::span<const uint8_t> value);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_AREA_REPORT_H_
