#ifndef CORVANE_STATION_TESTING_SPEAKER_STATION_H_
#define CORVANE_STATION_TESTING_SPEAKER_STATION_H_

#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "station/station.h"
#include "testing/unit_test.h"

/// A station for tests, and what a unit holds afterwards.
namespace corvane::station {

inline const Profile kStation = {
    .name = "speaker", .number = 8, .statusOffset = 20, .poisonOffset = 21, .runCountKey = "SPKR"};

/// What a unit's files hold, read by this test's own understanding of their layout.
struct Held {
  explicit Held(const std::filesystem::path& unit) {
    const std::string data = corvane::testing::readText(unit / "data/VelmoDiagnosticData.bin");
    status = static_cast<uint8_t>(data[20]);
    poison = static_cast<uint8_t>(data[21]);
    for (size_t slot = 128; slot < 128 + 20 * 24; slot += 24) {
      const auto flags = static_cast<uint8_t>(data[slot + 9]);
      if (data.substr(slot, 8) == std::string("\xFF\xFF\xFF\xFF\0\0\0\0", 8) && (flags & 0x40))
        break;
      records.push_back(std::to_string(static_cast<uint8_t>(data[slot + 8])) + "/" +
                        std::to_string(flags >> 4 & 3) + "/" + data.substr(slot + 10, 14).c_str());
      if (!(flags & 0x40)) break;
    }
    const std::string area =
        corvane::testing::readText(unit / "data/VelmoDiagnosticDataSysCfg.bin");
    const auto word = [&](size_t offset) {
      uint32_t value = 0;
      std::memcpy(&value, &area[offset], sizeof value);
      return value;
    };
    for (size_t entry = 24; entry < 24 + 20 * word(20); entry += 20) {
      const uint32_t key = word(entry);
      keys[{static_cast<char>(key >> 24), static_cast<char>(key >> 16), static_cast<char>(key >> 8),
            static_cast<char>(key)}] = word(entry + 4);
    }
  }

  uint8_t status = 0;
  uint8_t poison = 0;
  std::vector<std::string> records;  ///< "STATION/RESULT/TEXT"
  std::map<std::string, uint32_t> keys;
};

inline void passingBody(TestRun& run) {
  run.phase("tone", [](Phase& phase) { phase.measure("loudness", 61, "dB", {.lower = 60}); });
}
inline void failingBody(TestRun& run) {
  run.phase("tone", [](Phase& phase) { phase.measure("loudness", 59, "dB", {.lower = 60}); });
}

/// Runs the station in a process of its own; `kill` is called with its id.
inline int runInChild(const std::function<int()>& station, const std::function<void(pid_t)>& kill) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(station());
  kill(child);
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace corvane::station

#endif  // CORVANE_STATION_TESTING_SPEAKER_STATION_H_
