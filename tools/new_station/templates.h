#ifndef CORVANE_TOOLS_NEW_STATION_TEMPLATES_H_
#define CORVANE_TOOLS_NEW_STATION_TEMPLATES_H_

#include <span>
#include <string_view>

namespace corvane::tools {

/// A file of a new station's folder; "{{NAME}}", "{{NUMBER}}", "{{OFFSET}}", "{{POISON_OFFSET}}"
/// and "{{KEY}}" in it are to be filled in.
struct Template {
  std::string_view fileName;
  std::string_view text;
};

std::span<const Template> newStationTemplates();

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_NEW_STATION_TEMPLATES_H_
