#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>

#include "controlbits/control_bit_byte.h"
#include "platform/scoped_file.h"
#include "tools/command_line.h"
#include "tools/new_station/templates.h"
#include "tools/station_commands.h"

namespace corvane::tools {
namespace {

struct NewStationOptions {
  std::string name;
  int number = 1;
  int offset = 24;
};

std::string filled(std::string_view text, const NewStationOptions& options) {
  char key[8];
  std::snprintf(key, sizeof key, "R%03d", options.number);
  const std::pair<std::string, std::string> fields[] = {
      {"{{NAME}}", options.name},
      {"{{NUMBER}}", std::to_string(options.number)},
      {"{{OFFSET}}", std::to_string(options.offset)},
      {"{{POISON_OFFSET}}", std::to_string(options.offset + 1)},
      {"{{KEY}}", key}};
  std::string result(text);
  for (const auto& [field, value] : fields) {
    for (size_t at = 0; (at = result.find(field, at)) != std::string::npos; at += value.size()) {
      result.replace(at, field.size(), value);
    }
  }
  return result;
}

void writeFiles(const std::filesystem::path& folder, const NewStationOptions& options) {
  for (const Template& file : newStationTemplates()) {
    const ScopedFile stream(std::fopen((folder / file.fileName).c_str(), "wbe"));
    const std::string text = filled(file.text, options);
    if (!stream || std::fwrite(text.data(), 1, text.size(), stream.get()) != text.size() ||
        std::fflush(stream.get()) != 0) {
      throw std::runtime_error("cannot be written");
    }
  }
}

bool isStationName(const std::string& name) {
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz";
  constexpr std::string_view kRest = "abcdefghijklmnopqrstuvwxyz0123456789_-";
  return !name.empty() && name.size() <= 40 && kLetters.find(name[0]) != kLetters.npos &&
         name.find_first_not_of(kRest) == name.npos;
}

void checkOptions(const NewStationOptions& options) {
  if (!isStationName(options.name)) {
    throw CommandError(kUsage,
                       "'" + options.name +
                           "' is no name of a station: lower-case letters, digits, - and _, "
                           "beginning with a letter, at most 40");
  }
  if (options.name == "station_test" || options.name == "test") {
    throw CommandError(kUsage, "'" + options.name + "' is the name of the station's tests");
  }
  for (const char* target : {"all", "clean", "help", "install"}) {
    if (options.name == target) {
      throw CommandError(kUsage, "'" + options.name + "' is a name that CMake keeps for itself");
    }
  }
  for (const int taken : {int{kLogCollectionOffset}, int{kSuiteStatusOffset}}) {
    if (taken == options.offset || taken == options.offset + 1) {
      throw CommandError(kUsage, "byte " + std::to_string(taken) + " belongs to the library");
    }
  }
}

/// Makes the station's folder, which appears whole or not at all.
ExitStatus makeStation(const NewStationOptions& options) {
  checkOptions(options);
  namespace fs = std::filesystem;
  if (fs::symlink_status(options.name).type() != fs::file_type::not_found) {
    throw CommandError(kFailed, options.name + ": is there already");
  }
  std::string made = "." + options.name + ".XXXXXX";
  try {
    if (!::mkdtemp(made.data())) throw std::runtime_error("no folder can be made here");
    fs::permissions(made, fs::perms(0755));
    writeFiles(made, options);
    fs::rename(made, options.name);
  } catch (const std::exception& error) {
    std::error_code ignored;
    fs::remove_all(made, ignored);
    throw CommandError(kFailed, options.name + ": " + error.what());
  }
  std::cout << options.name << "\n";
  return kDone;
}

}  // namespace

void addNewStationCommand(CLI::App& app) {
  const auto options = std::make_shared<NewStationOptions>();
  Command command = Command(app).add(
      "new-station", "Write the folder of a new station, with its tests, ready to build");
  command.text("NAME", options->name, "The station's name, and the folder's").required();
  command.number("--number", options->number, "The station's number in records; 1 at first",
                 {0, 255});
  command.number("--offset", options->offset,
                 "The station's status byte, 24 at first; the next one is its poison byte",
                 {0, 126});
  command.footer(
      "No unit is needed. The folder's README.md says how to build it.\n"
      "Example:\n  corvane new-station speaker --number 8 --offset 24");
  command.action([=] { return makeStation(*options); });
}

}  // namespace corvane::tools
