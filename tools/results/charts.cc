#include "tools/results/charts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>
#include <vector>

#include "platform/number.h"
#include "tools/html/markup.h"
#include "tools/results/summary_view.h"

namespace corvane::tools {
namespace {

constexpr double kWidth = 320, kHeight = 120;
/// The height that is kept free for the limits of a histogram.
constexpr double kTop = 14;
/// The height with the axis below.
constexpr double kFullHeight = kHeight + 16;

template <typename... Values>
std::string formatted(const char* format, Values... values) {
  char text[256];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

/// Where values lie on an axis, from 0 to 1 with a margin on both sides.
class Axis {
 public:
  void cover(double value) {
    _first = std::min(_first, value);
    _last = std::max(_last, value);
  }
  void cover(std::optional<double> value) {
    if (value) cover(*value);
  }
  double placeOf(double value) const {
    // Halves, because the range of the largest numbers overflows.
    const double range = _last / 2 - _first / 2;
    if (range == 0) return 0.5;
    return 0.05 + 0.9 * std::clamp((value / 2 - _first / 2) / range, 0.0, 1.0);
  }
  double first() const { return _first; }
  double last() const { return _last; }

 private:
  double _first = std::numeric_limits<double>::infinity();
  double _last = -std::numeric_limits<double>::infinity();
};

std::string label(double x, double y, const char* anchor, const std::string& text) {
  return formatted("<text x=\"%.0f\" y=\"%.0f\" text-anchor=\"%s\">", x, y, anchor) +
         markupText(text) + "</text>";
}

std::string chart(const std::string& name, const std::string& content) {
  return formatted("<svg class=\"chart\" viewBox=\"0 0 %g %g\" role=\"img\" aria-label=\"", kWidth,
                   kFullHeight) +
         markupText(name) + "\">" + content +
         formatted("<line class=\"axis\" x1=\"0\" x2=\"%g\" y1=\"%g\" y2=\"%g\"/>", kWidth, kHeight,
                   kHeight) +
         "</svg>";
}

/// Returns the ends of an axis, below the chart.
std::string ends(const std::string& first, const std::string& last) {
  return label(0, kFullHeight - 4, "start", first) +
         (first == last ? "" : label(kWidth, kFullHeight - 4, "end", last));
}

std::string limitsOf(const MeasurementSummary& measurement) {
  const std::string limits = limitsText(measurement);
  return limits == "-" ? "no limits" : "limits " + limits;
}

std::string histogram(const MeasurementSummary& measurement, const std::string& title) {
  const Statistics& values = measurement.statistics;
  const Histogram& bins = values.histogram();
  Axis axis;
  axis.cover(values.minimum());
  axis.cover(values.maximum());
  axis.cover(measurement.lower);
  axis.cover(measurement.upper);
  const auto most = static_cast<double>(*std::ranges::max_element(bins.counts()));
  std::string bars = "<path fill=\"var(--mark)\" d=\"";
  for (size_t bin = 0; bin < Histogram::kBins; ++bin) {
    if (bins.counts()[bin] == 0) continue;
    const double left = kWidth * axis.placeOf(std::max(bins.begin(bin), axis.first()));
    const double right = kWidth * axis.placeOf(std::min(bins.begin(bin + 1), axis.last()));
    const double height =
        std::max((kHeight - kTop) * static_cast<double>(bins.counts()[bin]) / most, 1.0);
    bars += formatted("M%.1f %gv-%.1fh%.1fv%.1fz", left, kHeight, height,
                      std::max(right - left, 2.0), height);
  }
  bars += "\"/>";
  for (const auto& limit : {measurement.lower, measurement.upper}) {
    if (!limit) continue;
    const double x = kWidth * axis.placeOf(*limit);
    const bool isRight = x > kWidth / 2;
    bars += formatted("<line class=\"limit\" x1=\"%.1f\" x2=\"%.1f\" y1=\"0\" y2=\"%g\"/>", x, x,
                      kHeight) +
            label(x + (isRight ? -3 : 3), 10, isRight ? "end" : "start", decimalText(*limit));
  }
  const double range = axis.last() - axis.first();
  return chart("Histogram of " + title + ", " + limitsOf(measurement),
               bars + ends(roundedTo(axis.first(), range), roundedTo(axis.last(), range)));
}

/// Returns how far each span of time lies along the chart, and the texts of the first and last.
class TimeAxis {
 public:
  TimeAxis(int64_t first, int64_t last, int64_t spanHours)
      : _first(first), _last(last), _spanHours(spanHours) {}
  double x(int64_t span) const {
    const double part =
        _first == _last ? 0.5
                        : static_cast<double>(span - _first) / static_cast<double>(_last - _first);
    return kWidth * (0.03 + 0.94 * part);
  }
  std::string labels() const { return ends(text(_first), text(_last)); }
  const char* unit() const { return _spanHours == 1 ? "hour" : _spanHours == 24 ? "day" : "week"; }

 private:
  std::string text(int64_t span) const {
    const std::string time = wallTimeText(span * _spanHours);
    return _spanHours == 1 ? time.substr(5) : time.substr(0, 10);
  }
  int64_t _first, _last, _spanHours;
};

/// Returns the mean of each span as a line, and one deviation to both sides of it.
std::string meansOverTime(const MeasurementSummary& measurement, const std::string& title,
                          int64_t spanHours) {
  const TimeAxis time(measurement.times.begin()->first, measurement.times.rbegin()->first,
                      spanHours);
  Axis axis;
  axis.cover(measurement.lower);
  axis.cover(measurement.upper);
  for (const auto& [span, values] : measurement.times) {
    if (values.moments.count() == 0) continue;
    const double deviation = values.moments.deviation().value_or(0);
    axis.cover(values.moments.mean() - deviation);
    axis.cover(values.moments.mean() + deviation);
  }
  const auto y = [&](double value) { return kHeight * (1 - axis.placeOf(value)); };
  std::string spread = "<path class=\"spread\" d=\"", means = "<polyline points=\"";
  for (const auto& [span, values] : measurement.times) {
    if (values.moments.count() == 0) continue;
    const double mean = values.moments.mean(), deviation = values.moments.deviation().value_or(0);
    const double x = time.x(span);
    spread += formatted("M%.1f %.1fV%.1f", x, y(mean - deviation), y(mean + deviation));
    means += formatted("%.1f,%.1f ", x, y(mean));
  }
  std::string content = spread + "\"/>" + means + "\"/>";
  for (const auto& limit : {measurement.lower, measurement.upper}) {
    if (!limit) continue;
    content += formatted("<line class=\"limit\" x1=\"0\" x2=\"%g\" y1=\"%.1f\" y2=\"%.1f\"/>",
                         kWidth, y(*limit), y(*limit)) +
               label(kWidth, y(*limit) + (y(*limit) < 12 ? 11 : -2), "end", decimalText(*limit));
  }
  return chart("Mean and deviation of " + title + " by " + time.unit(), content + time.labels());
}

}  // namespace

std::string measurementChart(const MeasurementSummary& measurement, const std::string& id,
                             const std::string& title, const std::string& unitOfMeasure,
                             int64_t spanHours) {
  const Statistics& values = measurement.statistics;
  const std::string unit = unitOfMeasure.empty() ? "" : " " + unitOfMeasure;
  std::string html = "<figure id=\"" + markupText(id) + "\">" + histogram(measurement, title);
  if (measurement.outside > 0 && measurement.times.size() > 1) {
    html += meansOverTime(measurement, title, spanHours);
  }
  return html + "<figcaption>" + markupText(title) + "<br>" +
         markupText(std::to_string(values.count()) + " values, " +
                    roundedTo(values.minimum(), values.deviation().value_or(0)) + " to " +
                    roundedTo(values.maximum(), values.deviation().value_or(0)) + unit + ", mean " +
                    meanText(values) + ", deviation " + roundedText(values.deviation())) +
         "<br>" +
         markupText(limitsOf(measurement) + unit + ", outside " +
                    std::to_string(measurement.outside)) +
         "</figcaption></figure>\n";
}

std::string yieldChart(const std::map<int64_t, YieldTime>& times, const std::string& title,
                       int64_t spanHours) {
  const TimeAxis axis(times.begin()->first, times.rbegin()->first, spanHours);
  std::string line = "<polyline points=\"", points;
  for (const auto& [span, time] : times) {
    const double y =
        4 + (kHeight - 8) * (1 - static_cast<double>(time.passed) / static_cast<double>(time.runs));
    line += formatted("%.1f,%.1f ", axis.x(span), y);
    points += formatted("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"2\"/>", axis.x(span), y);
  }
  const std::string name = title + ": runs that passed, by " + axis.unit();
  return "<figure>" +
         chart(name, line + "\"/>" + points + label(0, 11, "start", "100 %") +
                         label(0, kHeight - 3, "start", "0 %") + axis.labels()) +
         "<figcaption>" + markupText(name) + "</figcaption></figure>\n";
}

}  // namespace corvane::tools
