#ifndef CORVANE_TOOLS_LOG_LOG_LINE_H_
#define CORVANE_TOOLS_LOG_LOG_LINE_H_

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

/// Lines of the test log as the tool shows them. The log does not mark where a record ends: after a
/// line feed in a message, the next line does not begin a record, and neither does a line written
/// without a time.
namespace corvane::tools {

/// Returns the line for a terminal, with "| " in front when it does not begin a record.
std::string lineForPeople(std::string_view line);

/// Returns the test that a record with a time names; nothing when it names none, or for another
/// line.
std::optional<std::string_view> testOf(std::string_view line);

/// Returns the line's fields: those of a record with a time, those of a station message, or its
/// text.
nlohmann::ordered_json lineAsJson(std::string_view line);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_LOG_LOG_LINE_H_
