#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "controlbits/control_bits.h"
#include "syscfg/memory_store.h"
#include "tools/byte_file.h"
#include "tools/command.h"
#include "tools/inspect/area_report.h"
#include "tools/inspect/area_view.h"
#include "tools/inspect/dump_view.h"
#include "tools/inspect/value_text.h"
#include "tools/json_output.h"

namespace corvane::tools {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes readArea() {
  requireReady();
  Bytes area(kDeviceAreaSize);
  if (ControlBits::readSysCfgBytes(area.data(), kDeviceAreaSize) != 0) {
    throw CommandError(kNotReady, "the configuration area's " + std::to_string(kDeviceAreaSize) +
                                      " bytes cannot be read");
  }
  return area;
}

std::string whyNoStore(const AreaReport& report) {
  std::string failed;
  for (const HeaderCheckResult& check : report.checks) {
    if (!check.holds) failed += (failed.empty() ? "" : ", ") + std::string(check.condition);
  }
  return "the configuration area holds no store; it fails the checks: " + failed;
}

void requireStore(const AreaReport& report) {
  if (!report.isHeaderSound) throw CommandError(kFailed, whyNoStore(report));
}

uint32_t keyOf(const std::string& text) {
  const std::optional<uint32_t> key = parseKey(text);
  if (!key) {
    throw CommandError(kUsage, "'" + text + "' is no key: four characters, or 0x and a number");
  }
  if (*key == area::kIndirectMarker) {
    throw CommandError(kUsage, "'" + text + "' marks indirect entries and is no key");
  }
  return *key;
}

bool hasKey(const MemoryStore& store, uint32_t key) {
  return syscfg__read_key(store.get(), key, nullptr, nullptr) == 0;
}

CommandError noSuchKey(uint32_t key) {
  return {kFailed,
          "there is no key " + keyName(key) + "; \"corvane syscfg list\" shows those there are"};
}

/// The library leaves its failures in the logs only: what counts is what can be read back.
void requireArea(std::span<const uint8_t> wanted) {
  if (!std::ranges::equal(readArea(), wanted)) {
    throw CommandError(kFailed,
                       "the configuration area does not read back as it should; the system log "
                       "and \"corvane log tail\" say more");
  }
}

ExitStatus list(bool json) {
  const Bytes area = readArea();
  const AreaReport report = reportOnArea(area);
  requireStore(report);
  if (json) {
    printJson({{"entries", entriesAsJson(report, area)}});
  } else {
    printEntries(std::cout, report, area);
  }
  if (!report.findings.empty()) {
    std::cerr << "corvane: the area is damaged; \"corvane syscfg map\" shows where\n";
  }
  return kDone;
}

struct GetOptions {
  std::string key;
  bool hex = false;
  bool text = false;
  bool json = false;
  std::string file;
};

ExitStatus get(const GetOptions& options) {
  const uint32_t key = keyOf(options.key);
  const Bytes area = readArea();
  const AreaReport report = reportOnArea(area);
  requireStore(report);
  const auto entry = std::ranges::find_if(
      report.entries, [key](const AreaEntry& each) { return each.isFound && each.key == key; });
  if (entry == report.entries.end()) throw noSuchKey(key);
  Bytes value(kDeviceAreaSize);
  value.resize(static_cast<size_t>(ControlBits::readSystemConfig(value.data(), key)));

  const std::span<const uint8_t> text = entry->isIndirect ? value : withoutFreeBytes(value);
  if (!options.file.empty()) {
    writeFile(options.file, value);
  } else if (options.json) {
    nlohmann::ordered_json json = {{"key", keyName(key)}, {"code", key}};
    json.update(valueAsJson(value, text));
    printJson(json);
  } else if (options.hex || (!options.text && !isPlainText(text))) {
    std::cout << hexText(value) << "\n";
  } else if (options.text) {
    std::cout << escapedText(text) << "\n";
  } else {
    std::cout << std::string(text.begin(), text.end()) << "\n";
  }
  return kDone;
}

struct SetOptions {
  std::string key;
  std::optional<std::string> text, hex, file;
  bool format = false;

