#ifndef CORVANE_TOOLS_RESULTS_STATISTICS_H_
#define CORVANE_TOOLS_RESULTS_STATISTICS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace corvane::tools {

/// Counts values in 64 bins of equal width. The bins start narrow and are joined in pairs when a
/// value lies outside them, so that nothing is kept of a value except its bin.
class Histogram {
 public:
  static constexpr size_t kBins = 64;

  void add(double value);

  /// Returns the lower end of bin 0; `width` returns the width of each bin.
  double begin() const { return _begin; }
  double width() const { return _width; }
  const std::array<uint64_t, kBins>& counts() const { return _counts; }

 private:
  void widenDownwards();
  void widenUpwards();

  double _begin = 0;
  double _width = 0;  ///< 0 before the first value.
  std::array<uint64_t, kBins> _counts{};
};

/// Computes count, mean, deviation and extremes of values, without keeping them.
class Statistics {
 public:
  void add(double value);

  uint64_t count() const { return _count; }
  double mean() const { return _mean; }
  /// Returns the sample's standard deviation; 0 for fewer than two values.
  double deviation() const;
  double minimum() const { return _minimum; }
  double maximum() const { return _maximum; }
  const Histogram& histogram() const { return _histogram; }

  /// Returns how many times three deviations fit between the mean and the nearer limit. Returns
  /// nothing without a limit, or when the values do not vary.
  std::optional<double> capability(std::optional<double> lower, std::optional<double> upper) const;

 private:
  uint64_t _count = 0;
  double _mean = 0;
  double _squares = 0;  ///< Sum of the squared distances from the mean.
  double _minimum = std::numeric_limits<double>::infinity();
  double _maximum = -std::numeric_limits<double>::infinity();
  Histogram _histogram;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_STATISTICS_H_
