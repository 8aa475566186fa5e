#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/printable.h"
#include "tools/command_line.h"
#include "tools/dump_kind_option.h"
#include "tools/files.h"
#include "tools/inspect/area_map.h"
#include "tools/inspect/dump_inspector.h"
#include "tools/inspect/dump_view.h"
#include "tools/json_output.h"

namespace corvane::tools {
namespace {

/// Far above the size of any data set, in bytes.
constexpr size_t kMaxSize = size_t{1} << 20;

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

void printJsonOf(const InspectOptions& options, const FileBytes& file, const Dump& dump) {
  nlohmann::ordered_json json = {{"file", options.file},
                                 {"size", file.bytes.size()},
                                 {"isWhole", file.isWhole},
                                 {"kind", kindName(dump.kind)},
                                 {"reason", dump.reason}};
  if (dump.area) json.update(areaAsJson(*dump.area));
  if (dump.diagnosticData) json.update(diagnosticDataAsJson(*dump.diagnosticData));
  json["findings"] = findingsAsJson(dump.findings);
  printJson(json);
}

void printArea(const AreaReport& report, bool withMap) {
  for (const auto& [condition, holds] : report.checks) {
    std::cout << (holds ? "  yes  " : "  NO   ") << condition << "\n";
  }
  const auto found = std::ranges::count_if(report.entries, &AreaEntry::isFound);
  std::cout << "\nA unit "
            << (report.isHeaderSound ? "finds " + std::to_string(found) + " of " +
                                           std::to_string(report.entries.size()) + " entries"
                                     : "treats it as an empty store, which its next change writes")
            << ".\n\n";
  if (!report.entries.empty()) entryTable(report).print(std::cout);
  if (withMap) {
    std::cout << "\n";
    printMap(std::cout, report, isColouredOutput());
  }
}

void printDiagnosticData(const DiagnosticReport& report) {
  if (report.controlBits.empty()) {
    std::cout << "No control-bit byte was written.\n";
  } else {
    controlBitTable(report.controlBits).print(std::cout);
  }
  std::cout << "\n"
            << report.records.size() << " diagnostic "
            << (report.records.size() == 1 ? "record" : "records") << " (times of "
            << report.timeBits << " bits)\n";
  if (!report.records.empty()) recordTable(report.records).print(std::cout);
}

ExitStatus inspect(const InspectOptions& options) {
  const FileBytes file = readFile(options.file, kMaxSize);
  const Dump dump = inspectDump(file.bytes, options.hints);
  const bool isGood = dump.kind != DumpKind::kUnknown && dump.findings.empty();
  const ExitStatus status = isGood ? kDone : kFailed;
  if (options.json) {
    printJsonOf(options, file, dump);
    return status;
  }
  std::cout << printable(options.file) << ": " << kindName(dump.kind) << ", "
            << (file.isWhole ? "" : "over ") << file.bytes.size() << " bytes: " << dump.reason
            << "\n";
  if (dump.kind != DumpKind::kUnknown) std::cout << "\n";
  if (dump.area) printArea(*dump.area, options.map);
  if (dump.diagnosticData) printDiagnosticData(*dump.diagnosticData);
  if (!dump.findings.empty()) {
    std::cout << "\n";
    findingTable(dump.findings).print(std::cout);
  } else if (isGood) {
    std::cout << "\nNo damage was found.\n";
  }
  return status;
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
