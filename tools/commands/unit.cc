#include <iostream>
#include <nlohmann/json.hpp>

#include "host/include/unit_lock.h"
#include "host/include/virtual_device.h"
#include "tools/command_line.h"
#include "tools/documents/documents.h"
#include "tools/files.h"
#include "tools/json_output.h"

namespace corvane::tools {
namespace {

using host::VirtualDevice;

struct UnitOptions {
  std::string source, other, to;
  std::optional<DumpKind> kind;
  bool json = false;
};

void exportUnit(const UnitOptions& options) {
  const std::string source =
      options.source.empty()
          ? VirtualDevice::existing(VirtualDevice::defaultFolder()).folder().string()
          : options.source;
  const UnitImage image = readImage(source, options.kind);
  requireDistinctOutputs({{"-o", options.to}}, image.sources);
  writeFile(options.to.empty() ? "-" : options.to, documentText(image));
}

/// Writes the raw bytes of a dump's image to `to`, or puts them in the unit's data set.
void importDump(const UnitImage& image, const std::string& to) {
  const auto& [path, contents] = *image.files.begin();
  if (!to.empty()) return writeFile(to, contents);
  const VirtualDevice unit(VirtualDevice::defaultFolder());
  const host::UnitLock lock(unit.folder());
  UnitImage changed = readUnitFolder(unit.folder());
  changed.files[path] = contents;
  changed.files.erase(path.substr(0, path.size() - 3) + "committed");
  installUnit(unit.folder(), changed);
}

void importUnit(const UnitOptions& options) {
  const UnitImage image = readImage(options.source, options.kind);
  requireDistinctOutputs({{"-o", options.to}}, image.sources);
  if (!image.isUnit()) return importDump(image, options.to);
  installUnit(options.to.empty() ? VirtualDevice::defaultFolder().string() : options.to, image);
}

ExitStatus diff(const UnitOptions& options) {
  const nlohmann::ordered_json differences = differencesOf(readImage(options.source, options.kind),
                                                           readImage(options.other, options.kind));
  if (options.json) {
    printJson({{"a", options.source},
               {"b", options.other},
               {"same", differences.empty()},
               {"differences", differences}});
  } else {
    printDifferences(std::cout, differences);
  }
  return differences.empty() ? kDone : kFailed;
}

void addExport(Command group) {
  Command command = group.add(
      "export", "Write what a unit holds, or a raw dump, as one JSON document",
      "The document holds the registry, the NVRAM variables, the data sets with their uncommitted\n"
      "changes, the version file, the test log and the marks of collected logs: each file's raw\n"
      "contents and what they decode to. The system log and other files are not in it.\n"
      "Examples:\n"
      "  corvane unit export -o unit.json\n"
      "  corvane unit export area.bin --as syscfg -o area.json");
  auto& options = command.actionOn<UnitOptions>(exportUnit);
  command.file("SOURCE", options.source,
               "A unit's folder, a raw dump or an earlier export; without it, the unit");
  command.output(options.to, "The file to write; standard output when not given, or -", "--to");
  command.choice("--as", options.kind, kDumpKindsHelp, kDumpKinds);
}

void addImport(Command group) {
  Command command = group.add(
      "import", "Make the unit what an exported document says, as one change",
      "All of the document takes effect or nothing does, even when the import is killed. Files of\n"
      "the unit that no export has stay. A document whose decoded parts contradict its raw\n"
      "contents is refused. Stop what uses the unit first: log lines that it writes meanwhile are\n"
      "lost.\n"
      "Examples:\n"
      "  corvane unit import unit.json\n"
      "  corvane unit import area.json -o area.bin");
  auto& options = command.actionOn<UnitOptions>(importUnit);
  command
      .file("SOURCE", options.source,
            "The document, a unit's folder or a raw dump; - is standard input")
      .required();
  command.output(options.to,
                 "The unit's folder to make or replace, or the raw dump file to write;\n"
                 "without it, the unit",
                 "--to");
  command.choice("--as", options.kind, kDumpKindsHelp, kDumpKinds);
}

void addDiff(Command group) {
  Command command = group.add(
      "diff", "Show how two units or dumps differ, in words",
      "Of a dump and a unit, the dump's data set is compared. Bytes that differ although all that\n"
      "they decode to is the same come last, as raw bytes.\n"
      "Exit status: 0 the same, 1 different.\n"
      "Example:\n  corvane unit diff before.json \"$(corvane device path)\"");
  auto& options = command.actionOn<UnitOptions>(diff);
  command.file("A", options.source, "A unit's folder, an export or a raw dump").required();
  command.file("B", options.other, "What to compare it with; - is standard input").required();
  command.choice("--as", options.kind, kDumpKindsHelp, kDumpKinds);
  command.jsonFlag(options.json);
}

}  // namespace

void addUnit(CLI::App& app) {
  Command group = Command(app).addGroup(
      "unit", "Export, import and compare units as documents that people can read",
      "Examples:\n"
      "  corvane unit export -o unit.json\n"
      "  corvane unit diff unit-1.json unit-2.json");
  addExport(group);
  addImport(group);
  addDiff(group);
}

}  // namespace corvane::tools
