#include "tools/ps/process_plot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/command_error.h"
#include "tools/files.h"
#include "tools/html/markup.h"
#include "tools/terminal/text_columns.h"

namespace corvane::tools {
namespace {

using nlohmann::json;

// The document and the plot's frame within it, in pixels.
constexpr double kWidth = 1000, kLeft = 64, kRight = 720, kTop = 64, kBottom = 440, kHeight = 520;
constexpr double kLegendStep = 40;

/// Colours that people with colour blindness can tell apart, too; as many as processes are shown.
constexpr std::array kColours = {"#0072b2", "#d55e00", "#009e73", "#cc79a7",
                                 "#e69f00", "#56b4e9", "#444444", "#8c5a2b"};

__attribute__((format(printf, 1, 2))) std::string print(const char* format, ...) {
  std::array<char, 512> text;
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  return text.data();
}

struct Moment {
  double time;       ///< Seconds since 1970.
  bool followsLast;  ///< No sample was missed since the one before.
};

struct Point {
  size_t moment;
  double usage;
};

/// A process over time. One of the same id with another name is another process.
struct Series {
  int32_t pid = 0;
  std::string name = {};
  std::vector<Point> points = {};
  double sum = 0;
  double peak = 0;
};

/// What the lines hold.
struct Usages {
  std::vector<Moment> moments;
  std::map<std::pair<int32_t, std::string>, Series> series;

  /// Adds a line. Throws json::exception or std::runtime_error when it is not a sample.
  void add(std::string_view line);
  /// Returns the processes that used most, the busiest first.
  std::vector<Series> busiest() const;
};

/// Returns the field's number, which must be from 0 to `max`.
double numberOf(const json& object, const char* name, double max) {
  const double number = object.at(name).get<double>();
  if (number >= 0 && number <= max) return number;
  throw std::runtime_error(print("\"%s\" must be 0 to %.15g", name, max));
}

void Usages::add(std::string_view line) {
  // The most that a farm of processors could use, and the ids that there are.
  constexpr double kYear10000 = 253'402'300'800, kMaxPercent = 1e9, kMaxId = INT32_MAX;
  const json sample = json::parse(line);
  const double time = numberOf(sample, "time", kYear10000);
  if (!moments.empty() && time < moments.back().time) {
    throw std::runtime_error("it is earlier than the line before");
  }
  for (const json& process : sample.at("processes")) {
    const auto pid = static_cast<int32_t>(numberOf(process, "pid", kMaxId));
    const std::string name = process.at("name").get<std::string>();
    const double usage = numberOf(process, "cpu", kMaxPercent);
    Series& all = series.try_emplace({pid, name}, Series{pid, name}).first->second;
    all.points.push_back({moments.size(), usage});
    all.sum += usage;
    all.peak = std::max(all.peak, usage);
  }
  moments.push_back({time, sample.value("missed", 0.0) == 0});
}

std::vector<Series> Usages::busiest() const {
  std::vector<Series> all;
  for (const auto& [process, usages] : series) all.push_back(usages);
  std::ranges::stable_sort(all, std::greater(), &Series::sum);
  if (all.size() > kColours.size()) all.resize(kColours.size());
  return all;
}

Usages readLines(std::FILE* lines, const std::string& name) {
  Usages usages;
  std::string line;
  for (size_t number = 1;; line.clear(), ++number) {
    int byte = 0;
    while ((byte = getc_unlocked(lines)) != EOF && byte != '\n') line += static_cast<char>(byte);
    if (byte == EOF) break;
    try {
      usages.add(line);
    } catch (const std::exception& error) {
      throw CommandError(kUsage,
                         name + ":" + std::to_string(number) +
                             ": not a line of \"corvane ps --watch --json\": " + error.what());
    }
  }
  if (std::ferror(lines)) throw CommandError(kUsage, name + ": cannot be read to its end");
  if (usages.moments.empty()) throw CommandError(kUsage, name + ": holds no sample");
  return usages;
}

/// Returns a step of 1, 2 or 5 times a power of ten that divides `range` into at most `max` parts.
double niceStep(double range, int max) {
  const double min = range / max;
  const double power = std::pow(10, std::floor(std::log10(min)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= min * (1 - 1e-9)) return factor * power;
  }
  return 10 * power;
}

/// Maps times and usages to places in the document.
class Axes {
 public:
  Axes(const std::vector<Moment>& moments, double peak)
      : _start(moments.front().time),
        _length(std::max(moments.back().time - _start, 1e-3)),
        _step(niceStep(std::max(peak, 1.0), 5)),
        _max(std::ceil(std::max(peak, 1.0) / _step - 1e-9) * _step) {}

