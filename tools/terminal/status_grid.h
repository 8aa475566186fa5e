#ifndef CORVANE_TOOLS_TERMINAL_STATUS_GRID_H_
#define CORVANE_TOOLS_TERMINAL_STATUS_GRID_H_

#include <cstdint>
#include <iosfwd>
#include <span>

namespace corvane::tools {

/// Draws the control-bit bytes, 16 to a row, with a legend, in at most 80 columns.
void printStatusGrid(std::ostream& out, std::span<const uint8_t> bytes, bool coloured);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_TERMINAL_STATUS_GRID_H_
