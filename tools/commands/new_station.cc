#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string_view>

#include "tools/command_line.h"
#include "tools/files.h"
#include "tools/new_station/places.h"
#include "tools/new_station/templates.h"

namespace corvane::tools {
namespace {

constexpr size_t kMaxName = 40;
constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz";
constexpr std::string_view kNameCharacters = "abcdefghijklmnopqrstuvwxyz0123456789_-";
constexpr char kNameRule[] = "lower-case letters, digits, - and _, a letter first, at most 40";

struct NewStationOptions {
  std::string name;
  std::optional<int> number;
  std::optional<int> offset;
};

std::string filled(std::string_view text, const std::string& name, const StationPlaces& places) {
  const std::pair<std::string, std::string> fields[] = {
      {"{{NAME}}", name},
      {"{{NUMBER}}", std::to_string(places.number)},
      {"{{OFFSET}}", std::to_string(places.statusOffset)},
      {"{{POISON_OFFSET}}", std::to_string(places.poisonOffset)},
      {"{{KEY}}", places.runCountKey}};
  std::string result(text);
  for (const auto& [field, value] : fields) {
    for (size_t at = 0; (at = result.find(field, at)) != std::string::npos; at += value.size()) {
      result.replace(at, field.size(), value);
    }
  }
  return result;
}

bool isStationName(std::string_view name) {
  return !name.empty() && name.size() <= kMaxName && kLetters.find(name[0]) != kLetters.npos &&
         name.find_first_not_of(kNameCharacters) == name.npos;
}

void checkName(const std::string& name) {
  if (!isStationName(name)) {
    throw CommandError(kUsage, "'" + name + "' is not a valid station name: " + kNameRule);
  }
  // Targets of every build, and of the station's tests.
  for (const char* target : {"all", "clean", "edit_cache", "help", "install", "preinstall",
                             "rebuild_cache", "test", "station_test"}) {
    if (name == target) {
      throw CommandError(
          kUsage, "'" + name + "' is the name of a target in every station's build; try 'test-" +
                      name + "'");
    }
  }
}

/// Makes the station's folder, which appears whole or not at all.
void makeFolder(const std::string& name, const StationPlaces& places) {
  namespace fs = std::filesystem;
  std::string made = "." + name + ".XXXXXX";
  try {
    if (!::mkdtemp(made.data())) throw std::runtime_error("no folder can be made here");
    fs::permissions(made, fs::perms(0755));
    for (const Template& file : newStationTemplates()) {
      writeFile((fs::path(made) / file.fileName).string(), filled(file.text, name, places));
    }
    fs::rename(made, name);
  } catch (const std::exception& error) {
    std::error_code ignored;
    fs::remove_all(made, ignored);
    throw CommandError(kFailed, name + ": " + error.what());
  }
}

ExitStatus makeStation(const NewStationOptions& options) {
  checkName(options.name);
  namespace fs = std::filesystem;
  if (fs::symlink_status(options.name).type() != fs::file_type::not_found) {
    throw CommandError(kFailed, options.name + ": is there already");
  }
  const std::vector<NeighbourStation> neighbours = neighbourStations();
  const StationPlaces places = freePlaces(neighbours, options.number, options.offset);
  makeFolder(options.name, places);
  std::cout << options.name << ": " << placesText(places) << "\n";
  for (const NeighbourStation& taken : neighbours) {
    std::cout << "taken by " << taken.name << ": " << placesText(taken.places) << "\n";
  }
  return kDone;
}

}  // namespace

void addNewStation(CLI::App& app) {
  const auto options = std::make_shared<NewStationOptions>();
  Command command = Command(app).add(
      "new-station", "Write the folder of a new station, with its tests, ready to build");
  command
      .text("NAME", options->name,
            std::string("The station's name, and the folder's: ") + kNameRule)
      .required();
  command.number("--number", options->number,
                 "The station's number in records; when absent the first from 1 that no station "
                 "in this folder has",
                 {0, 255});
  command.number("--offset", options->offset,
                 "The station's status byte, whose next one is its poison byte; when absent the "
                 "first from 24 that is free",
                 {0, 126});
  command.footer(
      "Needs no unit. The folder's README.md says how to build it.\n"
      "Example:\n  corvane new-station speaker --number 8 --offset 24");
  command.action([=] { return makeStation(*options); });
}

}  // namespace corvane::tools
