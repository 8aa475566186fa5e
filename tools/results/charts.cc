#include <algorithm>
#include <limits>

#include "platform/number.h"
#include "tools/html/html.h"
#include "tools/results/results_output.h"

namespace corvane::tools {
namespace {

constexpr double kWidth = 320, kHeight = 120;
/// The height that is kept free for the limits of a histogram.
constexpr double kTop = 14;
/// The height with the axis below.
constexpr double kFullHeight = kHeight + 16;

/// Where values lie on an axis, from 0 to 1 with a margin on both sides.
struct Axis {
  void cover(std::optional<double> value) {
    if (!value) return;
    first = std::min(first, *value);
    last = std::max(last, *value);
  }
  double placeOf(double value) const {
    // Halves, because the range of the largest numbers overflows.
    const double range = last / 2 - first / 2;
    if (range == 0) return 0.5;
    return 0.05 + 0.9 * std::clamp((value / 2 - first / 2) / range, 0.0, 1.0);
  }

  double first = std::numeric_limits<double>::infinity(), last = -first;
};

std::string line(const char* style, double x1, double y1, double x2, double y2) {
  return formatted("<line class=\"%s\" x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\"/>", style,
                   x1, y1, x2, y2);
}

/// Returns the chart over an axis whose ends have these texts.
std::string chart(const std::string& name, const std::string& content, const std::string& first,
                  const std::string& last) {
  return formatted("<svg class=\"chart\" viewBox=\"0 0 %g %g\" role=\"img\" aria-label=\"", kWidth,
                   kFullHeight) +
         markupText(name) + "\">" + content + line("axis", 0, kHeight, kWidth, kHeight) +
         svgText(0, kFullHeight - 4, "start", first) +
         (first == last ? "" : svgText(kWidth, kFullHeight - 4, "end", last)) + "</svg>";
}

std::string histogram(const MeasurementSummary& measurement, const std::string& title) {
  const Histogram& bins = measurement.histogram;
  const auto limits = {measurement.lower, measurement.upper};
  Axis axis;
  for (const auto& value : {measurement.minimum, measurement.maximum}) axis.cover(value);
  for (const auto& limit : limits) axis.cover(limit);
  const auto x = [&](double value) { return kWidth * axis.placeOf(value); };
  uint32_t most = 0;
  for (const auto& [bin, count] : bins.counts()) most = std::max(most, count);
  std::string content = "<path fill=\"var(--mark)\" d=\"";
  for (const auto& [bin, count] : bins.counts()) {
    const double left = x(bins.begin(bin));
    const double height = std::max((kHeight - kTop) * count / most, 1.0);
    content += formatted("M%.1f %gv-%.1fh%.1fv%.1fz", left, kHeight, height,
                         std::max(x(bins.begin(bin + 1)) - left, 2.0), height);
  }
  content += "\"/>";
  for (const auto& limit : limits) {
    if (!limit) continue;
    const bool isRight = x(*limit) > kWidth / 2;
    content +=
        line("limit", x(*limit), 0, x(*limit), kHeight) +
        svgText(x(*limit) + (isRight ? -3 : 3), 10, isRight ? "end" : "start", decimalText(*limit));
  }
  const double range = axis.last - axis.first;
  return chart("Histogram of " + title + ", limits " + limitsText(measurement), content,
               roundedText(axis.first, range), roundedText(axis.last, range));
}

struct Point {
  int64_t span;
  double value, deviation;
};
/// A line across the chart, with its text.
struct Mark {
  const char* style;
  double value;
  std::string text;
};

/// Returns the points as a line, with one deviation to both sides. `name` ends with the span.
std::string overTime(std::string name, const std::vector<Point>& points,
                     const std::vector<Mark>& marks, int64_t spanHours) {
  const int64_t first = points.front().span;
  const auto spans = static_cast<double>(std::max<int64_t>(points.back().span - first, 1));
  Axis axis;
  for (const Mark& mark : marks) axis.cover(mark.value);
  for (const Point& point : points) {
    axis.cover(point.value - point.deviation);
    axis.cover(point.value + point.deviation);
  }
  const auto y = [&](double value) { return kHeight * (1 - axis.placeOf(value)); };
  std::string spread = "<path class=\"spread\" d=\"", values = "<polyline points=\"";
  for (const Point& point : points) {
    const double x = kWidth * (0.03 + 0.94 * static_cast<double>(point.span - first) / spans);
    spread += formatted("M%.1f %.1fV%.1f", x, y(point.value - point.deviation),
                        y(point.value + point.deviation));
    values += formatted("%.1f,%.1f ", x, y(point.value));
  }
  std::string content = spread + "\"/>" + values + "\"/>";
  for (const auto& [style, value, text] : marks) {
    content += line(style, 0, y(value), kWidth, y(value)) +
               svgText(kWidth, y(value) + (y(value) < 12 ? 11 : -2), "end", text);
  }
  const auto timeOf = [&](int64_t span) {
    const std::string time = wallTimeText(span * spanHours);
    return spanHours == 1 ? time.substr(5) : time.substr(0, 10);
  };
  name += spanHours == 1    ? "hour"
          : spanHours == 24 ? "day"
                            : std::to_string(spanHours / 24) + " days";
  return chart(name, content, timeOf(first), timeOf(points.back().span));
}

std::string meansOverTime(const MeasurementSummary& measurement, const std::string& title,
                          int64_t spanHours) {
  std::vector<Point> points;
  for (const auto& [span, time] : measurement.times) {
    if (time.values.count() == 0) continue;
    points.push_back({span, *time.values.mean(), time.values.deviation().value_or(0)});
  }
  if (points.size() < 2) return "";
  std::vector<Mark> limits;
  for (const auto& limit : {measurement.lower, measurement.upper}) {
    if (limit) limits.push_back({"limit", *limit, decimalText(*limit)});
  }
  return overTime("Mean and deviation of " + title + " by ", points, limits, spanHours);
}

std::string figure(const std::string& id, const std::string& content, const std::string& caption) {
  return "<figure" + id + ">" + content + "<figcaption>" + caption + "</figcaption></figure>\n";
}

}  // namespace

std::string measurementChart(const MeasurementSummary& measurement, const std::string& id,
                             const std::string& title, int64_t spanHours) {
  const Moments& values = measurement.values;
  const auto deviation = values.deviation();
  std::string content = histogram(measurement, title);
  if (measurement.outside > 0) content += meansOverTime(measurement, title, spanHours);
  const std::string about =
      std::to_string(values.count()) + " values, " + roundedText(measurement.minimum, deviation) +
      " to " + roundedText(measurement.maximum, deviation) + ", mean " +
      roundedText(values.mean(), deviation) + ", deviation " + roundedText(deviation) +
      ", limits " + limitsText(measurement) + ", outside " + std::to_string(measurement.outside);
  return figure(" id=\"" + id + "\"", content, markupText(title) + "<br>" + markupText(about));
}

std::string yieldChart(const std::map<int64_t, Yield>& times, const std::string& title,
                       int64_t spanHours) {
  std::vector<Point> points;
  for (const auto& [span, time] : times) {
    points.push_back({span, static_cast<double>(time.passed) / static_cast<double>(time.runs), 0});
  }
  const std::string name = title + ": runs that passed";
  const std::vector<Mark> marks = {{"axis", 0, "0 %"}, {"axis", 1, "100 %"}};
  return figure("", overTime(name + ", by ", points, marks, spanHours), markupText(name));
}

}  // namespace corvane::tools
