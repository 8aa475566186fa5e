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

/// What a raw dump of one of a unit's data sets holds. Every input has an answer.
struct Dump {
  DumpKind kind = DumpKind::kUnknown;
  /// Why the dump is taken to be of this kind.
  std::string reason;
  /// Set for a configuration area: that of the first 8192 bytes at most.
  std::optional<AreaReport> area;
  std::optional<DiagnosticReport> diagnosticData;
  /// All findings, by offset.
  std::vector<Finding> findings;
};

/// What the caller knows about a dump; the rest is guessed.
struct DumpHints {
  std::optional<DumpKind> kind;
  /// Width of the records' time values in bits, 64 or 32.
  std::optional<int> timeBits;
};

Dump inspectDump(std::span<const uint8_t> contents, const DumpHints& hints = {});

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_DUMP_INSPECTOR_H_
