#include "tools/inspect/inspect.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "platform/printable.h"
#include "tools/command_line.h"
#include "tools/files.h"
#include "tools/json_output.h"
#include "tools/terminal/terminal.h"

namespace corvane::tools {
namespace {

struct InspectOptions {
  std::string file;
  std::optional<DumpKind> kind;
  bool map = false, json = false;
};

const char* kindName(const Dump& dump) {
  if (dump.area) return "configuration area";
  return dump.diagnosticData ? "control-bit bytes and diagnostic records" : "unknown";
}

void printJsonOf(const InspectOptions& options, const FileBytes& file, const Dump& dump) {
  nlohmann::ordered_json json = {{"file", options.file},
                                 {"size", file.bytes.size()},
                                 {"isWhole", file.isWhole},
                                 {"kind", kindName(dump)},
                                 {"reason", dump.reason}};
  if (dump.area) json.update(*dump.area);
  if (dump.diagnosticData) json.update(diagnosticDataAsJson(*dump.diagnosticData));
  json["findings"] = dump.findings;
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
  entryTable(report).print(std::cout);
  if (withMap) printMap(std::cout << "\n", report, isColouredOutput());
}

void printDiagnosticData(const DiagnosticReport& report) {
  controlBitTable(report.controlBits).print(std::cout);
  std::cout << "\nDiagnostic records with times of " << report.timeBits << " bits:\n";
  recordTable(report.records).print(std::cout);
}

ExitStatus inspect(const InspectOptions& options) {
  // Far above the size of any data set.
  constexpr size_t kMaxSize = size_t{1} << 20;
  const FileBytes file = readFile(options.file, kMaxSize);
  const Dump dump = inspectDump(file.bytes, options.kind);
  const bool isKnown = dump.area || dump.diagnosticData;
  const ExitStatus status = isKnown && dump.findings.empty() ? kDone : kFailed;
  if (options.json) {
    printJsonOf(options, file, dump);
    return status;
  }
  std::cout << printable(options.file) << ": " << kindName(dump) << ", "
            << (file.isWhole ? "" : "over ") << file.bytes.size() << " bytes: " << dump.reason
            << (isKnown ? "\n\n" : "\n");
  if (dump.area) printArea(*dump.area, options.map);
  if (dump.diagnosticData) printDiagnosticData(*dump.diagnosticData);
  if (status == kDone) std::cout << "\nNo damage was found.\n";
  if (!dump.findings.empty()) std::cout << "\n" << findingTable(dump.findings).text();
  return status;
}

}  // namespace

void addInspect(CLI::App& app) {
  Command command = Command(app).add(
      "inspect", "Show what a raw dump of a unit's data set holds, and which parts are damaged",
      "No unit is needed. Exit status: 0 a sound dump, 1 a damaged or unknown one, 2 a file that\n"
      "cannot be read.\n"
      "Example:\n  corvane inspect field.bin --map");
  auto& options = command.actionOn<InspectOptions>(inspect);
  command.file("FILE", options.file, "The dump; - reads standard input").required();
  command.choice("--as", options.kind, kDumpKindsHelp, kDumpKinds);
  command.flag("--map", options.map, "Also draw the map of a configuration area");
  command.jsonFlag(options.json);
}

}  // namespace corvane::tools
