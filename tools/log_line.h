#ifndef CORVANE_TOOLS_LOG_LINE_H_
#define CORVANE_TOOLS_LOG_LINE_H_

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

/// Lines of the test log as the tool shows them. The log does not say where a record ends: a
/// message with a line feed makes a line that begins like none, as a line written without a time
/// does.
namespace corvane::tools {

/// The line for a terminal; with "| " in front when it does not begin a record.
std::string lineForPeople(std::string_view line);

/// The test that a record with a time names, if it does.
std::optional<std::string_view> testOf(std::string_view line);

/// The line's fields: those of a record with a time, those of a station message, or its text.
nlohmann::ordered_json lineAsJson(std::string_view line);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_LOG_LINE_H_
