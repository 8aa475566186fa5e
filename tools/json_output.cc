#include "tools/json_output.h"

#include <iostream>
#include <nlohmann/json.hpp>

namespace corvane::tools {
namespace {

using nlohmann::ordered_json;

/// `indentation` is -1 for a text of one line.
std::string textOf(const ordered_json& object, int indentation) {
  ordered_json document = {{"schema", kJsonSchema}};
  document.update(object);
  return document.dump(indentation, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace

void printJson(const ordered_json& object) { std::cout << textOf(object, 2); }

std::string jsonLine(const ordered_json& object) { return textOf(object, -1); }

void printJsonError(int status, const std::string& message) {
  std::cerr << jsonLine({{"error", {{"status", status}, {"message", message}}}});
}

}  // namespace corvane::tools
