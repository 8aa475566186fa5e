#include <algorithm>
#include <functional>

#include "controlbits/diagnostic_record.h"
#include "tools/inspect/inspect.h"

namespace corvane::tools {
namespace {

constexpr char kAsTold[] = "as the caller says";

/// Size of the data set "VelmoDiagnosticData" on most units; others are possible.
constexpr size_t kDiagnosticDataSize = 1024;

/// 2000-01-01. Zeroed bytes read as a record of 1970, which no station's clock shows.
constexpr int64_t kEarliestStationTime = 946684800;

/// Returns why the bytes are a configuration area; empty when they are not.
std::string signsOfConfiguration(ByteSpan contents) {
  if (contents.size() < area::kHeaderSize) return "";
  const auto header = area::load<area::Header>(contents.data());
  if (header.magic == area::kMagic) return "it begins with the magic number";
  // The magic number may be damaged while the other words fit each other.
  const int fitting = (header.version == area::kVersion) + (header.reserved == 0) +
                      (header.area_size == kDeviceAreaSize) +
                      (header.table_end == area::entryOffset(header.count));
  return fitting >= 3 ? "its header fits except for the magic number" : "";
}

/// Returns whether the record slots alone show that the bytes are diagnostic data: they hold a
/// sound record of a plausible time, and nothing that is neither a record nor a free slot.
bool hasSoundRecords(ByteSpan contents, const DiagnosticReport& report) {
  return contents.size() >= kFirstRecordOffset + kRecordSlots * report.recordSize &&
         report.findings.empty() && std::ranges::any_of(report.records, [](const auto& record) {
           return record.time >= kEarliestStationTime;
         });
}

/// Returns why the bytes are control-bit bytes and records; empty when they are not.
std::string signsOfDiagnosticData(ByteSpan contents, const DiagnosticReport& report) {
  if (contents.size() < kFirstRecordOffset) return "";
  // Stations leave bits 5 to 7 of a control-bit byte set.
  const auto usual = std::ranges::count_if(contents.first(kFirstRecordOffset),
                                           [](uint8_t byte) { return byte >= 0xE0; });
  if (usual < kFirstRecordOffset * 3 / 4) {
    return hasSoundRecords(contents, report) ? "it holds sound records at offset 128" : "";
  }
  if (contents.size() == kDiagnosticDataSize) {
    return "it has 1024 bytes and begins like control-bit bytes";
  }
  // Erased flash of any size begins like control-bit bytes too.
  const bool isErased = std::ranges::all_of(contents, [](uint8_t byte) { return byte == 0xFF; });
  if (isErased || report.plausibility <= 0) return "";
  return "it begins like control-bit bytes and goes on like records";
}

}  // namespace

const std::vector<Finding>& Dump::findings() const {
  static const std::vector<Finding> kNone;
  return area ? area->findings : diagnosticData ? diagnosticData->findings : kNone;
}

Dump inspectDump(ByteSpan contents, std::optional<DumpKind> kind) {
  if (kind == DumpKind::kConfiguration) return {*kind, kAsTold, reportOnArea(contents)};
  const DiagnosticReport report = reportOnDiagnosticData(contents);
  if (kind) return {*kind, kAsTold, {}, report};
  if (const std::string reason = signsOfConfiguration(contents); !reason.empty()) {
    return {DumpKind::kConfiguration, reason, reportOnArea(contents)};
  }
  if (const std::string reason = signsOfDiagnosticData(contents, report); !reason.empty()) {
    return {DumpKind::kDiagnosticData, reason, {}, report};
  }
  const bool isUniform =
      std::ranges::adjacent_find(contents, std::not_equal_to<>()) == contents.end();
  return {DumpKind::kUnknown, isUniform ? "every byte of it is the same"
                                        : "it is neither like a configuration area nor like "
                                          "control-bit bytes and records"};
}

}  // namespace corvane::tools
