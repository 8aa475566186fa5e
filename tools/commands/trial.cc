#include "tools/trial/trial.h"

#include <iostream>
#include <memory>
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

/// Returns how many cases have the finding.
size_t countOf(const ordered_json& summary, const char* finding) {
  size_t count = 0;
  for (const ordered_json& kind : summary["kinds"]) count += kind[finding].get<size_t>();
  return count;
}

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

struct TrialCommand {
  Options options;
  std::optional<uint8_t> status;
  bool json = false;

  ExitStatus run() {
    if (status) {
      options.station.isOfKit = false;
      options.station.statusOffset = *status;
    }
    const ordered_json summary = tryStation(options);
    json ? printJson(summary) : printText(summary);
    const auto count = [&](const char* finding) { return countOf(summary, finding); };
    if (count("lie") + count("hang") + count("crash") > 0) return kFailed;
    return count("cases") > 0 && count("not reached") * 2 <= count("cases") ? kDone : kNotReady;
  }
};

}  // namespace

void addTrial(CLI::App& app) {
  const auto trial = std::make_shared<TrialCommand>();
  Options& options = trial->options;
  options.jobs = std::max(1u, std::thread::hardware_concurrency());
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
  command.text("STATION", options.station.program, "The station's program").required();
  command.text("ARGUMENT", options.station.arguments, "What the station itself takes, after --");
  Option status =
      command.number("--status", trial->status,
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
  command.jsonFlag(trial->json);
  command.action([=] { return trial->run(); });
}

}  // namespace corvane::tools
