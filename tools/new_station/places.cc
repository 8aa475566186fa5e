#include "tools/new_station/places.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <regex>

#include "controlbits/control_bit_byte.h"
#include "platform/number.h"
#include "tools/command_error.h"
#include "tools/files.h"

namespace corvane::tools {
namespace {

constexpr int kFirstOffset = 24;

/// Returns what the profile in a source gives `field`; empty when it does not name it.
std::string fieldIn(const std::string& source, const std::string& field) {
  std::smatch match;
  const std::regex pattern("\\." + field + R"(\s*=\s*"?([0-9A-Za-z]+))");
  return std::regex_search(source, match, pattern) ? match[1].str() : std::string();
}

std::optional<NeighbourStation> stationIn(const std::filesystem::path& folder) {
  constexpr size_t kMaxSource = size_t{1} << 20;
  const std::filesystem::path file = folder / "station.cc";
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(file, ignored)) return std::nullopt;
  std::string source;
  try {
    const std::vector<uint8_t> bytes = readFile(file.string(), kMaxSource).bytes;
    source.assign(bytes.begin(), bytes.end());
  } catch (const CommandError&) {
    return std::nullopt;  // It belongs to another user.
  }
  const auto number = parseNumber<int>(fieldIn(source, "number"));
  const auto status = parseNumber<int>(fieldIn(source, "statusOffset"));
  const auto poison = parseNumber<int>(fieldIn(source, "poisonOffset"));
  if (!number || !status || !poison) return std::nullopt;
  return NeighbourStation{folder.filename().string(),
                          {*number, *status, *poison, fieldIn(source, "runCountKey")}};
}

std::string keyOf(int number) {
  std::string digits = std::to_string(number);
  digits.insert(0, 3 - digits.size(), '0');
  return "R" + digits;
}

/// Returns `given` when it has no owner or, when absent, the first candidate that has none. Throws
/// for a given one that has an owner, with one that is free, and when none is free.
int chosen(const std::string& what, const std::string& option, std::optional<int> given,
           const std::vector<int>& candidates, const std::function<std::string(int)>& ownerOf) {
  const std::string owner = given ? ownerOf(*given) : "";
  if (given && owner.empty()) return *given;
  const auto free =
      std::ranges::find_if(candidates, [&](int number) { return ownerOf(number).empty(); });
  const bool isFree = free != candidates.end();
  if (!given && isFree) return *free;
  throw CommandError(
      kUsage, what + " " +
                  (given ? std::to_string(*given) + " belongs to " + owner : "has no free value") +
                  (isFree ? "; free is " + option + " " + std::to_string(*free) : ""));
}

}  // namespace

std::string placesText(const StationPlaces& places) {
  return "number " + std::to_string(places.number) + ", bytes " +
         std::to_string(places.statusOffset) + " and " + std::to_string(places.poisonOffset) +
         ", key " + places.runCountKey;
}

std::vector<NeighbourStation> neighbourStations() {
  std::vector<NeighbourStation> stations;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(".", ignored)) {
    if (auto station = stationIn(entry.path())) stations.push_back(std::move(*station));
  }
  std::ranges::sort(stations, {}, &NeighbourStation::name);
  return stations;
}

StationPlaces freePlaces(const std::vector<NeighbourStation>& neighbours, std::optional<int> number,
                         std::optional<int> offset) {
  const auto ownerOfNumber = [&](int taken) -> std::string {
    for (const auto& [name, places] : neighbours) {
      if (places.number == taken || places.runCountKey == keyOf(taken)) return "station " + name;
    }
    return {};
  };
  // Of the byte at an offset and the one after it.
  const auto ownerOfBytes = [&](int taken) -> std::string {
    const auto isOne = [taken](int place) { return place == taken || place == taken + 1; };
    if (isOne(kLogCollectionOffset) || isOne(kSuiteStatusOffset)) return "the library";
    for (const auto& [name, places] : neighbours) {
      if (isOne(places.statusOffset) || isOne(places.poisonOffset)) return "station " + name;
    }
    return {};
  };
  std::vector<int> numbers, offsets;
  for (int candidate = 1; candidate <= 255; ++candidate) numbers.push_back(candidate);
  for (int candidate = 0; candidate < 128; candidate += 2) {
    offsets.push_back((kFirstOffset + candidate) % 128);
  }
  const int station = chosen("station number", "--number", number, numbers, ownerOfNumber);
  const int status = chosen("the byte pair at", "--offset", offset, offsets, ownerOfBytes);
  return {station, status, status + 1, keyOf(station)};
}

}  // namespace corvane::tools
