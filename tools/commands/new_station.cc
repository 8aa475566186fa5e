#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <regex>
#include <string_view>

#include "controlbits/control_bit_byte.h"
#include "tools/command_line.h"
#include "tools/files.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;

constexpr char kNameRule[] =
    "at most 40 lower-case letters, digits, - and _, a letter first; not a build's target (test, "
    "...)";

/// The files of a station's folder, with fields such as "{{NAME}}" that are to be filled in.
constexpr std::pair<std::string_view, std::string_view> kTemplates[] = {
#include "templates.inc"
};

/// A station and its places on a unit.
struct Station {
  std::string name;
  int number, statusOffset, poisonOffset;
  std::string runCountKey;
};

/// Returns "number 8, bytes 24 and 25, key R008".
std::string placesText(const Station& station) {
  return "number " + std::to_string(station.number) + ", bytes " +
         std::to_string(station.statusOffset) + " and " + std::to_string(station.poisonOffset) +
         ", key " + station.runCountKey;
}

/// Returns what the profile in a source gives `field`; empty when it does not name it.
std::string fieldIn(const std::string& source, const std::string& field) {
  std::smatch match;
  const std::regex pattern("\\." + field + R"(\s*=\s*"?([0-9A-Za-z]+))");
  return std::regex_search(source, match, pattern) ? match[1].str() : std::string();
}

/// Returns the station whose station.cc is in the folder and has a profile.
std::optional<Station> stationIn(const fs::path& folder) try {
  constexpr size_t kMaxSource = size_t{1} << 20;
  const fs::path file = folder / "station.cc";
  if (!fs::is_regular_file(file)) return {};
  const std::vector<uint8_t> bytes = readFile(file.string(), kMaxSource).bytes;
  const std::string source(bytes.begin(), bytes.end());
  const auto number = parseNumber<int>(fieldIn(source, "number"));
  const auto status = parseNumber<int>(fieldIn(source, "statusOffset"));
  const auto poison = parseNumber<int>(fieldIn(source, "poisonOffset"));
  if (!number || !status || !poison) return {};
  return Station{folder.filename().string(), *number, *status, *poison,
                 fieldIn(source, "runCountKey")};
} catch (const std::exception&) {
  return {};  // It belongs to another user.
}

/// Returns the stations in the folders of the current one.
std::vector<Station> neighbours() {
  std::vector<Station> stations;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(".", ignored)) {
    if (auto station = stationIn(entry.path())) stations.push_back(std::move(*station));
  }
  std::ranges::sort(stations, {}, &Station::name);
  return stations;
}

std::string keyOf(int number) { return "R" + std::to_string(1000 + number).substr(1); }

/// What is taken, each with whose it is.
using Owners = std::map<int, std::string>;

/// Returns `given` or, when absent, the first of `first`, `first` + `step`, ..., which go on from 0
/// at `limit`, that has no owner. Throws for a given one that has an owner, and when none is free.
int chosen(const std::string& what, const std::string& option, std::optional<int> given, int first,
           int step, int limit, const Owners& owners) {
  if (given && !owners.contains(*given)) return *given;
  int free = first;
  for (int i = 0; i < limit && owners.contains(free); i += step) free = (free + step) % limit;
  if (owners.contains(free)) throw CommandError(kUsage, option + " has no free value");
  if (!given) return free;
  throw CommandError(kUsage, what + " " + std::to_string(*given) + " belongs to " +
                                 owners.at(*given) + "; free is " + option + " " +
                                 std::to_string(free));
}

