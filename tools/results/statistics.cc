#include "tools/results/statistics.h"

#include <algorithm>
#include <cmath>

namespace corvane::tools {
namespace {

/// Returns the multiple of 2 to the power of `exponent` at or below the value.
int64_t multipleBelow(double value, int exponent) {
  return static_cast<int64_t>(std::floor(std::ldexp(value, -exponent)));
}

std::optional<double> ifFinite(double value) {
  return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

}  // namespace

/// Makes bins of 2 to the power of `shift` old ones, of which bin 0 begins at the multiple `first`.
void Histogram::regroup(int shift, int64_t first) {
  std::array<uint32_t, kBins> counts{};
  for (size_t bin = 0; bin < kBins; ++bin) {
    if (_counts[bin] == 0) continue;
    const int64_t at = (_first + static_cast<int64_t>(bin)) >> std::min(shift, 63);
    counts[static_cast<size_t>(at - first)] += _counts[bin];
  }
  _counts = counts;
  _first = first;
  _last >>= std::min(shift, 63);
  _exponent += shift;
}

void Histogram::add(double value) {
  using Limits = std::numeric_limits<double>;
  int exponent = Limits::min_exponent;
  if (value != 0) std::frexp(value, &exponent);
  if (_isEmpty) {
    _isEmpty = false;
    _exponent = std::max(exponent, Limits::min_exponent) - Limits::digits;
    _first = _last = multipleBelow(value, _exponent);
  }
  // The value's multiple of the width must fit into 64 bits.
  if (const int shift = exponent - 60 - _exponent; shift > 0) {
    regroup(shift, _first >> std::min(shift, 63));
  }
  const int64_t at = multipleBelow(value, _exponent);
  const int64_t low = std::min(_first, at), high = std::max(_last, at);
  int shift = 0;
  while ((high >> shift) - (low >> shift) >= static_cast<int64_t>(kBins)) ++shift;
  if (shift > 0 || low < _first) regroup(shift, low >> shift);
  _last = high >> shift;
  ++_counts[static_cast<size_t>((at >> shift) - _first)];
}

double Histogram::begin(size_t bin) const {
  return std::ldexp(static_cast<double>(_first + static_cast<int64_t>(bin)), _exponent);
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

double Moments::mean() const { return static_cast<double>(_origin + _mean); }

std::optional<double> Moments::deviation() const {
  if (_count < 2) return {};
  return ifFinite(static_cast<double>(std::sqrt(_squares / static_cast<long double>(_count - 1))));
}

void Statistics::add(double value) {
  if (_moments.count() > 0) _distances += std::abs(value - _last);
  _last = value;
  _moments.add(value);
  _minimum = std::min(_minimum, value);
  _maximum = std::max(_maximum, value);
  _histogram.add(value);
}

std::optional<double> Statistics::neighboursDeviation() const {
  constexpr double kDistanceOfOneDeviation = 1.128;
  if (count() < 2) return {};
  return ifFinite(_distances / static_cast<double>(count() - 1) / kDistanceOfOneDeviation);
}

Capability Statistics::capability(std::optional<double> deviation, std::optional<double> lower,
                                  std::optional<double> upper) const {
  if (!deviation || *deviation == 0) return {};
  Capability capability;
  if (lower && upper) capability.potential = ifFinite((*upper - *lower) / *deviation / 6);
  double nearest = std::numeric_limits<double>::infinity();
  if (lower) nearest = std::min(nearest, mean() - *lower);
  if (upper) nearest = std::min(nearest, *upper - mean());
  capability.actual = ifFinite(nearest / *deviation / 3);
  return capability;
}

float percentile(std::vector<float>& values, size_t percent) {
  const size_t rank = std::max<size_t>((values.size() * percent + 99) / 100, 1);
  const auto place = values.begin() + static_cast<std::ptrdiff_t>(rank - 1);
  std::ranges::nth_element(values, place);
  return *place;
}

}  // namespace corvane::tools
