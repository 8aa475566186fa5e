#ifndef CORVANE_STATION_TESTING_SPEAKER_STATION_H_
#define CORVANE_STATION_TESTING_SPEAKER_STATION_H_

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <map>

#include "log/log.h"
#include "station/station.h"
#include "testing/tool_run.h"

/// A station for tests, and what a unit holds afterwards.
namespace corvane::station {

using corvane::testing::expectFields;
using corvane::testing::readText;
using nlohmann::json;
using ::testing::IsSubstring;

inline const Profile kStation = {
    .name = "speaker", .number = 8, .statusOffset = 20, .poisonOffset = 21, .runCountKey = "SPKR"};

/// What a unit's files hold, read by this test's own understanding of their layout.
struct Held {
  explicit Held(const std::filesystem::path& unit) {
    const std::string data = readText(unit / "data/VelmoDiagnosticData.bin");
    const auto byte = [&](size_t offset) { return static_cast<uint8_t>(data[offset]); };
    status = byte(20);
    poison = byte(21);
    for (size_t slot = 128; slot < 128 + 20 * 24; slot += 24) {
      const uint8_t flags = byte(slot + 9);
      const bool isContinued = (flags & 0x40) != 0;
      if (isContinued && data.compare(slot, 8, "\xFF\xFF\xFF\xFF\0\0\0\0", 8) == 0) break;
      records.push_back(std::to_string(byte(slot + 8)) + "/" + std::to_string(flags >> 4 & 3) +
                        "/" + data.substr(slot + 10, 14).c_str());
      if (!isContinued) break;
    }
    const std::string area = readText(unit / "data/VelmoDiagnosticDataSysCfg.bin");
    const auto word = [&](size_t offset) {
      uint32_t value = 0;
      std::memcpy(&value, &area[offset], sizeof value);
      return value;
    };
    for (size_t entry = 24; entry < 24 + 20 * word(20); entry += 20) {
      const std::string key = area.substr(entry, 4);
      keys[{key.rbegin(), key.rend()}] = word(entry + 8);
    }
  }

  uint8_t status = 0;
  uint8_t poison = 0;
  std::vector<std::string> records;      ///< "STATION/RESULT/TEXT"
  std::map<std::string, uint32_t> keys;  ///< The run count of those that have one.
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
  Held held() const { return Held(_unit.folder()); }
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

/// Runs the station in a process of its own, whose status is 98 when an expectation fails there;
/// `meanwhile` is called with its id.
inline int runInChild(
    const std::function<int()>& station,
    const std::function<void(pid_t)>& meanwhile = [](pid_t) {}) {
  const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info()->result();
  const int failures = test->total_part_count();
  const pid_t child = ::fork();
  if (child == 0) {
    const int status = station();
    ::_exit(test->total_part_count() == failures ? status : 98);
  }
  meanwhile(child);
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace corvane::station

#endif  // CORVANE_STATION_TESTING_SPEAKER_STATION_H_
