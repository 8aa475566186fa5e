#ifndef CORVANE_UNIT_FACTS_H_
#define CORVANE_UNIT_FACTS_H_

#include <map>
#include <optional>
#include <string>

#include "../platform/export.h"

namespace corvane::unit {

/// What a unit is, what it carries and how it is powered. What cannot be read is absent.
struct Facts {
  std::optional<std::string> model;  ///< Its name, such as "T33AP".
  std::optional<std::string> build;  ///< Of its system.
  bool hasWiFi = false;              ///< Whether it has Wi-Fi.
  bool hasCompass = false;           ///< Whether it has a compass.
  bool hasGyro = false;              ///< Whether it has a gyroscope.
  bool hasBaseband = false;          ///< Whether it has a baseband.
  /// Whether the model's baseband depends on the key "OPTS".
  bool needsOptions = false;
  /// Whether that key is set; absent when `needsOptions` is false or the area cannot be read.
  std::optional<bool> areOptionsSet;
  std::string options;                ///< Its text.
  std::optional<int> battery;         ///< Percent.
  std::optional<bool> externalPower;  ///< Whether it is connected.
  /// The version file's entries, as text.
  std::optional<std::map<std::string, std::string>> version;
};

/// Returns the facts of the unit. `hasBaseband` needs `openDataArea` to have been called, for
/// models that depend on the key "OPTS".
CORVANE_EXPORT Facts readFacts();

}  // namespace corvane::unit

#endif  // CORVANE_UNIT_FACTS_H_
