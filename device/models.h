#ifndef CORVANE_DEVICE_MODELS_H_
#define CORVANE_DEVICE_MODELS_H_

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "controlbits/control_bits.h"

namespace corvane {

/// What decides whether a model has a part. A radio query asks the platform's Wi-Fi library; the
/// options are the value of the configuration key "OPTS".
enum class Presence { kAbsent, kPresent, kRadioQuery, kOptions };

struct Model {
  /// What a device's name begins with.
  std::string_view code;
  Presence wifi;
  Presence compass;
  Presence gyroscope;
  Presence baseband;
};

/// A model whose code is not in the table, and a device without a name.
inline constexpr Model kUnknownModel = {"", Presence::kPresent, Presence::kAbsent,
                                        Presence::kAbsent, Presence::kPresent};

inline constexpr Model kModels[] = {
    {"T31", Presence::kRadioQuery, Presence::kAbsent, Presence::kAbsent, Presence::kPresent},
    {"T32", Presence::kRadioQuery, Presence::kPresent, Presence::kAbsent, Presence::kPresent},
    {"T33", Presence::kPresent, Presence::kPresent, Presence::kPresent, Presence::kPresent},
    {"T34", Presence::kPresent, Presence::kPresent, Presence::kAbsent, Presence::kOptions},
    {"T35", Presence::kPresent, Presence::kPresent, Presence::kPresent, Presence::kPresent},
    {"T36", Presence::kPresent, Presence::kAbsent, Presence::kPresent, Presence::kAbsent},
    {"T37", Presence::kPresent, Presence::kAbsent, Presence::kAbsent, Presence::kAbsent},
    {"T38", Presence::kPresent, Presence::kAbsent, Presence::kAbsent, Presence::kAbsent},
};

/// Returns the model of a device whose name is `name`.
constexpr const Model& modelOf(std::string_view name) {
  for (const Model& model : kModels) {
    if (name.starts_with(model.code)) return model;
  }
  return kUnknownModel;
}

/// Returns the first 255 bytes of the configuration value "OPTS"; nothing when the key is not set
/// or its value is empty or cannot be read.
inline std::optional<std::string> readOptions() {
  constexpr uint32_t kOptionsKey = 0x4F505453;
  constexpr ptrdiff_t kMaxLength = 255;
  // The read takes no size: no value is longer than the area that holds it.
  std::vector<uint8_t> value(kConfigurationAreaSize);
  const int32_t length = ControlBits::readSystemConfig(value.data(), kOptionsKey);
  if (length == 0) return {};
  return std::string(value.begin(), value.begin() + std::min<ptrdiff_t>(length, kMaxLength));
}

}  // namespace corvane

#endif  // CORVANE_DEVICE_MODELS_H_
