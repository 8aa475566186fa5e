#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/number.h"
#include "platform/printable.h"
#include "tools/command_line.h"
#include "tools/files.h"
#include "tools/inspect/inspect.h"
#include "tools/json_output.h"
#include "tools/terminal/terminal.h"
#include "tools/unit_access.h"
#include "unit/error.h"
#include "unit/keys.h"

namespace corvane::tools {
namespace {

using unit::Bytes;

Bytes readAreaToLook() {
  requireDataToLook();
  return unit::readArea();
}

/// Throws unless the area is blank or has a sound header: the keys of any other are not known.
AreaReport readStoreToLook() {
  const Bytes area = readAreaToLook();
  AreaReport report = reportOnArea(area);
  const std::string damage = unit::damageOf(area);
  if (report.isHeaderSound || damage.empty()) return report;
  throw CommandError(kFailed, "the configuration area does not hold a key store: " + damage);
}

uint32_t keyOf(const std::string& text) {
  const bool isNumber = text.starts_with("0x");
  const std::optional<uint32_t> number = parseNumber<uint32_t>(text);
  if (isNumber && number) return *number;
  const bool isPrintable = std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
  if (!isNumber && text.size() == 4 && isPrintable) return unit::keyOf(text);
  throw CommandError(kUsage,
                     "'" + text + "' is not a key; give four characters, or 0x and a number");
}

void listKeys(bool json) {
  const AreaReport report = readStoreToLook();
  printResult(json, {{"entries", report.entries}}, entryTable(report).text());
  if (report.isHeaderSound && !report.findings.empty()) {
    std::cerr << "corvane: the area is damaged; \"corvane syscfg map\" shows where\n";
  }
}

struct GetOptions {
  std::string key;
  bool hex = false, json = false;
  std::string file;
};

void getKey(const GetOptions& options) {
  const uint32_t key = keyOf(options.key);
  const AreaReport report = readStoreToLook();
  const auto entry = std::ranges::find_if(report.entries, [key](const AreaEntry& candidate) {
    return candidate.key == key && candidate.isFound;
  });
  if (entry == report.entries.end()) {
    throw CommandError(
        kFailed, "there is no key " + keyName(key) + "; \"corvane syscfg list\" lists the keys");
  }
  if (!options.file.empty()) return writeFile(options.file, entry->value);
  const ByteSpan written = entry->writtenValue();
  const bool isHex = options.hex || !isPlainText(written);
  printResult(options.json, keyAsJson(key, entry->value, written),
              (isHex ? hexText(entry->value) : valueText(written)) + "\n");
}

struct SetOptions {
  std::string key;
  std::optional<std::string> text, hex, file;
  bool format = false, json = false;

  Bytes value() const {
    if (text) return {text->begin(), text->end()};
    if (file) return readFile(*file, kConfigurationAreaSize).bytes;
    if (!hex) throw CommandError(kUsage, "syscfg set needs a VALUE, --hex or --file");
    const std::optional<Bytes> bytes = parseHex(*hex);
    if (!bytes) throw CommandError(kUsage, "'" + *hex + "' is not pairs of hexadecimal digits");
    return *bytes;
  }
};

void setKey(const SetOptions& options) {
  const uint32_t key = keyOf(options.key);
  const Bytes value = options.value();
  unit::openDataArea();
  const auto damaged = options.format ? unit::Damaged::kFormat : unit::Damaged::kRefuse;
  unit::KeyChange done;
  try {
    done = changeUnit([&](unit::Lock& lock) { return unit::writeKey(lock, key, value, damaged); });
  } catch (const unit::Error& error) {
    if (error.fault() != unit::Fault::kDamagedStore) throw;
    throw CommandError(kFailed, std::string(error.what()) +
                                    "; --format replaces all that it holds with an empty store");
  }
  constexpr size_t kMaxWidth = 60;
  printResult(options.json, keyAsJson(key, *done.after, value),
              keyName(key) + ": " + shortened(printable(valueText(value)), kMaxWidth) + "\n");
}

void deleteKey(const std::string& keyText) {
  const uint32_t key = keyOf(keyText);
  unit::openDataArea();
  changeUnit([&](unit::Lock& lock) { return unit::deleteKey(lock, key); });
}

void showMap(bool json) {
  const AreaReport report = reportOnArea(readAreaToLook());
  if (json) return printJson(report);
  printMap(std::cout, report, isColouredOutput());
  if (!report.isHeaderSound) std::cout << "A unit takes the area for an empty store.\n";
  if (!report.findings.empty()) std::cout << "\n" << findingTable(report.findings).text();
}

void addKey(Command command, std::string& key) {
  command.text("KEY", key, "Four characters such as OPTS, or 0x and up to eight digits").required();
}

void addGet(Command group) {
  Command command = group.add(
      "get", "Print or save a value",
      "Without an option, text is printed as it is and anything else as digits. A value of at\n"
      "most 16 bytes reads back as 16; free bytes (0xff) at its end are not part of the text.\n"
      "Examples:\n  corvane syscfg get OPTS\n  corvane syscfg get 0x4f505453 -o opts.bin");
  auto& options = command.actionOn<GetOptions>(getKey);
  addKey(command, options.key);
  excludeEachOther(
      {command.flag("--hex", options.hex, "As hexadecimal digits"),
       command.output(options.file, "Write the bytes to this file; - is standard output", "--out"),
       command.jsonFlag(options.json)});
}

void addKeySet(Command group) {
  Command command = group.add("set", "Set a key's value",
                              "Examples:\n"
                              "  corvane syscfg set OPTS \"serial=3 soak\"\n"
                              "  corvane syscfg set 0x4b455931 --hex \"01 02 ff\"");
  auto& options = command.actionOn<SetOptions>(setKey);
  addKey(command, options.key);
  excludeEachOther({command.text("VALUE", options.text, "The value, as text"),
                    command.text("--hex", options.hex, "The value, as hexadecimal digits"),
                    command.file("--file", options.file, "The value is what this file holds")});
  command.flag("--format", options.format,
               "Where the area holds a damaged store, replace it with an empty one first");
  command.jsonFlag(options.json);
}

}  // namespace

void addSyscfg(CLI::App& app) {
  Command group =
      Command(app).addGroup("syscfg", "Show and change the keys of the unit's configuration area",
                            "Examples:\n"
                            "  corvane syscfg list\n"
                            "  corvane syscfg set OPTS \"serial=3 soak\"");
  addLook(group, "list", "List the keys and the beginnings of their values",
          "A value of at most 16 bytes lies inside its entry, which does not record its length.",
          listKeys);
  addGet(group);
  addKeySet(group);

  Command del = group.add("del", "Remove a key and its value");
  addKey(del, del.actionOn<std::string>(deleteKey));
  Command dump = group.add("dump", "Save the raw area, 8192 bytes",
                           "Example:\n  corvane syscfg dump area.bin && corvane inspect area.bin");
  auto& file = dump.actionOn<std::string>(
      [](const std::string& name) { writeFile(name, readAreaToLook()); });
  file = "-";
  dump.file("FILE", file, "File to write; standard output if not given, or -");

  addLook(group, "map", "Draw what each byte of the area is used for, and what is wrong",
          "In colour on a terminal, unless the variable NO_COLOR is set.", showMap);
}

}  // namespace corvane::tools
