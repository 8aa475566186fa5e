#include "tools/trial/trial.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <numeric>
#include <thread>

#include "platform/printable.h"
#include "tools/command_line.h"
#include "tools/json_output.h"
#include "tools/terminal/table.h"

namespace corvane::tools {
namespace {

using namespace trial;

std::string nameOf(const CaseFinding& found) {
  return kFindingNames[static_cast<size_t>(found.judgement.finding)];
}

void printText(const trial::Summary& summary) {
  constexpr size_t kMaxShown = 50;
  std::vector<Column> columns = {{"kind"}, {"cases", Align::kRight}};
  for (const char* finding : {"lies", "hangs", "crashes", "unjudged", "not reached"}) {
    columns.push_back({finding, Align::kRight});
  }
  Table table(columns);
  for (size_t kind = 0; kind < kKindNames.size(); ++kind) {
    const auto& counts = summary.counts[kind];
    std::vector<std::string> row = {
        kKindNames[kind], std::to_string(std::accumulate(counts.begin(), counts.end(), size_t{0}))};
    for (size_t i = 1; i < counts.size(); ++i) row.push_back(std::to_string(counts[i]));
    table.addRow(row);
  }
  table.print(std::cout);
  for (size_t i = 0; i < std::min(kMaxShown, summary.findings.size()); ++i) {
    const CaseFinding& found = summary.findings[i];
    std::cout << "\n"
              << nameOf(found) << ": " << printable(found.name) << ": "
              << printable(found.judgement.reason) << "\n    " << printable(found.repeat) << "\n";
  }
  if (summary.findings.size() > kMaxShown) {
    std::cout << "\n" << summary.findings.size() - kMaxShown << " more; --json shows all\n";
  }
  if (summary.cases < summary.planned) {
    std::cout << summary.planned - summary.cases << " cases were not run\n";
  }
}

void printAsJson(const trial::Summary& summary) {
  using nlohmann::ordered_json;
  const std::optional<uint8_t> number = summary.station.number;
  ordered_json document = {
      {"station", summary.station.program}, {"number", number ? ordered_json(*number) : nullptr},
      {"planned", summary.planned},         {"cases", summary.cases},
      {"seconds", summary.seconds},         {"interrupted", summary.isInterrupted}};
  for (size_t kind = 0; kind < kKindNames.size(); ++kind) {
    for (size_t finding = 0; finding < kFindingNames.size(); ++finding) {
      document["kinds"][kKindNames[kind]][kFindingNames[finding]] = summary.counts[kind][finding];
    }
  }
  document["findings"] = ordered_json::array();
  for (const CaseFinding& found : summary.findings) {
    document["findings"].push_back({{"kind", kKindNames[static_cast<size_t>(found.kind)]},
                                    {"case", found.name},
                                    {"finding", nameOf(found)},
                                    {"reason", found.judgement.reason},
                                    {"repeat", found.repeat}});
  }
  printJson(document);
}

struct TrialCommand {
  Options options;
  std::optional<uint8_t> status, poison, record;
  bool json = false;

  ExitStatus run() {
    if (status) {
      options.hasPlaces = true;
      options.station.statusOffset = *status;
      options.station.poisonOffset = *poison;
      options.station.number = record;
    }
    const trial::Summary summary = tryStation(options);
    json ? printAsJson(summary) : printText(summary);
    size_t notReached = 0;
    for (const auto& counts : summary.counts) notReached += counts.back();
    const bool isFound = std::ranges::any_of(summary.findings, [](const CaseFinding& found) {
      return found.judgement.finding != trial::Finding::kUnjudged;
    });
    if (isFound) return kFailed;
    return summary.cases > 0 && notReached * 2 <= summary.cases ? kDone : kNotReady;
  }
};

}  // namespace

void addTrial(CLI::App& app) {
  const auto trial = std::make_shared<TrialCommand>();
  Options& options = trial->options;
  options.jobs = std::max(1u, std::thread::hardware_concurrency());
  Command command =
      Command(app).add("trial", "Try whether a station program ever lies about a unit");
  command.text("STATION", options.station.program, "The station's program").required();
  command.text("ARGUMENT", options.station.arguments, "What the station itself takes, after --");
  Option status =
      command.number("--status", trial->status,
                     "Status byte of a station that does not describe itself", {0, 127});
  Option poison = command.number("--poison", trial->poison, "Its poison byte", {0, 127});
  Option record = command.number("--record", trial->record,
                                 "Its number in records; not for one that leaves none");
  status.needs(poison);
  poison.needs(status);
  record.needs(status);
  command.choices("--only", options.kinds, "Only cases of this kind",
                  {kKindNames.begin(), kKindNames.end()});
  command.text("--case", options.onlyCase, "Only the case of this name");
  command.number("--seed", options.seed, "Chooses the random moments and the cases under a limit");
  command.number("--limit", options.maxCases, "The most cases to run (5000)", {1, 1'000'000});
  command.seconds("--time", options.maxSeconds, "Begin no case after so many seconds", 0, 1e6);
  command.file("--keep", options.keep,
               "Keep units, results and output of cases with findings in this folder");
  command.number("-j,--jobs", options.jobs, "Cases at a time (one for each processor)", {1, 1024});
  command.jsonFlag(trial->json);
  command.footer(
      "Runs the station on a good unit, then on units that fail, while it is killed, and while\n"
      "others change the unit, and compares each exit status with what the unit shows. Each case\n"
      "has a unit of its own in $TMPDIR.\n"
      "Exit status: 0 nothing found, 1 lies, hangs or crashes, 2 wrong usage, 3 the station does\n"
      "not pass on a good unit, or more than half of the cases were not reached.\n"
      "Examples:\n"
      "  corvane trial ./speaker\n"
      "  corvane trial ./old_station --status 24 --poison 25 --record 8 -- --fast");
  command.action([=] { return trial->run(); });
}

}  // namespace corvane::tools
