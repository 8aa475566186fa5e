#ifndef CORVANE_TOOLS_CONTROL_BIT_TEXT_H_
#define CORVANE_TOOLS_CONTROL_BIT_TEXT_H_

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "unit/byte_text.h"

/// How the tool shows a control-bit byte; `unit/byte_text.h` says what it means.
namespace corvane::tools {

/// Marks of bytes for which no test status is shown.
inline constexpr char kMaybePoisonMark = '!';
inline constexpr char kUnwrittenMark = '.';

/// Returns how a byte looks in a grid: P passed, F failed, I incomplete, N not tested, or one of
/// the marks above; for the log collection's byte C complete, I incomplete or "?".
char markOf(size_t offset, uint8_t byte);

/// The columns of a table of control-bit bytes: offset, byte, status, fail count and use.
std::vector<std::string> controlBitRow(size_t offset, uint8_t byte);
nlohmann::ordered_json controlBitAsJson(size_t offset, uint8_t byte);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_CONTROL_BIT_TEXT_H_