/// Returns a station whose places none of the others has: those given or, when absent, the first
/// from number 1 and from byte 24.
Station newStation(const std::string& name, std::optional<int> number, std::optional<int> offset,
                   const std::vector<Station>& others) {
  Owners numbers, pairs;  // A pair of bytes is named by the offset of its first.
  const auto takeByte = [&](int place, const std::string& owner) {
    pairs.insert({{place, owner}, {place - 1, owner}});
  };
  takeByte(kLogCollectionOffset, "the library");
  takeByte(kSuiteStatusOffset, "the library");
  for (const Station& other : others) {
    const std::string owner = "station " + other.name;
    for (int i = 0; i < 256; ++i) {
      if (i == other.number || keyOf(i) == other.runCountKey) numbers.emplace(i, owner);
    }
    takeByte(other.statusOffset, owner);
    takeByte(other.poisonOffset, owner);
  }
  const int free = chosen("station number", "--number", number, 1, 1, 256, numbers);
  const int status = chosen("the byte pair at", "--offset", offset, 24, 2, 128, pairs);
  return {name, free, status, status + 1, keyOf(free)};
}

std::string filled(std::string_view text, const Station& station) {
  const std::pair<std::string, std::string> fields[] = {
      {R"(\{\{NAME\}\})", station.name},
      {R"(\{\{NUMBER\}\})", std::to_string(station.number)},
      {R"(\{\{OFFSET\}\})", std::to_string(station.statusOffset)},
      {R"(\{\{POISON_OFFSET\}\})", std::to_string(station.poisonOffset)},
      {R"(\{\{KEY\}\})", station.runCountKey}};
  std::string result(text);
  for (const auto& [field, value] : fields) {
    result = std::regex_replace(result, std::regex(field), value);
  }
  return result;
}

void checkName(const std::string& name) {
  static const std::regex kName(
      "(?!(all|clean|edit_cache|help|install|preinstall|rebuild_cache|test|station_test)$)"
      "[a-z][a-z0-9_-]{0,39}");
  if (std::regex_match(name, kName)) return;
  throw CommandError(kUsage, "'" + name + "' is not a valid station name: " + kNameRule);
}

/// Makes the station's folder, which appears whole or not at all.
void makeFolder(const Station& station) {
  std::string made = "." + station.name + ".XXXXXX";
  try {
    if (!::mkdtemp(made.data())) throw std::runtime_error("no folder can be made here");
    fs::permissions(made, fs::perms(0755));
    for (const auto& [file, text] : kTemplates) {
      writeFile((fs::path(made) / file).string(), filled(text, station));
    }
    fs::rename(made, station.name);
  } catch (const std::exception& error) {
    std::error_code ignored;
    fs::remove_all(made, ignored);
    throw CommandError(kFailed, station.name + ": " + error.what());
  }
}

struct NewStationOptions {
  std::string name;
  std::optional<int> number, offset;
};

void makeStation(const NewStationOptions& options) {
  checkName(options.name);
  if (fs::symlink_status(options.name).type() != fs::file_type::not_found) {
    throw CommandError(kFailed, options.name + ": is there already");
  }
  const std::vector<Station> others = neighbours();
  const Station station = newStation(options.name, options.number, options.offset, others);
  makeFolder(station);
  std::cout << station.name << ": " << placesText(station) << "\n";
  for (const Station& other : others) {
    std::cout << "taken by " << other.name << ": " << placesText(other) << "\n";
  }
}

}  // namespace

void addNewStation(CLI::App& app) {
  Command command = Command(app).add(
      "new-station", "Write the folder of a new station, with its tests, ready to build",
      "Needs no unit. The folder's README.md says how to build it.\n"
      "Example:\n  corvane new-station speaker --number 8 --offset 24");
  auto& options = command.actionOn<NewStationOptions>(makeStation);
  command
      .text("NAME", options.name, std::string("The station's name, and the folder's: ") + kNameRule)
      .required();
  command.number("--number", options.number,
                 "The station's number in records; when absent the first from 1 that no station "
                 "in this folder has",
                 {0, 255});
  command.number("--offset", options.offset,
                 "The station's status byte, whose next one is its poison byte; when absent the "
                 "first from 24 that is free",
                 {0, 126});
}

}  // namespace corvane::tools
