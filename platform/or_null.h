#ifndef CORVANE_PLATFORM_OR_NULL_H_
#define CORVANE_PLATFORM_OR_NULL_H_

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace corvane {

/// Returns the value as JSON: null when there is none.
template <typename Value>
nlohmann::ordered_json orNull(const std::optional<Value>& value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
}

/// Returns the text as JSON: null for an empty one.
inline nlohmann::ordered_json orNull(const std::string& text) {
  return text.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(text);
}

}  // namespace corvane

#endif  // CORVANE_PLATFORM_OR_NULL_H_
