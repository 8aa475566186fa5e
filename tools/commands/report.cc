#include "tools/report/report.h"

#include "tools/command_line.h"
#include "tools/files.h"
#include "tools/ps/ps.h"

namespace corvane::tools {
namespace {

struct ReportOptions {
  std::vector<std::string> sources;
  std::string out, recording;
  std::optional<DumpKind> kind;
};

void report(const ReportOptions& options) {
  if (options.out.empty()) throw CommandError(kUsage, "report needs -o, the page to write");
  std::vector<std::pair<std::string, UnitImage>> subjects;
  std::vector<std::string> inputs = {options.recording};
  for (const std::string& source : options.sources) {
    UnitImage image = readImage(source, options.kind);
    inputs.insert(inputs.end(), image.sources.begin(), image.sources.end());
    subjects.emplace_back(source, std::move(image));
  }
  requireDistinctOutputs({{"-o", options.out}}, inputs);
  std::string chart;
  if (!options.recording.empty()) {
    chart = plotSvg(openFile(options.recording).get(), options.recording);
  }
  writeFile(options.out, reportPage(subjects, chart));
}

}  // namespace

void addReport(CLI::App& app) {
  Command command = Command(app).add(
      "report", "Show units or dumps as one web page that stands alone",
      "The page loads nothing and has no scripts. It follows the reader's light or dark scheme,\n"
      "and can be printed.\n"
      "Example:\n  corvane report \"$(corvane device path)\" -o unit.html");
  auto& options = command.actionOn<ReportOptions>(report);
  command.text("SOURCE", options.sources, "Units' folders, exports or raw dumps").required();
  command.output(options.out, "The page to write; - is standard output", "--out");
  command.file("--recording", options.recording,
               "Lines of \"corvane ps --watch --json\" to show as a chart");
  command.choice("--as", options.kind, kDumpKindsHelp, kDumpKinds);
}

}  // namespace corvane::tools
