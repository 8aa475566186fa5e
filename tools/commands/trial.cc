#include "tools/trial/trial.h"

#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <thread>

#include "platform/printable.h"
#include "tools/command_line.h"
#include "tools/json_output.h"
#include "tools/terminal/terminal.h"

namespace corvane::tools {
namespace {

using namespace trial;

using nlohmann::ordered_json;

void printText(const ordered_json& summary) {
  for (const ordered_json& found : summary["findings"]) {
    const auto text = [&](const char* field) { return printable(found[field].get<std::string>()); };
    std::cout << text("finding") << ": " << text("case") << ": " << text("reason") << "\n    "
              << text("repeat") << "\n\n";
  }
  std::vector<Column> columns = {{"kind"}, {"cases", Align::kRight}};
  for (const std::string& finding : kFindings) columns.push_back({finding, Align::kRight});
  Table table(columns);
  for (const auto& [kind, counts] : summary["kinds"].items()) {
    std::vector<std::string> row = {kind};
    for (const ordered_json& count : counts) row.push_back(count.dump());
    table.addRow(row);
  }
  table.print(std::cout);
  const size_t left = summary["planned"].get<size_t>() - summary["cases"].get<size_t>();
  if (left > 0) std::cout << left << " cases were not run\n";
}

struct TrialOptions : Options {
  bool json = false;
};

ExitStatus tryAndPrint(const TrialOptions& options) {
  const ordered_json summary = tryStation(options);
  options.json ? printJson(summary) : printText(summary);
  std::map<std::string, size_t> counts;
  for (const ordered_json& kind : summary["kinds"]) {
    for (const auto& [name, count] : kind.items()) counts[name] += count.get<size_t>();
  }
  if (counts["lie"] + counts["hang"] + counts["crash"] > 0) return kFailed;
  return counts["cases"] > 0 && counts["not reached"] * 2 <= counts["cases"] ? kDone : kNotReady;
}

}  // namespace

void addTrial(CLI::App& app) {
  Command command = Command(app).add(
      "trial", "Try whether a station program ever lies about a unit",
      "Runs the station on a good unit, then on units that fail, while it is killed, and while\n"
      "others change the unit, and compares each exit status with what the unit shows. Each case\n"
      "has a unit of its own in $TMPDIR.\n"
      "Exit status: 0 nothing found, 1 lies, hangs or crashes, 2 wrong usage, 3 the station does\n"
      "not pass on a good unit, or more than half of the cases were not reached.\n"
      "Examples:\n"
      "  corvane trial ./speaker\n"
      "  corvane trial ./old_station --status 24 --poison 25 --record 8 -- --fast");
  auto& options = command.actionOn<TrialOptions>(tryAndPrint);
  options.jobs = std::max(1u, std::thread::hardware_concurrency());
  command.text("STATION", options.station.program, "The station's program").required();
  command.text("ARGUMENT", options.station.arguments, "What the station itself takes, after --");
  Option status =
      command.number("--status", options.toldStatusOffset,
                     "Status byte of a station that does not describe itself", {0, 127});
  Option poison =
      command.number("--poison", options.station.poisonOffset, "Its poison byte", {0, 127});
  Option record = command.number("--record", options.station.number,
                                 "Its number in records; not for one that leaves none");
  status.needs(poison);
  poison.needs(status);
  record.needs(status);
  command.choices("--only", options.kinds, "Only cases of this kind", kKinds);
  command.text("--case", options.onlyCase, "Only the case of this name");
  command.number("--seed", options.seed, "Chooses the random moments and the cases under a limit");
  command.number("--limit", options.maxCases, "The most cases to run (5000)", {1, 1'000'000});
  command.seconds("--time", options.maxSeconds, "Begin no case after so many seconds", 0, 1e6);
  command.file("--keep", options.keep,
               "Keep units, results and output of cases with findings in this folder");
  command.number("-j,--jobs", options.jobs, "Cases at a time (one for each processor)", {1, 1024});
  command.jsonFlag(options.json);
}

}  // namespace corvane::tools
