#ifndef CORVANE_TOOLS_RESULTS_STATISTICS_H_
#define CORVANE_TOOLS_RESULTS_STATISTICS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace corvane::tools {

/// Counts values in at most 64 bins. Their width is the smallest power of two for which all values
/// have a bin; it begins with the precision of the first value and grows, so that nothing is kept
/// of a value except its bin. Bin 0 has the smallest value.
class Histogram {
 public:
  static constexpr size_t kBins = 64;

  void add(double value);

  /// Returns where bin `bin` begins.
  double begin(size_t bin) const;
  const std::array<uint32_t, kBins>& counts() const { return _counts; }

 private:
  void regroup(int shift, int64_t first);

  bool _isEmpty = true;
  int _exponent = 0;  ///< The width of a bin is 2 to the power of it.
  /// The multiples of the width at which the first and the last bin with a value begin.
  int64_t _first = 0, _last = 0;
  std::array<uint32_t, kBins> _counts{};  ///< From `_first`.
};

/// Computes count, mean and deviation of values without keeping them. Values are summed up relative
/// to the first one, so that little is lost where they differ little.
class Moments {
 public:
  void add(double value);
  void add(const Moments& other);

  uint64_t count() const { return _count; }
  /// Returns the mean; 0 without a value.
  double mean() const;
  /// Returns the sample's standard deviation. Returns nothing for fewer than two values, and when
  /// it exceeds all numbers.
  std::optional<double> deviation() const;

 private:
  uint64_t _count = 0;
  double _origin = 0;
  // The squares of the largest numbers have room where a long double has a wider exponent.
  long double _mean = 0;     ///< Of the distances from the origin.
  long double _squares = 0;  ///< Sum of the squared distances from the mean.
};

/// How the limits compare with the spread of the values: `potential` is the distance of the limits
/// over six deviations (Cp, Pp), `actual` the distance of the mean from the nearer limit over three
/// (Cpk, Ppk). Absent without the limits for it, and when the values do not vary.
struct Capability {
  std::optional<double> potential, actual;
};

/// What there is to know of all values of a measurement.
class Statistics {
 public:
  void add(double value);

  const Moments& moments() const { return _moments; }
  uint64_t count() const { return _moments.count(); }
  double mean() const { return _moments.mean(); }
  std::optional<double> deviation() const { return _moments.deviation(); }
  double minimum() const { return _minimum; }
  double maximum() const { return _maximum; }
  const Histogram& histogram() const { return _histogram; }

  /// Returns the deviation that neighbours have: the mean distance of each value from the one
  /// before it, over 1.128. Unlike `deviation` it leaves out slow changes.
  std::optional<double> neighboursDeviation() const;
  /// Returns the capability for a deviation.
  Capability capability(std::optional<double> deviation, std::optional<double> lower,
                        std::optional<double> upper) const;

 private:
  Moments _moments;
  double _minimum = std::numeric_limits<double>::infinity();
  double _maximum = -std::numeric_limits<double>::infinity();
  double _last = 0;
  double _distances = 0;  ///< Sum of the distances of neighbours.
  Histogram _histogram;
};

/// Returns the value that this share of the values, in percent, does not exceed: the smallest one
/// for which that holds. `values` is not empty; its order changes.
float percentile(std::vector<float>& values, size_t percent);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_STATISTICS_H_
