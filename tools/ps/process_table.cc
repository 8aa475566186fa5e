#include "tools/ps/process_table.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string_view>

#include "platform/printable.h"
#include "tools/terminal/table.h"
#include "tools/terminal/text_columns.h"

namespace corvane::tools {
namespace {

/// The least room for a name that is worth another column.
constexpr size_t kRoomForName = 16;

/// The columns before the name.
enum Field : size_t { kPid, kUsage, kUser, kSystem, kThreads, kState, kFieldCount };
using Fields = std::array<std::string, kFieldCount>;

constexpr std::array<const char*, kFieldCount> kTitles = {"PID",    "CPU%",    "USER",
                                                          "SYSTEM", "THREADS", "STATE"};
/// The columns that a narrow terminal can do without, in this order.
constexpr std::array kDispensable = {kSystem, kUser, kThreads, kState};

struct Row {
  Fields fields;
  std::string name;
};

std::string decimal(double value, int digits) {
  std::array<char, 48> text;
  std::snprintf(text.data(), text.size(), "%.*f", digits, value);
  return text.data();
}

std::vector<Row> rowsOf(const std::vector<ProcessSample>& processes, bool withThreads) {
  std::vector<Row> rows;
  for (const ProcessSample& process : processes) {
    std::string user = "-", system = "-";
    if (process.times) {
      user = decimal(secondsOf(process.times->user_time), 2);
      system = decimal(secondsOf(process.times->system_time), 2);
    }
    rows.push_back({{std::to_string(process.pid), decimal(percentOf(process.usage), 1), user,
                     system, std::to_string(process.threads.size()), stateText(process)},
                    printable(process.name)});
    if (!withThreads) continue;
    for (const ThreadSample& thread : process.threads) {
      rows.push_back({{"", decimal(percentOf(thread.usage), 1), decimal(secondsOf(thread.user), 2),
                       decimal(secondsOf(thread.system), 2), "", stateText(thread.runState)},
                      thread.flags == TH_FLAGS_IDLE ? "  thread (idle)" : "  thread"});
    }
  }
  return rows;
}

/// Returns the columns that leave room for names, and shortens the names to that room.
std::vector<size_t> fit(std::vector<Row>& rows, size_t width) {
  constexpr size_t kGap = 2;
  std::array<size_t, kFieldCount> widths{};
  std::vector<size_t> shown;
  size_t used = 0;
  for (size_t i = 0; i < kFieldCount; ++i) {
    widths[i] = std::string_view(kTitles[i]).size();
    for (const Row& row : rows) widths[i] = std::max(widths[i], row.fields[i].size());
    used += widths[i] + kGap;
    shown.push_back(i);
  }
  for (const size_t field : kDispensable) {
    if (used + kRoomForName <= width) break;
    used -= widths[field] + kGap;
    std::erase(shown, field);
  }
  for (Row& row : rows) row.name = ending(row.name, width > used ? width - used : 1);
  return shown;
}

}  // namespace

std::vector<std::string> tableOf(const std::vector<ProcessSample>& processes, bool withThreads,
                                 std::optional<size_t> width) {
  std::vector<Row> rows = rowsOf(processes, withThreads);
  const std::vector<size_t> shown = fit(rows, width.value_or(SIZE_MAX));
  std::vector<Column> columns;
  for (const size_t field : shown) {
    columns.push_back({kTitles[field], field == kState ? Align::kLeft : Align::kRight});
  }
  columns.push_back({"NAME"});
  Table table(std::move(columns));
  for (Row& row : rows) {
    std::vector<std::string> cells;
    for (const size_t field : shown) cells.push_back(std::move(row.fields[field]));
    cells.push_back(std::move(row.name));
    table.addRow(std::move(cells));
  }
  std::ostringstream text;
  table.print(text);
  std::istringstream all(text.str());
  std::vector<std::string> lines;
  for (std::string line; std::getline(all, line);) lines.push_back(line);
  return lines;
}

}  // namespace corvane::tools
