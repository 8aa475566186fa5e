#ifndef CORVANE_TOOLS_INSPECT_DUMP_INSPECTOR_H_
#define CORVANE_TOOLS_INSPECT_DUMP_INSPECTOR_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/inspect/area_report.h"
#include "tools/inspect/diagnostic_report.h"
#include "tools/inspect/finding.h"

namespace corvane::tools {

enum class DumpKind { kConfiguration, kDiagnosticData, kUnknown };

/// What a raw dump of one of a unit's data sets turned out to be. Any bytes have an answer.
struct Dump {
  DumpKind kind = DumpKind::kUnknown;
  /// What was seen that makes it of this kind.
  std::string reason;
  /// For a dump of the kind. The area is the first `areaSize` bytes of the dump.
  std::optional<AreaReport> area;
  size_t areaSize = 0;
  std::optional<DiagnosticReport> diagnosticData;
  /// All damage, by offset.
  std::vector<Finding> damages;
};

/// Finds out what `contents` are. `timeBits` is the width of the records' time values, 64 or 32;
/// without it, the one that makes more sense of them.
Dump inspectDump(std::span<const uint8_t> contents, std::optional<int> timeBits = {});

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_DUMP_INSPECTOR_H_