  double x(double time) const { return kLeft + (time - _start) / _length * (kRight - kLeft); }
  double y(double usage) const { return kBottom - usage / _max * (kBottom - kTop); }

  std::string grid() const {
    std::string svg;
    for (int i = 0; i * _step <= _max * (1 + 1e-9); ++i) {
      svg += print(
          "<line class=\"grid\" x1=\"%g\" x2=\"%g\" y1=\"%.1f\" y2=\"%.1f\"/>"
          "<text x=\"%g\" y=\"%.1f\" text-anchor=\"end\">%g</text>\n",
          kLeft, kRight, y(i * _step), y(i * _step), kLeft - 8, y(i * _step) + 4, i * _step);
    }
    const double step = niceStep(_length, 8);
    for (int i = 0; i * step <= _length * (1 + 1e-9); ++i) {
      svg += print("<text x=\"%.1f\" y=\"%g\" text-anchor=\"middle\">%g</text>\n",
                   x(_start + i * step), kBottom + 20, i * step);
    }
    return svg;
  }

 private:
  double _start, _length, _step, _max;
};

/// Returns lines between samples that follow each other, and a mark at each sample without a
/// neighbour.
std::string curve(const Series& series, const std::vector<Moment>& moments, const Axes& axes,
                  const char* colour) {
  const auto follows = [&](size_t i) {
    return i > 0 && i < series.points.size() &&
           series.points[i - 1].moment + 1 == series.points[i].moment &&
           moments[series.points[i].moment].followsLast;
  };
  std::string path, marks;
  for (size_t i = 0; i < series.points.size(); ++i) {
    const double x = axes.x(moments[series.points[i].moment].time);
    const double y = axes.y(series.points[i].usage);
    path += print("%c%.1f %.1f", follows(i) ? 'L' : 'M', x, y);
    if (follows(i) || follows(i + 1)) continue;
    marks += print("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3\" fill=\"%s\"/>", x, y, colour);
  }
  return "<g><title>" + markupText(series.name) + print(" (%d)</title>", series.pid) +
         "<path d=\"" + path + "\" stroke=\"" + colour + "\"/>" + marks + "</g>\n";
}

std::string legendEntry(const Series& series, double top, const char* colour) {
  constexpr size_t kMaxName = 18;
  const std::string name = printable(series.name.substr(series.name.find_last_of('/') + 1));
  const double mean = series.sum / static_cast<double>(series.points.size());
  return print("<rect x=\"%g\" y=\"%g\" width=\"20\" height=\"4\" fill=\"%s\"/>", kRight + 24,
               top + 4, colour) +
         print("<text x=\"%g\" y=\"%g\">", kRight + 52, top + 10) +
         markupText(shortened(name, kMaxName)) + print(" (%d)</text>", series.pid) +
         print("<text class=\"small\" x=\"%g\" y=\"%g\">mean %.1f %%, peak %.1f %%</text>\n",
               kRight + 52, top + 26, mean, series.peak);
}

}  // namespace

std::string plotSvg(std::FILE* lines, const std::string& name) {
  const Usages usages = readLines(lines, name);
  const std::vector<Series> shown = usages.busiest();
  double peak = 0;
  for (const Series& series : shown) peak = std::max(peak, series.peak);
  const Axes axes(usages.moments, peak);
  const auto start = static_cast<int64_t>(usages.moments.front().time);

  std::string svg = print(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %g %g\" width=\"%g\" height=\"%g\" "
      "font-family=\"sans-serif\" font-size=\"13\">\n",
      kWidth, kHeight, kWidth, kHeight);
  svg +=
      "<style>path{fill:none;stroke-width:2;stroke-linejoin:round}"
      ".grid{stroke:#ddd}.small{font-size:11px;fill:#555}</style>\n"
      "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
  svg += print("<text x=\"%g\" y=\"28\" font-size=\"17\">CPU use of the busiest processes</text>\n",
               kLeft);
  svg += print(
      "<text class=\"small\" x=\"%g\" y=\"48\">percent of one processor; seconds from %s "
      "on</text>\n",
      kLeft, localTimeText(start).value_or("").c_str());
  svg += axes.grid();
  // The busiest comes last, so that it lies on top.
  for (size_t i = shown.size(); i-- > 0;) {
    svg += curve(shown[i], usages.moments, axes, kColours[i]);
  }
  for (size_t i = 0; i < shown.size(); ++i) {
    svg += legendEntry(shown[i], kTop + kLegendStep * static_cast<double>(i), kColours[i]);
  }
  return svg + "</svg>\n";
}

std::string plotSvg(const std::string& name) { return plotSvg(openFile(name).get(), name); }

}  // namespace corvane::tools
