#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "controlbits/control_bit_byte.h"
#include "platform/printable.h"
#include "tools/command_line.h"
#include "tools/control_bit_text.h"
#include "tools/dump_kind_option.h"
#include "tools/files.h"
#include "tools/inspect/area_view.h"
#include "tools/inspect/dump_inspector.h"
#include "tools/inspect/dump_view.h"
#include "tools/json_output.h"
#include "tools/terminal/table.h"

namespace corvane::tools {
namespace {

/// Far above the size of any data set, in bytes.
constexpr size_t kLimit = size_t{1} << 20;

struct InspectOptions {
  std::string file;
  DumpHints hints;
  bool map = false;
  bool json = false;
};

std::string kindName(DumpKind kind) {
  switch (kind) {
    case DumpKind::kConfiguration:
      return "configuration area";
    case DumpKind::kDiagnosticData:
      return "control-bit bytes and diagnostic records";
    case DumpKind::kUnknown:
      break;
  }
  return "unknown";
}

nlohmann::ordered_json diagnosticDataAsJson(const DiagnosticReport& report) {
  nlohmann::ordered_json controlBits = nlohmann::ordered_json::array();
  for (const auto& [offset, byte] : report.controlBits) {
    controlBits.push_back(controlBitAsJson(offset, byte));
  }
  nlohmann::ordered_json records = nlohmann::ordered_json::array();
  for (const RecordLine& record : report.records) {
    records.push_back(recordAsJson(record));
  }
  return {{"controlBits", controlBits}, {"timeBits", report.timeBits}, {"records", records}};
}

nlohmann::ordered_json dumpAsJson(const InspectOptions& options, const FileBytes& file,
                                  const Dump& dump) {
  nlohmann::ordered_json json = {{"file", options.file},
                                 {"size", file.bytes.size()},
                                 {"isWhole", file.isWhole},
                                 {"kind", kindName(dump.kind)},
                                 {"reason", dump.reason}};
  if (dump.area) json.update(areaAsJson(*dump.area, std::span(file.bytes).first(dump.areaSize)));
  if (dump.diagnosticData) json.update(diagnosticDataAsJson(*dump.diagnosticData));
  json["findings"] = findingsAsJson(dump.findings);
  return json;
}

void printArea(const Dump& dump, std::span<const uint8_t> area, bool withMap) {
  const AreaReport& report = *dump.area;
  std::cout << "\n";
  for (const HeaderCheckResult& check : report.checks) {
    std::cout << (check.holds ? "  yes  " : "  NO   ") << check.condition << "\n";
  }
  const auto found = std::ranges::count_if(report.entries, &AreaEntry::isFound);
  std::cout << "\nA unit "
            << (report.isHeaderSound ? "finds " + std::to_string(found) + " of " +
                                           std::to_string(report.entries.size()) + " entries"
                                     : "treats it as an empty store, which its next change writes")
            << ".\n\n";
  if (!report.entries.empty()) printEntries(std::cout, report, area);
  if (withMap) {
    std::cout << "\n";
    printMap(std::cout, report, area, isColouredOutput());
  }
}

void printDiagnosticData(const DiagnosticReport& report) {
  std::cout << "\n";
  Table bytes(
      {{"OFFSET", Align::kRight}, {"BYTE"}, {"STATUS"}, {"FAIL COUNT", Align::kRight}, {"USE"}});
  for (const auto& [offset, byte] : report.controlBits) {
    bytes.addRow(controlBitRow(offset, byte));
  }
  if (report.controlBits.empty()) {
    std::cout << "No control-bit byte was written.\n";
  } else {
    bytes.print(std::cout);
  }

  std::cout << "\n"
            << report.records.size() << " diagnostic "
            << (report.records.size() == 1 ? "record" : "records") << " (times of "
            << report.timeBits << " bits)\n";
  if (!report.records.empty()) printRecords(std::cout, report.records);
}

ExitStatus inspect(const InspectOptions& options) {
  const FileBytes file = readFile(options.file, kLimit);
  const Dump dump = inspectDump(file.bytes, options.hints);
  const bool isGood = dump.kind != DumpKind::kUnknown && dump.findings.empty();
  if (options.json) {
    printJson(dumpAsJson(options, file, dump));
    return isGood ? kDone : kFailed;
  }

  std::cout << printable(options.file) << ": " << kindName(dump.kind) << ", "
            << (file.isWhole ? "" : "over ") << file.bytes.size() << " bytes: " << dump.reason
            << "\n";
  if (dump.area) printArea(dump, std::span(file.bytes).first(dump.areaSize), options.map);
  if (dump.diagnosticData) printDiagnosticData(*dump.diagnosticData);
  if (!dump.findings.empty()) {
    std::cout << "\n";
    printFindings(std::cout, dump.findings);
  } else if (isGood) {
    std::cout << "\nNo damage was found.\n";
  }
  return isGood ? kDone : kFailed;
}

}  // namespace

void addInspect(CLI::App& app) {
  const auto options = std::make_shared<InspectOptions>();
  Command command = Command(app).add(
      "inspect", "Tell what a raw dump of a unit's data set holds, and which parts are damaged");
  command.file("FILE", options->file, "The dump; - reads standard input").required();
  addDumpKindOption(command, options->hints.kind);
  command.choice("--time-bits", options->hints.timeBits,
                 "Width of the unit's time values; guessed when not given",
                 std::map<std::string, int>{{"32", 32}, {"64", 64}});
  command.flag("--map", options->map, "Also draw the map of a configuration area");
  command.jsonFlag(options->json);
  command.footer(
      "No unit is needed. Exit status: 0 a sound dump, 1 a damaged or unknown one, 2 a file that\n"
      "cannot be read.\n"
      "Example:\n  corvane inspect unit-4711.bin --map");
  command.action([=] { return inspect(*options); });
}

}  // namespace corvane::tools
