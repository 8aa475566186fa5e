#include "tools/results/statistics.h"

#include <algorithm>
#include <cmath>

namespace corvane::tools {

void Histogram::widenUpwards() {
  for (size_t bin = 0; bin < kBins / 2; ++bin) {
    _counts[bin] = _counts[2 * bin] + _counts[2 * bin + 1];
  }
  std::fill(_counts.begin() + kBins / 2, _counts.end(), 0);
  _width *= 2;
}

void Histogram::widenDownwards() {
  for (size_t bin = kBins; bin-- > kBins / 2;) {
    const size_t first = 2 * (bin - kBins / 2);
    // From above, so that no count is read after it was replaced.
    _counts[bin] = _counts[first] + _counts[first + 1];
  }
  std::fill(_counts.begin(), _counts.begin() + kBins / 2, 0);
  _begin -= _width * kBins;
  _width *= 2;
}

void Histogram::add(double value) {
  if (_width == 0) {
    // Narrow, but with room to spare above the precision of numbers of that size.
    _width = std::max(std::abs(value) * 1e-6, 1e-15);
    _begin = value - _width * kBins / 2;
  }
  // Values of such different sizes that the widths overflow are counted at the edge.
  while (value < _begin && std::isfinite(_width * 4 * kBins)) widenDownwards();
  while (value >= _begin + _width * kBins && std::isfinite(_width * 4 * kBins)) widenUpwards();
  const double bin = std::clamp((value - _begin) / _width, 0.0, static_cast<double>(kBins - 1));
  ++_counts[static_cast<size_t>(bin)];
}

void Statistics::add(double value) {
  ++_count;
  const double distance = value - _mean;
  _mean += distance / static_cast<double>(_count);
  _squares += distance * (value - _mean);
  _minimum = std::min(_minimum, value);
  _maximum = std::max(_maximum, value);
  _histogram.add(value);
}

double Statistics::deviation() const {
  return _count < 2 ? 0 : std::sqrt(_squares / static_cast<double>(_count - 1));
}

std::optional<double> Statistics::capability(std::optional<double> lower,
                                             std::optional<double> upper) const {
  const double spread = 3 * deviation();
  if ((!lower && !upper) || spread == 0) return {};
  double nearest = std::numeric_limits<double>::infinity();
  if (lower) nearest = std::min(nearest, _mean - *lower);
  if (upper) nearest = std::min(nearest, *upper - _mean);
  return nearest / spread;
}

}  // namespace corvane::tools
