#ifndef CORVANE_TOOLS_CONTROL_BIT_TEXT_H_
#define CORVANE_TOOLS_CONTROL_BIT_TEXT_H_

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "tools/terminal/table.h"
#include "unit/byte_text.h"

/// How the tool shows control-bit bytes; `unit/byte_text.h` says what they mean.
namespace corvane::tools {

/// Marks of bytes for which no test status is shown.
inline constexpr char kMaybePoisonMark = '!';
inline constexpr char kUnwrittenMark = '.';

/// Returns how a byte looks in a grid: P passed, F failed, I incomplete, N not tested, or one of
/// the marks above; for the log collection's byte C complete, I incomplete or "?".
char markOf(size_t offset, uint8_t byte);

struct ControlBit {
  size_t offset;
  uint8_t byte;
};

Table controlBitTable(const std::vector<ControlBit>& bytes);
nlohmann::ordered_json controlBitAsJson(const ControlBit& bit);
nlohmann::ordered_json controlBitsAsJson(const std::vector<ControlBit>& bytes);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_CONTROL_BIT_TEXT_H_
