#ifndef CORVANE_TOOLS_INSPECT_AREA_REPORT_H_
#define CORVANE_TOOLS_INSPECT_AREA_REPORT_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
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
  size_t offset, valueOffset, valueLength;
  /// What is wrong with the entry; empty when it is sound.
  std::string fault = {};
  /// The bytes of the value that lie inside the area.
  std::vector<uint8_t> value = {};
  /// Whether a unit that looks up the key finds this entry.
  bool isFound = false;

  /// Returns the value as it was probably written: an inline entry does not record the length of
  /// its value, so that free bytes (0xFF) at its end are taken for what was not written.
  std::span<const uint8_t> writtenValue() const;
};

/// What a configuration area holds, damaged or not.
struct AreaReport {
  /// Size of the area in bytes.
  size_t size = 0;
  /// Absent when the area is too small for a header.
  std::optional<area::Header> header;
  /// The conditions of a sound header, and whether each holds.
  std::vector<std::pair<const char*, bool>> checks;
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

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_AREA_REPORT_H_
