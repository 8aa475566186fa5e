#include <algorithm>
#include <iomanip>
#include <ostream>

#include "tools/inspect/inspect.h"

namespace corvane::tools {
namespace {

constexpr size_t kColumns = 64, kBytesPerMark = 16;

/// What bytes of the area belong to: the mark in the map, its colour on a terminal and its name.
struct Part {
  char mark;
  const char* colour;
  const char* name;
};
// Values alternate between two marks, so that neighbours can be told apart.
enum { kHeader, kInline, kIndirect, kFree, kValue, kNextValue, kDamaged, kUnused };
constexpr Part kParts[] = {{'H', "\033[35m", "header"},         {'i', "\033[36m", "inline entry"},
                           {'x', "\033[34m", "indirect entry"}, {'.', "\033[2m", "free"},
                           {'v', "\033[32m", "value"},          {'w', "\033[33m", "next value"},
                           {'!', "\033[1;31m", "damaged"},      {'?', "", "unused"}};

/// Returns what each mark shows: damage if its bytes have any, else the first part that is not free
/// space.
std::vector<int> partOfEachMark(const AreaReport& report) {
  std::vector<int> marks((report.size + kBytesPerMark - 1) / kBytesPerMark, kUnused);
  const auto mark = [&](size_t offset, size_t length, int part) {
    const size_t end = std::min(offset + length, report.size);
    for (size_t at = offset / kBytesPerMark; at * kBytesPerMark < end; ++at) {
      if (part == kDamaged || marks[at] == kUnused || marks[at] == kFree) marks[at] = part;
    }
  };
  mark(report.freeBegin, report.freeEnd - report.freeBegin, kFree);
  mark(0, area::kHeaderSize, kHeader);
  std::vector<const AreaEntry*> values;
  for (const AreaEntry& entry : report.entries) {
    mark(entry.offset, area::kEntrySize, entry.isIndirect ? kIndirect : kInline);
    if (entry.isIndirect && entry.fault.empty()) values.push_back(&entry);
  }
  std::ranges::sort(values, {}, &AreaEntry::valueOffset);
  for (size_t index = 0; index < values.size(); ++index) {
    mark(values[index]->valueOffset, values[index]->valueLength,
         index % 2 == 0 ? kValue : kNextValue);
  }
  for (const Finding& finding : report.findings) mark(finding.offset, finding.length, kDamaged);
  return marks;
}

std::string painted(const Part& part, bool coloured) {
  const std::string mark(1, part.mark);
  return coloured && *part.colour ? part.colour + mark + "\033[0m" : mark;
}

}  // namespace

void printMap(std::ostream& out, const AreaReport& report, bool coloured) {
  const std::vector<int> marks = partOfEachMark(report);
  for (size_t at = 0; at < marks.size(); ++at) {
    if (at % kColumns == 0) out << std::setw(6) << at * kBytesPerMark << "  ";
    out << painted(kParts[marks[at]], coloured);
    if ((at + 1) % kColumns == 0 || at + 1 == marks.size()) out << "\n";
  }
  out << "\nEach mark is " << kBytesPerMark << " bytes:";
  for (const Part& part : kParts) out << "\n  " << painted(part, coloured) << " " << part.name;
  const auto indirect = std::ranges::count_if(report.entries, &AreaEntry::isIndirect);
  out << "\n\n"
      << report.entries.size() << (report.entries.size() == 1 ? " entry" : " entries") << " ("
      << indirect << " indirect), " << report.freeEnd - report.freeBegin << " of " << report.size
      << " bytes free\n";
}

}  // namespace corvane::tools
