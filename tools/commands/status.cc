#include <algorithm>
#include <iomanip>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>

#include "controlbits/control_bit_byte.h"
#include "platform/number.h"
#include "tools/command_line.h"
#include "tools/inspect/inspect.h"
#include "tools/json_output.h"
#include "tools/terminal/terminal.h"
#include "tools/unit_access.h"
#include "unit/status_byte.h"

namespace corvane::tools {
namespace {

/// The names of status values, as people type them.
using StatusNames = std::map<std::string, int32_t>;
const StatusNames kTestStatuses = {{"passed", kCorvaneCotnrolBitsPassed},
                                   {"incomplete", kCorvaneControlBitsIncompleteTest},
                                   {"failed", kCorvaneControlBitsFailed},
                                   {"not-tested", kCorvaneControlBitsNotTested}};
const StatusNames kLogCollectionStatuses = {{"complete", kLogCollectionControlBitsComplete},
                                            {"incomplete", kLogCollectionControlBitsIncomplete}};

constexpr size_t kGridColumns = 16;

/// The colour of each mark that has one.
const std::map<char, const char*> kGridColours = {{'P', "\033[32m"},   {'C', "\033[32m"},
                                                  {'F', "\033[1;31m"}, {'!', "\033[1;37;41m"},
                                                  {'I', "\033[33m"},   {'.', "\033[2m"}};

/// Returns the mark, followed by the fail count of a test: "F2".
std::string cellOf(size_t offset, uint8_t byte) {
  const char mark = markOf(offset, byte);
  const bool isTest = mark >= 'A' && mark <= 'Z' && unit::hasFailCount(offset);
  return {mark, isTest ? static_cast<char>('0' + failCountOf(byte)) : ' '};
}

/// Prints the bytes, 16 to a row, with a legend, in at most 80 columns.
void printGrid(std::span<const uint8_t> bytes) {
  const bool isColoured = isColouredOutput();
  std::cout << "    ";
  for (size_t column = 0; column < kGridColumns; ++column) std::cout << std::setw(4) << column;
  for (size_t at = 0; at < bytes.size(); ++at) {
    if (at % kGridColumns == 0) std::cout << "\n" << std::setw(4) << at;
    std::string cell = cellOf(at, bytes[at]);
    if ((at + 1) % kGridColumns == 0 && cell.back() == ' ') cell.pop_back();
    const auto colour = kGridColours.find(cell.front());
    const bool hasColour = isColoured && colour != kGridColours.end();
    std::cout << "  " << (hasColour ? colour->second : "") << cell << (hasColour ? "\033[0m" : "");
  }
  std::cout << "\n\nP passed, F failed, I incomplete, N not tested, each with its fail count;\n"
               "! failed, or poisoned, C log collection complete, . not written.\n"
               "The offset is the row's number plus the column's.\n";
}

struct ShowOptions {
  bool list = false, written = false, json = false;
};

void showStatus(const ShowOptions& options) {
  requireDataToLook();
  const std::vector<uint8_t> data = unit::readDiagnosticData();
  const auto bytes = std::span(data).first(std::min<size_t>(data.size(), unit::kControlBits));
  if (!options.written && !options.list && !options.json) return printGrid(bytes);
  std::vector<ControlBit> shown;
  for (size_t offset = 0; offset < bytes.size(); ++offset) {
    if (!options.written || bytes[offset] != 0xFF) shown.push_back({offset, bytes[offset]});
  }
  printResult(options.json, {{"bytes", shown}}, controlBitTable(shown).text());
}

void printByte(uint32_t offset, uint8_t byte, bool json) {
  printResult(json, ControlBit{offset, byte},
              "offset " + std::to_string(offset) + ": " + hexNumber(byte, 2) + ", " +
                  unit::byteText(offset, byte) + "\n");
}

struct StatusOptions {
  uint32_t offset = 0;
  std::optional<int32_t> status, count;
  bool force = false;
  bool json = false;
};

void setStatus(const StatusOptions& options) {
  if (!options.status && !options.count) {
    throw CommandError(kUsage, "status set needs --status, --count or both");
  }
  unit::StatusChange change{.failCount = options.count};
  if (options.status) change.status = static_cast<CorvaneControlBitStatus>(*options.status);
  unit::openDataArea();
  const unit::ByteChange done = changeUnit([&](unit::Lock& lock) {
    requireControlBit(options.offset, options.force);
    return unit::changeStatus(lock, options.offset, change);
  });
  printByte(options.offset, done.after, options.json);
}

void addStatusShow(Command group) {
  auto& options = group.actionOn<ShowOptions>(showStatus);
  group.flag("--list", options.list, "One byte to a line instead of the grid");
  group.flag("--written", options.written, "Only bytes that are not 0xff");
  group.jsonFlag(options.json);
}

void addStatusSet(Command group) {
  Command command = group.add("set", "Write one control-bit byte",
                              "Example:\n  corvane status set 20 --status failed --count 2");
  auto& options = command.actionOn<StatusOptions>(setStatus);
  command.number("OFFSET", options.offset, "Offset of the byte").required();
  command.choice("--status", options.status, "Test status; stays as it is if not given",
                 kTestStatuses);
  command.number("--count", options.count, "Fail count; stays as it is if not given", {0, 7});
  command.flag("--force", options.force, "Also write from offset 128 on, where records lie");
  command.jsonFlag(options.json);
}

/// Adds a command for one byte of fixed use, which shows it or writes the given status.
void addFixedByte(Command group, const std::string& name, const std::string& about, uint32_t offset,
                  const StatusNames& names) {
  Command command = group.add(name, about);
  auto& options = command.actionOn<StatusOptions>([](const StatusOptions& given) {
    if (given.status) return setStatus(given);
    requireDataToLook();
    printByte(given.offset, unit::readByte(given.offset), given.json);
  });
  options.offset = offset;
  command.choice("STATUS", options.status, "Status to write; if not given, the byte is shown",
                 names);
  command.jsonFlag(options.json);
}

}  // namespace

void addStatus(CLI::App& app) {
  Command group = Command(app).add(
      "status", "Show the control-bit bytes, in which each station keeps its test status",
      "The grid is coloured on a terminal, unless NO_COLOR is set or TERM is dumb.\n"
      "Examples:\n"
      "  corvane status --written             only bytes that a station wrote\n"
      "  corvane status suite passed");
  addStatusShow(group);
  addStatusSet(group);
  addFixedByte(group, "suite", "Show or write the test suite's byte, at offset 18",
               kSuiteStatusOffset, kTestStatuses);
  addFixedByte(group, "log-collection", "Show or write the log-collection byte, at offset 9",
               kLogCollectionOffset, kLogCollectionStatuses);
}

}  // namespace corvane::tools
