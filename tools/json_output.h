#ifndef CORVANE_TOOLS_JSON_OUTPUT_H_
#define CORVANE_TOOLS_JSON_OUTPUT_H_

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "tools/terminal/terminal.h"

/// How the tool writes JSON. Every document, and every line of a stream, is an object whose first
/// field is "schema", the version of the fields that docs/json.md lists. The functions take the
/// object without that field. Bytes that are not UTF-8 show as U+FFFD.
namespace corvane::tools {

/// Increased when a field is renamed, removed or changes its meaning; not when one is added.
inline constexpr int kJsonSchema = 1;

/// Returns the value's text in printable ASCII, what else there is escaped; `indentation` is -1 for
/// a text of one line.
std::string jsonText(const nlohmann::ordered_json& value, int indentation);

/// Prints a document, indented, to standard output.
void printJson(const nlohmann::ordered_json& object);

/// Prints a command's result to standard output: the document with `asJson`, else the text.
void printResult(bool asJson, const nlohmann::ordered_json& object, const std::string& text);

/// Returns the object's fields as a table for people, with `absent` for null.
Table factTable(const nlohmann::ordered_json& object, const std::string& absent);

/// Returns the object as a stream's line, with its line feed.
std::string jsonLine(const nlohmann::ordered_json& object);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_JSON_OUTPUT_H_
