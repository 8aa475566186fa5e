#include <algorithm>
#include <functional>
#include <tuple>

#include "controlbits/diagnostic_record.h"
#include "tools/inspect/inspect.h"

namespace corvane::tools {
namespace {

/// Returns what the bytes are a dump of, if that can be told, and the reason.
std::pair<std::optional<DumpKind>, std::string> guess(ByteSpan contents) {
  if (std::ranges::adjacent_find(contents, std::not_equal_to<>()) == contents.end()) {
    return {{}, "every byte of it is the same"};
  }
  if (contents.size() >= sizeof area::kMagic && area::loadWord(contents.data()) == area::kMagic) {
    return {DumpKind::kConfiguration, "it begins with the magic number"};
  }
  if (contents.size() == kConfigurationAreaSize &&
      area::loadWord(&contents[offsetof(area::Header, area_size)]) == kConfigurationAreaSize) {
    return {DumpKind::kConfiguration, "it has the size of an area, and its header says so"};
  }
  // Stations leave bits 5 to 7 of a control-bit byte set.
  const auto usual =
      std::ranges::count_if(contents.first(std::min<size_t>(contents.size(), kFirstRecordOffset)),
                            [](uint8_t byte) { return byte >= 0xE0; });
  if (usual >= kFirstRecordOffset * 3 / 4) {
    return {DumpKind::kDiagnosticData, "it begins like control-bit bytes"};
  }
  const DiagnosticReport report = reportOnDiagnosticData(contents);
  // Zeroed bytes read as a record of time 0.
  if (report.findings.empty() && !report.records.empty() && report.records[0].time > 0) {
    return {DumpKind::kDiagnosticData, "it holds sound records at offset 128"};
  }
  return {{}, "it is neither like a configuration area nor like control-bit bytes and records"};
}

}  // namespace

Dump inspectDump(ByteSpan contents, std::optional<DumpKind> kind) {
  Dump dump = {.reason = "as --as says"};
  if (!kind) std::tie(kind, dump.reason) = guess(contents);
  if (kind == DumpKind::kConfiguration) {
    dump.findings = dump.area.emplace(reportOnArea(contents)).findings;
  } else if (kind == DumpKind::kDiagnosticData) {
    dump.findings = dump.diagnosticData.emplace(reportOnDiagnosticData(contents)).findings;
  }
  return dump;
}

}  // namespace corvane::tools
