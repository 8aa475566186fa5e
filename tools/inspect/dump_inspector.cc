#include "tools/inspect/dump_inspector.h"

#include <algorithm>

namespace corvane::tools {
namespace {

using Bytes = std::span<const uint8_t>;

/// Size of the data set "VelmoDiagnosticData" on most units; it may be another.
constexpr size_t kDiagnosticDataSize = 1024;

/// Why the bytes are a configuration area; empty when they are none.
std::string signsOfConfiguration(Bytes contents) {
  if (contents.size() < area::kHeaderSize) return "";
  const auto header = area::load<area::Header>(contents.data());
  if (header.magic == area::kMagic) return "it begins with the magic number";
  // A damaged magic number, when the other words fit each other.
  const int fitting = (header.version == area::kVersion) + (header.reserved == 0) +
                      (header.areaSize == kDeviceAreaSize) +
                      (header.tableEnd == area::entryOffset(header.count));
  if (fitting >= 3) return "its header is one but for the magic number";
  return "";
}

/// Why the bytes are control-bit bytes and records; empty when they are not. Stations leave bits
/// 5-7 of their bytes set, and the record slots make sense.
std::string signsOfDiagnosticData(Bytes contents, const DiagnosticReport& report) {
  if (contents.size() < kFirstRecordOffset) return "";
  const auto unusedBitsSet = std::ranges::count_if(contents.first(kFirstRecordOffset),
                                                   [](uint8_t byte) { return byte >= 0xE0; });
  if (unusedBitsSet < kFirstRecordOffset * 3 / 4) return "";
  if (contents.size() == kDiagnosticDataSize) {
    return "it has 1024 bytes and begins like control-bit bytes";
  }
  // Erased flash of any size begins like control-bit bytes too.
  const bool isErased = std::ranges::all_of(contents, [](uint8_t byte) { return byte == 0xFF; });
  if (isErased || report.plausibility <= 0) return "";
  return "it begins like control-bit bytes and goes on like records";
}

/// Why nothing can be made of the bytes.
std::string reasonForUnknown(Bytes contents) {
  if (contents.empty()) return "it is empty";
  const uint8_t first = contents.front();
  if (std::ranges::all_of(contents, [first](uint8_t byte) { return byte == first; })) {
    return first == 0xFF ? "it is erased flash: every byte is 0xff"
                         : "every byte of it is the same";
  }
  return "it has no header of a configuration area and does not begin like control-bit bytes";
}

}  // namespace

Dump inspectDump(Bytes contents, std::optional<int> timeBits) {
  Dump dump;
  dump.reason = signsOfConfiguration(contents);
  if (!dump.reason.empty()) {
    dump.kind = DumpKind::kConfiguration;
    dump.areaSize = std::min(contents.size(), kDeviceAreaSize);
    dump.area = reportOnArea(contents.first(dump.areaSize));
    dump.damages = dump.area->damages;
    if (contents.size() > kDeviceAreaSize) {
      dump.damages.push_back(
          {kDeviceAreaSize, contents.size() - kDeviceAreaSize, "lies behind the area"});
    }
    return dump;
  }
  const DiagnosticReport report =
      timeBits ? reportOnDiagnosticData(contents, *timeBits) : reportOnDiagnosticData(contents);
  dump.reason = signsOfDiagnosticData(contents, report);
  if (!dump.reason.empty()) {
    dump.kind = DumpKind::kDiagnosticData;
    dump.diagnosticData = report;
    dump.damages = report.damages;
    return dump;
  }
  dump.reason = reasonForUnknown(contents);
  return dump;
}

}  // namespace corvane::tools
