#include "tools/inspect/dump_inspector.h"

#include <algorithm>

#include "controlbits/diagnostic_record.h"

namespace corvane::tools {
namespace {

using Bytes = std::span<const uint8_t>;

/// Size of the data set "VelmoDiagnosticData" on most units; others are possible.
constexpr size_t kDiagnosticDataSize = 1024;

/// 2000-01-01. Zeroed bytes read as a record of 1970, which no station's clock shows.
constexpr int64_t kEarliestStationTime = 946684800;

/// Returns why the bytes are a configuration area; empty when they are not.
std::string signsOfConfiguration(Bytes contents) {
  if (contents.size() < area::kHeaderSize) return "";
  const auto header = area::load<area::Header>(contents.data());
  if (header.magic == area::kMagic) return "it begins with the magic number";
  // The magic number may be damaged while the other words fit each other.
  const int fitting = (header.version == area::kVersion) + (header.reserved == 0) +
                      (header.area_size == kDeviceAreaSize) +
                      (header.table_end == area::entryOffset(header.count));
  if (fitting >= 3) return "its header fits except for the magic number";
  return "";
}

/// Returns whether the bytes begin like control-bit bytes, whose bits 5-7 stations leave set.
bool beginsLikeControlBits(Bytes contents) {
  const auto unusedBitsSet = std::ranges::count_if(contents.first(kFirstRecordOffset),
                                                   [](uint8_t byte) { return byte >= 0xE0; });
  return unusedBitsSet >= kFirstRecordOffset * 3 / 4;
}

/// Returns whether the record slots alone show that the bytes are diagnostic data: they hold a
/// sound record of a plausible time, and nothing that is neither a record nor a free slot.
bool hasSoundRecords(Bytes contents, const DiagnosticReport& report) {
  return contents.size() >= kFirstRecordOffset + kRecordSlots * report.recordSize &&
         report.findings.empty() && std::ranges::any_of(report.records, [](const auto& record) {
           return record.time >= kEarliestStationTime;
         });
}

/// Returns why the bytes are control-bit bytes and records; empty when they are not.
std::string signsOfDiagnosticData(Bytes contents, const DiagnosticReport& report) {
  if (contents.size() < kFirstRecordOffset) return "";
  if (!beginsLikeControlBits(contents)) {
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

std::string reasonForUnknown(Bytes contents) {
  if (contents.empty()) return "it is empty";
  const uint8_t first = contents.front();
  if (std::ranges::all_of(contents, [first](uint8_t byte) { return byte == first; })) {
    return first == 0xFF ? "it is erased flash: every byte is 0xff"
                         : "every byte of it is the same";
  }
  if (contents.size() >= kFirstRecordOffset && beginsLikeControlBits(contents)) {
    return "it begins like control-bit bytes, but does not go on like records";
  }
  return "it begins neither like a configuration area nor like control-bit bytes";
}

Dump configurationDump(Bytes contents, std::string reason) {
  Dump dump;
  dump.kind = DumpKind::kConfiguration;
  dump.reason = std::move(reason);
  dump.area = reportOnArea(contents.first(std::min(contents.size(), kDeviceAreaSize)));
  dump.findings = dump.area->findings;
  if (contents.size() > kDeviceAreaSize) {
    dump.findings.push_back(
        {kDeviceAreaSize, contents.size() - kDeviceAreaSize, "lies after the area"});
  }
  return dump;
}

Dump diagnosticDump(DiagnosticReport report, std::string reason) {
  Dump dump;
  dump.kind = DumpKind::kDiagnosticData;
  dump.reason = std::move(reason);
  dump.findings = report.findings;
  dump.diagnosticData = std::move(report);
  return dump;
}

}  // namespace

Dump inspectDump(Bytes contents, const DumpHints& hints) {
  const std::string asTold = "as the caller says";
  if (hints.kind == DumpKind::kConfiguration) return configurationDump(contents, asTold);
  DiagnosticReport report = hints.timeBits ? reportOnDiagnosticData(contents, *hints.timeBits)
                                           : reportOnDiagnosticData(contents);
  if (hints.kind == DumpKind::kDiagnosticData) return diagnosticDump(std::move(report), asTold);

  std::string reason = signsOfConfiguration(contents);
  if (!reason.empty()) return configurationDump(contents, reason);
  reason = signsOfDiagnosticData(contents, report);
  if (!reason.empty()) return diagnosticDump(std::move(report), reason);
  Dump unknown;
  unknown.reason = reasonForUnknown(contents);
  return unknown;
}

}  // namespace corvane::tools
