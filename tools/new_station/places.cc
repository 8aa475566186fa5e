#include "tools/new_station/places.h"

#include <algorithm>
#include <filesystem>
#include <regex>

#include "controlbits/control_bit_byte.h"
#include "platform/number.h"
#include "tools/command_error.h"
#include "tools/files.h"

namespace corvane::tools {
namespace {

constexpr int kFirstNumber = 1, kMaxNumber = 255;
constexpr int kFirstOffset = 24, kMaxOffset = 126;

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

/// Returns which station has the number or its key; empty when none has.
std::string ownerOfNumber(const std::vector<NeighbourStation>& neighbours, int number) {
  for (const auto& [name, places] : neighbours) {
    if (places.number == number || places.runCountKey == keyOf(number)) return "station " + name;
  }
  return {};
}

/// Returns what uses the byte at `offset` or the one after it; empty when both are free.
std::string ownerOfBytes(const std::vector<NeighbourStation>& neighbours, int offset) {
  const auto isOne = [offset](int taken) { return taken == offset || taken == offset + 1; };
  if (isOne(kLogCollectionOffset) || isOne(kSuiteStatusOffset)) return "the library";
  for (const auto& [name, places] : neighbours) {
    if (isOne(places.statusOffset) || isOne(places.poisonOffset)) return "station " + name;
  }
  return {};
}

using OwnerOf = std::string (*)(const std::vector<NeighbourStation>&, int);

/// Returns the first number of `first` to `last`, in steps of `step`, that is free.
std::optional<int> firstFree(const std::vector<NeighbourStation>& neighbours, OwnerOf ownerOf,
                             int first, int last, int step) {
  for (int number = first; number <= last; number += step) {
    if (ownerOf(neighbours, number).empty()) return number;
  }
  return std::nullopt;
}

/// Returns `given`, or what is free; throws with both when `given` is taken.
int chosen(std::optional<int> given, std::optional<int> free, const std::string& owner,
           const std::string& what, const std::string& option) {
  if (given && owner.empty()) return *given;
  if (!given && free) return *free;
  const std::string advice =
      free ? "; free is " + option + " " + std::to_string(*free) : "; none is free";
  throw CommandError(kUsage, what +
                                 (given ? " " + std::to_string(*given) + " belongs to " + owner
                                        : std::string(" has no free value")) +
                                 advice);
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
  const int chosenNumber =
      chosen(number, firstFree(neighbours, ownerOfNumber, kFirstNumber, kMaxNumber, 1),
             number ? ownerOfNumber(neighbours, *number) : "", "station number", "--number");
  std::optional<int> free = firstFree(neighbours, ownerOfBytes, kFirstOffset, kMaxOffset, 2);
  if (!free) free = firstFree(neighbours, ownerOfBytes, 0, kFirstOffset, 2);
  const int chosenOffset = chosen(offset, free, offset ? ownerOfBytes(neighbours, *offset) : "",
                                  "the byte pair at", "--offset");
  return {chosenNumber, chosenOffset, chosenOffset + 1, keyOf(chosenNumber)};
}

}  // namespace corvane::tools
