#include "tools/results/summary_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "platform/number.h"

namespace corvane::tools {
namespace {

std::string limitsText(std::optional<double> lower, std::optional<double> upper) {
  if (lower && upper) return decimalText(*lower) + " to " + decimalText(*upper);
  if (lower) return "at least " + decimalText(*lower);
  return upper ? "at most " + decimalText(*upper) : "-";
}

}  // namespace

std::string percentText(uint64_t part, uint64_t whole) {
  if (whole == 0) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.2f %%",
                100 * static_cast<double>(part) / static_cast<double>(whole));
  return text;
}

std::string roundedText(std::optional<double> value) {
  if (!value) return "-";
  // Small numbers keep four digits.
  const double size = std::abs(*value);
  const int digits =
      size >= 1 || size == 0 ? 3 : 3 - static_cast<int>(std::floor(std::log10(size)));
  const double step = std::pow(10, std::min(digits, 300));
  const double rounded = std::round(*value * step) / step;
  return decimalText(std::isfinite(rounded) && size < 1e9 ? rounded : *value);
}

std::string roundedTo(double value, double deviation) {
  if (!(deviation > 0) || !std::isfinite(deviation)) return decimalText(value);
  // Multiples of a power of ten that is at most a thousandth of the deviation. Powers above 1 are
  // exact for longer than those below.
  const double exponent = std::floor(std::log10(deviation)) - 3;
  const double step = std::pow(10, std::abs(exponent));
  const double rounded =
      exponent < 0 ? std::round(value * step) / step : std::round(value / step) * step;
  return decimalText(std::isfinite(rounded) ? rounded : value);
}

std::string meanText(const Moments& moments) {
  return moments.count() == 0 ? "-" : roundedTo(moments.mean(), moments.deviation().value_or(0));
}

std::string limitsText(const MeasurementSummary& measurement) {
  return measurement.hasVariousLimits ? "various"
                                      : limitsText(measurement.lower, measurement.upper);
}

std::string valueText(const Measurement& measurement, const Names& names) {
  if (measurement.isCheck) return measurement.text + ", expected " + measurement.expected;
  std::string text = measurement.value ? decimalText(*measurement.value) : "not a number";
  const std::string& unit = names.text(measurement.unitOfMeasure);
  if (!unit.empty()) text.append(" ").append(unit);
  const std::string limits = limitsText(measurement.lower, measurement.upper);
  return limits == "-" ? text : text + " (" + limits + ")";
}

std::string nameText(const MeasurementSummary& measurement, const Names& names) {
  const std::string& unit = names.text(measurement.unitOfMeasure);
  return names.text(measurement.name) + (unit.empty() ? "" : ", " + unit);
}

}  // namespace corvane::tools
