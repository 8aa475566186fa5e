#include "unit/facts.h"

#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "platform/or_null.h"
#include "platform/printable.h"
#include "tools/command_line.h"
#include "tools/json_output.h"
#include "tools/terminal/table.h"
#include "tools/unit_access.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;

Json asJson(const unit::Facts& facts) {
  Json json = {{"model", orNull(facts.model)}, {"build", orNull(facts.build)},
               {"wifi", facts.hasWiFi},        {"compass", facts.hasCompass},
               {"gyroscope", facts.hasGyro},   {"baseband", facts.hasBaseband}};
  if (facts.needsOptions) {
    json["options"] = facts.areOptionsSet.value_or(false) ? Json(facts.options) : Json();
    json["optionsSet"] = orNull(facts.areOptionsSet);
  }
  json["batteryPercent"] = orNull(facts.battery);
  json["externalPower"] = orNull(facts.externalPower);
  json["version"] = orNull(facts.version);
  return json;
}

std::string cell(const Json& value) {
  if (value.is_null()) return "(cannot be read)";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  return value.is_string() ? printable(value.get<std::string>()) : value.dump();
}

void printFacts(const Json& facts) {
  Table table({{"FACT"}, {"VALUE"}});
  for (const auto& [name, value] : facts.items()) {
    if (name == "optionsSet") continue;
    if (name == "options" && facts["optionsSet"] == false) {
      table.addRow({name, "(the key OPTS is not set)"});
    } else if (!value.is_object()) {
      table.addRow({name, cell(value)});
    } else {
      for (const auto& [key, text] : value.items()) {
        table.addRow({name + " " + printable(key), cell(text)});
      }
    }
  }
  table.print(std::cout);
  if (facts["model"].is_null()) {
    std::cout << "Without a model's name, what the device carries is what an unknown model does.\n";
  }
}

/// Finds the data area, which only the options are in. Without it they cannot be read.
void openDataAreaIfThere() try { unit::openDataArea(); } catch (const unit::Error&) {
}

}  // namespace

void addFacts(CLI::App& app) {
  addLook(
      Command(app), "facts", "Tell what device this is, what it carries and how it is powered",
      "Example:\n  corvane facts --json\n\n"
      "What cannot be read is null in JSON. The baseband of some models depends on the key OPTS;\n"
      "without a readable one they have none.",
      [](bool json) {
        requireUnitToLook();
        openDataAreaIfThere();
        const Json found = asJson(unit::readFacts());
        if (json) {
          printJson(found);
        } else {
          printFacts(found);
        }
        return kDone;
      });
}

}  // namespace corvane::tools
