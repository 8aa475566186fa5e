#ifndef CORVANE_STATION_TESTING_SPEAKER_STATION_H_
#define CORVANE_STATION_TESTING_SPEAKER_STATION_H_

#include <sys/wait.h>
#include <unistd.h>

#include "log/log.h"
#include "station/station.h"
#include "testing/tool_run.h"
#include "unit/records.h"

/// A station for tests, and what a unit holds afterwards.
namespace corvane::station {

using corvane::testing::expectFields;
using corvane::testing::readText;
using nlohmann::json;
using ::testing::IsSubstring;

inline const Profile kStation = {
    .name = "speaker", .number = 8, .statusOffset = 20, .poisonOffset = 21, .runCountKey = "SPKR"};

/// What a data set "VelmoDiagnosticData" holds.
struct Held {
  explicit Held(const std::vector<uint8_t>& data) : status(data[20]), poison(data[21]) {
    for (const unit::Record& record : unit::recordsIn(data).records) {
      records.push_back(std::to_string(record.station) + "/" + std::to_string(record.result) + "/" +
                        record.message);
    }
  }

  uint8_t status, poison;
  std::vector<std::string> records;  ///< "STATION/RESULT/TEXT"
};

/// A fresh unit for the station, and a file for its results.
class StationTest : public corvane::testing::UnitTest {
 protected:
  std::filesystem::path resultsFile() const { return _folder.path() / "results.jsonl"; }
  std::vector<json> results() const {
    std::vector<json> lines;
    for (const std::string& line : corvane::testing::splitLines(readText(resultsFile()))) {
      lines.push_back(json::parse(line));
    }
    return lines;
  }
  Outcome runStation(const std::function<void(TestRun&)>& body, const Profile& profile = kStation) {
    return run(profile, {.results = resultsFile(), .unit = "SN1", .isQuiet = true}, body);
  }
  Held held() const { return Held(bytes()); }
  std::string log() const { return readText(_unit.filePath(kLogFile)); }
  void clearRecords() {
    std::vector<uint8_t> data = bytes();
    std::copy(_fresh.begin() + 128, _fresh.end(), data.begin() + 128);
    _unit.setDataSet("VelmoDiagnosticData", data);
  }

  const std::vector<uint8_t> _fresh = bytes();
};

inline void passingBody(TestRun& run) {
  run.phase("tone", [](Phase& phase) { phase.measure("loudness", 61, "dB", {.lower = 60}); });
}
inline void failingBody(TestRun& run) {
  run.phase("tone", [](Phase& phase) { phase.measure("loudness", 59, "dB", {.lower = 60}); });
}

/// Runs the station in a process of its own, whose status is 98 when an expectation fails there.
inline int runInChild(const std::function<int()>& station) {
  const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info()->result();
  const int failures = test->total_part_count();
  const pid_t child = ::fork();
  if (child == 0) {
    const int status = station();
    ::_exit(test->total_part_count() == failures ? status : 98);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace corvane::station

#endif  // CORVANE_STATION_TESTING_SPEAKER_STATION_H_
