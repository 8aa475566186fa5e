#include <algorithm>
#include <cmath>
#include <limits>

#include "tools/results/summary.h"

namespace corvane::tools {
namespace {

constexpr int64_t kMaxBins = 64;

std::optional<double> ifFinite(double value) {
  return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

}  // namespace

/// Makes bins of two old ones.
void Histogram::widen() {
  for (const auto& [at, count] : std::exchange(_counts, {})) _counts[at >> 1] += count;
  ++_exponent;
}

void Histogram::add(double value) {
  using Limits = std::numeric_limits<double>;
  int exponent = Limits::min_exponent;
  if (value != 0) std::frexp(value, &exponent);
  exponent = std::max(exponent, Limits::min_exponent);
  if (_counts.empty()) _exponent = exponent - Limits::digits;
  // The value's multiple of the width must fit into 64 bits.
  while (exponent - 60 > _exponent) widen();
  const auto at = static_cast<int64_t>(std::floor(std::ldexp(value, -_exponent)));
  for (++_counts[at]; _counts.rbegin()->first - _counts.begin()->first >= kMaxBins;) widen();
}

double Histogram::begin(int64_t bin) const {
  return std::ldexp(static_cast<double>(bin), _exponent);
}

void Moments::add(double value) {
  if (_count == 0) _origin = value;
  ++_count;
  const long double distance = static_cast<long double>(value) - _origin;
  const long double before = distance - _mean;
  _mean += before / static_cast<long double>(_count);
  _squares += before * (distance - _mean);
}

void Moments::add(const Moments& other) {
  if (other._count == 0) return;
  if (_count == 0) {
    *this = other;
    return;
  }
  const auto count = static_cast<long double>(_count);
  const auto more = static_cast<long double>(other._count);
  const long double distance =
      static_cast<long double>(other._origin) - _origin + other._mean - _mean;
  _mean += distance * more / (count + more);
  _squares += other._squares + distance * distance * count * more / (count + more);
  _count += other._count;
}

std::optional<double> Moments::mean() const {
  return _count == 0 ? std::nullopt : std::optional(static_cast<double>(_origin + _mean));
}

std::optional<double> Moments::deviation() const {
  if (_count < 2) return {};
  return ifFinite(static_cast<double>(std::sqrt(_squares / static_cast<long double>(_count - 1))));
}

void MeasurementSummary::add(const Measurement& measurement, std::optional<int64_t> span) {
  ++count;
  outside += !measurement.isInside;
  notNumbers += !measurement.value && !measurement.isCheck;
  Time* const time = span ? &times[*span] : nullptr;
  if (time) time->outside += !measurement.isInside;
  if (!measurement.value) return;
  const double value = *measurement.value;
  if (time) time->values.add(value);
  if (values.count() > 0) distances += std::abs(value - last);
  last = value;
  values.add(value);
  minimum = std::min(minimum.value_or(value), value);
  maximum = std::max(maximum.value_or(value), value);
  histogram.add(value);
}

std::optional<double> MeasurementSummary::neighboursDeviation() const {
  constexpr double kDistanceOfOneDeviation = 1.128;
  if (values.count() < 2) return {};
  return ifFinite(distances / static_cast<double>(values.count() - 1) / kDistanceOfOneDeviation);
}

Capability MeasurementSummary::capability(std::optional<double> deviation) const {
  if (!deviation || *deviation == 0) return {};
  Capability capability;
  if (lower && upper) capability.potential = ifFinite((*upper - *lower) / *deviation / 6);
  double nearest = std::numeric_limits<double>::infinity();
  if (lower) nearest = std::min(nearest, *values.mean() - *lower);
  if (upper) nearest = std::min(nearest, *upper - *values.mean());
  capability.actual = ifFinite(nearest / *deviation / 3);
  return capability;
}

}  // namespace corvane::tools
