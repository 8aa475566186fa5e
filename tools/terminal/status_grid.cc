#include "tools/terminal/status_grid.h"

#include <iomanip>
#include <ostream>
#include <string>

#include "controlbits/control_bit_byte.h"
#include "tools/inspect/inspect.h"

namespace corvane::tools {
namespace {

constexpr size_t kColumns = 16;

const char* colourOf(char mark) {
  switch (mark) {
    case 'P':
    case 'C':
      return "\033[32m";
    case 'F':
      return "\033[1;31m";
    case '!':
      return "\033[1;37;41m";
    case 'I':
      return "\033[33m";
    case '.':
      return "\033[2m";
    default:
      return "";
  }
}

/// Returns the mark, followed by the fail count of a test: "F2".
std::string cellOf(size_t offset, uint8_t byte) {
  const char mark = markOf(offset, byte);
  const bool hasCount =
      std::string_view("PFIN").find(mark) != std::string_view::npos && unit::hasFailCount(offset);
  return {mark, hasCount ? static_cast<char>('0' + failCountOf(byte)) : ' '};
}

}  // namespace

void printStatusGrid(std::ostream& out, std::span<const uint8_t> bytes, bool coloured) {
  out << "    ";
  for (size_t column = 0; column < kColumns; ++column) out << std::setw(4) << column;
  for (size_t at = 0; at < bytes.size(); ++at) {
    if (at % kColumns == 0) out << "\n" << std::setw(4) << at;
    std::string cell = cellOf(at, bytes[at]);
    if ((at + 1) % kColumns == 0 && cell.back() == ' ') cell.pop_back();
    const char* const colour = coloured ? colourOf(cell.front()) : "";
    out << "  " << colour << cell << (*colour ? "\033[0m" : "");
  }
  out << "\n\nP passed, F failed, I incomplete, N not tested, each with its fail count;\n"
         "! failed, or poisoned, C log collection complete, . not written.\nThe offset is the "
         "row's "
         "number plus the column's.\n";
}

}  // namespace corvane::tools
