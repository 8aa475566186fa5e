#include "tools/json_output.h"

#include <iostream>
#include <nlohmann/json.hpp>

#include "platform/printable.h"

namespace corvane::tools {
namespace {

using nlohmann::ordered_json;

/// Returns the object with its schema and a line feed; `indentation` is -1 for a text of one line.
std::string textOf(const ordered_json& object, int indentation) {
  ordered_json document = {{"schema", kJsonSchema}};
  document.update(object);
  return jsonText(document, indentation) + "\n";
}

/// Returns a text without quotes, yes or no for a boolean, and a list with commas.
std::string cellOf(const ordered_json& value, const std::string& absent) {
  if (value.is_null()) return absent;
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) return printable(value.get<std::string>());
  if (!value.is_array()) return value.dump();
  std::string list;
  for (const ordered_json& part : value) list += (list.empty() ? "" : ", ") + cellOf(part, absent);
  return list;
}

}  // namespace

std::string jsonText(const ordered_json& value, int indentation) {
  return value.dump(indentation, ' ', true, ordered_json::error_handler_t::replace);
}

void printJson(const ordered_json& object) { std::cout << textOf(object, 2); }

void printResult(bool asJson, const ordered_json& object, const std::string& text) {
  std::cout << (asJson ? textOf(object, 2) : text);
}

Table factTable(const ordered_json& object, const std::string& absent) {
  Table table({{"Fact"}, {"Value"}});
  for (const auto& [name, value] : object.items()) {
    if (value.is_object()) {
      for (const auto& [key, inner] : value.items()) {
        table.addRow({name + " " + printable(key), cellOf(inner, absent)});
      }
    } else {
      table.addRow({name, cellOf(value, absent)});
    }
  }
  return table;
}

std::string jsonLine(const ordered_json& object) { return textOf(object, -1); }

}  // namespace corvane::tools