  Bytes value() const {
    if (hex) {
      const std::optional<Bytes> bytes = parseHex(*hex);
      if (!bytes) throw CommandError(kUsage, "'" + *hex + "' is not pairs of hexadecimal digits");
      return *bytes;
    }
    if (file) return readFile(*file, kDeviceAreaSize).bytes;
    return {text->begin(), text->end()};
  }
};

ExitStatus set(const SetOptions& options) {
  const uint32_t key = keyOf(options.key);
  if (!options.text && !options.hex && !options.file) {
    throw CommandError(kUsage, "syscfg set needs a VALUE, --hex or --file");
  }
  const Bytes value = options.value();
  const Bytes area = readArea();
  const AreaReport report = reportOnArea(area);
  const bool isErased =
      std::ranges::all_of(area, [](uint8_t byte) { return byte == area::kFreeByte; });
  if (!report.isHeaderSound && !isErased && !options.format) {
    throw CommandError(
        kFailed, whyNoStore(report) + "; --format replaces all that it holds with an empty store");
  }

  // Tried on a copy first: the library would leave the unit without the key when there is no room.
  const MemoryStore trial(area);
  if (syscfg__add_key(trial.get(), key, value.data(), value.size()) != 0) {
    const AreaReport left = reportOnArea(trial.image());
    throw CommandError(
        kFailed, "a value of " + std::to_string(value.size()) +
                     (value.size() == kDeviceAreaSize ? " bytes or more" : " bytes") +
                     " does not fit: entry and value can have " +
                     std::to_string(left.freeEnd - left.freeBegin) + " bytes; nothing was changed");
  }
  ControlBits::writeSystemConfig(value.data(), static_cast<int32_t>(value.size()), key);
  requireArea(trial.image());
  return kDone;
}

ExitStatus del(const std::string& keyText) {
  const uint32_t key = keyOf(keyText);
  const Bytes area = readArea();
  requireStore(reportOnArea(area));
  // Tried on a copy first: the library would write the area even when there is no such key.
  const MemoryStore trial(area);
  if (!hasKey(trial, key)) throw noSuchKey(key);
  syscfg__del_key(trial.get(), key);
  ControlBits::deleteSystemConfig(key);
  requireArea(trial.image());
  return kDone;
}

ExitStatus dump(const std::string& file) {
  if (file.empty() && isatty(STDOUT_FILENO)) {
    throw CommandError(
        kUsage, "the raw area is nothing for a terminal: name a FILE or redirect the output");
  }
  const Bytes area = readArea();
  if (file.empty()) {
    std::cout.write(reinterpret_cast<const char*>(area.data()),
                    static_cast<std::streamsize>(area.size()));
  } else {
    writeFile(file, area);
  }
  return kDone;
}

ExitStatus map(bool json) {
  const Bytes area = readArea();
  const AreaReport report = reportOnArea(area);
  if (json) {
    printJson(areaAsJson(report, area));
    return kDone;
  }
  printMap(std::cout, report, area, isColouredOutput());
  if (!report.isHeaderSound) std::cout << "A unit takes the area for an empty store.\n";
  if (!report.findings.empty()) {
    std::cout << "\n";
    printFindings(std::cout, report.findings);
  }
  return kDone;
}

CLI::Option* addKey(CLI::App* command, std::string& key) {
  return command->add_option("KEY", key, "Four characters such as OPTS, or 0x and a number")
      ->required();
}

void addList(CLI::App* group) {
  const auto json = std::make_shared<bool>(false);
  CLI::App* command = group->add_subcommand("list", "List the keys with their values' beginnings");
  addJsonFlag(command, *json);
  command->footer(
      "A value of at most 16 bytes lies inside its entry, which does not record its length.\n"
      "Example:\n  corvane syscfg list --json");
  setAction(command, [=] { return list(*json); });
}

void addGet(CLI::App* group) {
  const auto options = std::make_shared<GetOptions>();
  CLI::App* command = group->add_subcommand("get", "Print or save a value");
  addKey(command, options->key);
  auto* hex = command->add_flag("--hex", options->hex, "As hexadecimal digits");
  auto* text = command->add_flag("--text", options->text, "As text, other bytes as \\x1b");
  auto* file = command->add_option("-o,--out", options->file, "Write the bytes to this file");
  auto* json = command->add_flag("--json", options->json, "Print JSON instead of text");
  for (CLI::Option* form : {hex, text, file, json}) {
    for (CLI::Option* other : {hex, text, file, json}) {
      if (form != other) form->excludes(other);
    }
  }
  command->footer(
      "Without an option, text is printed as it is and anything else as digits. A value of at "
      "most\n"
      "16 bytes reads back as 16; free bytes (0xff) at their end are no part of the text.\n"
      "Examples:\n  corvane syscfg get OPTS\n  corvane syscfg get 0x4f505453 --out opts.bin");
  setAction(command, [=] { return get(*options); });
}

void addSet(CLI::App* group) {
  const auto options = std::make_shared<SetOptions>();
  CLI::App* command = group->add_subcommand("set", "Give a key a value, its first or a new one");
  addKey(command, options->key);
  auto* text = command->add_option("VALUE", options->text, "The value, as text");
  auto* hex = command->add_option("--hex", options->hex, "The value, as hexadecimal digits");
  auto* file = command->add_option("--file", options->file, "The value is what this file holds");
  text->excludes(hex)->excludes(file);
  hex->excludes(file);
  command->add_flag("--format", options->format,
                    "Where the area holds no store, replace it with an empty one first");
  command->footer(
      "Examples:\n"
      "  corvane syscfg set OPTS \"serial=3 soak\"\n"
      "  corvane syscfg set 0x4b455931 --hex \"01 02 ff\"");
  setAction(command, [=] { return set(*options); });
}

void addDel(CLI::App* group) {
  const auto key = std::make_shared<std::string>();
  CLI::App* command = group->add_subcommand("del", "Remove a key and its value");
  addKey(command, *key);
  command->footer("Example:\n  corvane syscfg del OPTS");
  setAction(command, [=] { return del(*key); });
}

void addDump(CLI::App* group) {
  const auto file = std::make_shared<std::string>();
  CLI::App* command = group->add_subcommand("dump", "Save the raw area, 8192 bytes");
  command->add_option("FILE", *file, "Where to; without it, standard output");
  command->footer("Example:\n  corvane syscfg dump area.bin && corvane inspect area.bin");
  setAction(command, [=] { return dump(*file); });
}

void addMap(CLI::App* group) {
  const auto json = std::make_shared<bool>(false);
  CLI::App* command =
      group->add_subcommand("map", "Draw where the area's bytes go, and what is wrong with them");
  addJsonFlag(command, *json);
  command->footer(
      "In colour on a terminal, unless the variable NO_COLOR is set.\n"
      "Example:\n  corvane syscfg map");
  setAction(command, [=] { return map(*json); });
}

}  // namespace

void addSyscfgGroup(CLI::App& app) {
  CLI::App* group =
      app.add_subcommand("syscfg", "Show and change the keys of the unit's configuration area");
  group->require_subcommand(1);
  group->footer(
      "Examples:\n"
      "  corvane syscfg list\n"
      "  corvane syscfg set OPTS \"serial=3 soak\"");
  addList(group);
  addGet(group);
  addSet(group);
  addDel(group);
  addDump(group);
  addMap(group);
}

}  // namespace corvane::tools
