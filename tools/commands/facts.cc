#include "unit/facts.h"

#include <nlohmann/json.hpp>

#include "platform/or_null.h"
#include "tools/command_line.h"
#include "tools/json_output.h"
#include "tools/unit_access.h"
#include "unit/error.h"

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

std::string textOf(Json facts) {
  if (facts.value("optionsSet", Json()) == false) facts["options"] = "(the key OPTS is not set)";
  facts.erase("optionsSet");
  std::string table = factTable(facts, "(cannot be read)").text();
  if (!facts["model"].is_null()) return table;
  return table + "Without a model's name, the device carries what an unknown model does.\n";
}

/// Finds the data area, which only the options are in. Without it they cannot be read.
void openDataAreaIfThere() try { unit::openDataArea(); } catch (const unit::Error&) {
}

}  // namespace

void addFacts(CLI::App& app) {
  addLook(
      Command(app), "facts", "Show what device this is, what it carries and how it is powered",
      "What cannot be read is null in JSON. The baseband of some models depends on the key OPTS;\n"
      "without a readable one they have none.",
      [](bool json) {
        requireUnitToLook();
        openDataAreaIfThere();
        const Json found = asJson(unit::readFacts());
        printResult(json, found, textOf(found));
      });
}

}  // namespace corvane::tools
