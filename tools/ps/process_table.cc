#include "tools/ps/process_table.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "platform/printable.h"
#include "tools/terminal/table.h"
#include "tools/terminal/text_columns.h"

namespace corvane::tools {
namespace {

/// The columns before the name.
constexpr std::array<const char*, 6> kTitles = {"PID",    "CPU%",    "USER",
                                                "SYSTEM", "THREADS", "STATE"};
using Row = std::vector<std::string>;

std::vector<Row> rowsOf(const std::vector<ProcessSample>& processes, bool withThreads) {
  std::vector<Row> rows;
  for (const ProcessSample& process : processes) {
    rows.push_back({std::to_string(process.pid), percentText(process.usage),
                    process.times ? secondsText(process.times->user_time) : "-",
                    process.times ? secondsText(process.times->system_time) : "-",
                    std::to_string(process.threads.size()), stateText(process),
                    printable(process.name)});
    if (!withThreads) continue;
    for (const ThreadSample& thread : process.threads) {
      rows.push_back({"", percentText(thread.usage), secondsText(thread.user),
                      secondsText(thread.system), "", stateText(thread.runState),
                      thread.flags == TH_FLAGS_IDLE ? "  thread (idle)" : "  thread"});
    }
  }
  return rows;
}

/// Returns how many columns are left for names.
size_t roomForNames(const std::vector<Row>& rows, size_t width) {
  constexpr size_t kMinRoom = 16, kGap = 2;
  size_t used = 0;
  for (size_t i = 0; i < kTitles.size(); ++i) {
    size_t widest = std::string_view(kTitles[i]).size();
    for (const Row& row : rows) widest = std::max(widest, row[i].size());
    used += widest + kGap;
  }
  return width > used + kMinRoom ? width - used : kMinRoom;
}

}  // namespace

void printTable(std::ostream& out, const std::vector<ProcessSample>& processes, bool withThreads,
                size_t width) {
  std::vector<Column> columns;
  for (const char* title : kTitles) columns.push_back({title, Align::kRight});
  columns.back().align = Align::kLeft;
  columns.push_back({"NAME"});
  Table table(std::move(columns));
  std::vector<Row> rows = rowsOf(processes, withThreads);
  const size_t room = roomForNames(rows, width);
  for (Row& row : rows) {
    row.back() = ending(row.back(), room);
    table.addRow(std::move(row));
  }
  table.print(out);
}

}  // namespace corvane::tools
