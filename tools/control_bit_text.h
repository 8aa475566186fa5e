#ifndef CORVANE_TOOLS_CONTROL_BIT_TEXT_H_
#define CORVANE_TOOLS_CONTROL_BIT_TEXT_H_

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>

/// How the tool names what a control-bit byte holds.
namespace corvane::tools {

/// The names of status values, as people read and type them.
using StatusNames = std::map<std::string, int32_t>;
const StatusNames& testStatusNames();
const StatusNames& logCollectionStatusNames();

/// Returns the name among `names` of the byte's status; "status 2" when it has none.
std::string statusName(uint8_t byte, const StatusNames& names);

/// Marks of bytes for which no test status is shown.
inline constexpr char kPoisonMark = '!';
inline constexpr char kUnwrittenMark = '.';

/// Returns how a byte looks in a grid: P passed, F failed, I incomplete, N not tested, or one of
/// the marks above.
char markOf(uint8_t byte);

/// Returns the byte as "0x0a".
std::string hexByte(uint8_t byte);

/// Returns the fixed use of the byte at `offset`; empty when it has none.
std::string useOf(size_t offset);

nlohmann::ordered_json controlBitAsJson(size_t offset, uint8_t byte);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_CONTROL_BIT_TEXT_H_
