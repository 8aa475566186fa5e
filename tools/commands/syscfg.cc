#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "controlbits/control_bits.h"
#include "dataarea/nor_access.h"
#include "syscfg/memory_store.h"
#include "tools/command.h"
#include "tools/command_line.h"
#include "tools/diagnostic_data.h"
#include "tools/files.h"
#include "tools/inspect/area_report.h"
#include "tools/inspect/area_view.h"
#include "tools/inspect/dump_view.h"
#include "tools/inspect/value_text.h"
#include "tools/json_output.h"
#include "tools/standard_error.h"
#include "tools/unit_lock.h"

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

/// Reads the area into the library's staging buffer, which the library uses when its own read
/// fails. Throws CommandError unless that is `area`. Without this, one failed read would replace
/// the store by an empty one.
void primeLibrary(const Bytes& area) {
  Bytes staged(kDeviceAreaSize);
  ferrox_nor_read(&ferrox_nor_access, staged.data());
  if (staged != area) {
    throw CommandError(kNotReady,
                       "the configuration area cannot be read reliably; nothing was changed");
  }
}

/// Runs `write`, which should change the area from `before` to `wanted`, and checks that the area
/// reads back so. The library reports its failures only in the logs.
ExitStatus changeArea(const Bytes& before, const MemoryStore& wanted,
                      const std::function<void()>& write) {
  primeLibrary(before);
  const bool isRefused = runQuietly(write);
  Bytes after(kDeviceAreaSize);
  if (ControlBits::readSysCfgBytes(after.data(), kDeviceAreaSize) != 0) {
    throw unknownChange("the configuration area");
  }
  if (std::ranges::equal(after, wanted.image())) {
    if (isRefused && after != before) throw undurableChange("the change of the configuration area");
    return kDone;
  }
  throw CommandError(
      kFailed, (after == before ? "the configuration area was not changed"
                                : "the configuration area does not read back as it should") +
                   std::string("; the system log and \"corvane log tail\" have the request and "
                               "the reason"));
}

ExitStatus listKeys(bool json) {
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
  const auto entry = std::ranges::find_if(report.entries, [key](const AreaEntry& candidate) {
    return candidate.key == key && candidate.isFound;
  });
  if (entry == report.entries.end()) throw noSuchKey(key);
  const std::span<const uint8_t> value = valueOf(*entry, area);
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
  requireReady();
  const UnitLock lock;
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
  return changeArea(area, trial, [&] {
    ControlBits::writeSystemConfig(value.data(), static_cast<int32_t>(value.size()), key);
  });
}

ExitStatus del(const std::string& keyText) {
  const uint32_t key = keyOf(keyText);
  requireReady();
  const UnitLock lock;
  const Bytes area = readArea();
  requireStore(reportOnArea(area));
  // Tried on a copy first: the library would write the area even when there is no such key.
  const MemoryStore trial(area);
  if (!hasKey(trial, key)) throw noSuchKey(key);
  syscfg__del_key(trial.get(), key);
  return changeArea(area, trial, [&] { ControlBits::deleteSystemConfig(key); });
}

ExitStatus dump(const std::string& file) {
  const bool isPrinted = file.empty() || file == "-";
  if (isPrinted && isatty(STDOUT_FILENO)) {
    throw CommandError(kUsage,
                       "the raw area is not for a terminal: name a FILE or redirect the output");
  }
  writeFile(isPrinted ? "-" : file, readArea());
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

void addKey(Command command, std::string& key) {
  command.text("KEY", key, "Four characters such as OPTS, or 0x and up to eight digits").required();
}

void addKeyList(Command group) {
  const auto json = std::make_shared<bool>(false);
  Command command = group.add("list", "List the keys and the beginnings of their values");
  command.jsonFlag(*json);
  command.footer(
      "A value of at most 16 bytes lies inside its entry, which does not record its length.\n"
      "Example:\n  corvane syscfg list --json");
  command.action([=] { return listKeys(*json); });
}

void addGet(Command group) {
  const auto options = std::make_shared<GetOptions>();
  Command command = group.add("get", "Print or save a value");
  addKey(command, options->key);
  excludeEachOther({command.flag("--hex", options->hex, "As hexadecimal digits"),
                    command.flag("--text", options->text, "As text, other bytes as \\x1b"),
                    command.file("-o,--out", options->file,
                                 "Write the bytes to this file; - is standard output"),
                    command.jsonFlag(options->json)});
  command.footer(
      "Without an option, text is printed as it is and anything else as digits. A value of at "
      "most\n"
      "16 bytes reads back as 16; free bytes (0xff) at its end are no part of the text.\n"
      "Examples:\n  corvane syscfg get OPTS\n  corvane syscfg get 0x4f505453 --out opts.bin");
  command.action([=] { return get(*options); });
}

void addKeySet(Command group) {
  const auto options = std::make_shared<SetOptions>();
  Command command = group.add("set", "Give a key a value, its first or a new one");
  addKey(command, options->key);
  excludeEachOther({command.text("VALUE", options->text, "The value, as text"),
                    command.text("--hex", options->hex, "The value, as hexadecimal digits"),
                    command.file("--file", options->file, "The value is what this file holds")});
  command.flag("--format", options->format,
               "Where the area holds no store, replace it with an empty one first");
  command.footer(
      "Examples:\n"
      "  corvane syscfg set OPTS \"serial=3 soak\"\n"
      "  corvane syscfg set 0x4b455931 --hex \"01 02 ff\"");
  command.action([=] { return set(*options); });
}

void addDel(Command group) {
  const auto key = std::make_shared<std::string>();
  Command command = group.add("del", "Remove a key and its value");
  addKey(command, *key);
  command.footer("Example:\n  corvane syscfg del OPTS");
  command.action([=] { return del(*key); });
}

void addDump(Command group) {
  const auto file = std::make_shared<std::string>();
  Command command = group.add("dump", "Save the raw area, 8192 bytes");
  command.file("FILE", *file, "File to write; standard output if not given, or -");
  command.footer("Example:\n  corvane syscfg dump area.bin && corvane inspect area.bin");
  command.action([=] { return dump(*file); });
}

void addMap(Command group) {
  const auto json = std::make_shared<bool>(false);
  Command command =
      group.add("map", "Draw what each byte of the area is used for, and what is wrong");
  command.jsonFlag(*json);
  command.footer(
      "In colour on a terminal, unless the variable NO_COLOR is set.\n"
      "Example:\n  corvane syscfg map");
  command.action([=] { return map(*json); });
}

}  // namespace

void addSyscfgGroup(CLI::App& app) {
  Command group =
      Command(app).addGroup("syscfg", "Show and change the keys of the unit's configuration area",
                            "Examples:\n"
                            "  corvane syscfg list\n"
                            "  corvane syscfg set OPTS \"serial=3 soak\"");
  addKeyList(group);
  addGet(group);
  addKeySet(group);
  addDel(group);
  addDump(group);
  addMap(group);
}

}  // namespace corvane::tools
