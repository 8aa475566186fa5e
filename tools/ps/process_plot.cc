#include "tools/ps/process_plot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <map>

#include "platform/printable.h"
#include "tools/html/markup.h"
#include "tools/terminal/text_columns.h"

namespace corvane::tools {
namespace {

// The document and the plot's frame within it, in pixels.
constexpr double kWidth = 1000, kLeft = 64, kRight = 720, kTop = 64, kBottom = 440, kHeight = 500;
constexpr double kLegendStep = 40;

/// Colours that people with colour blindness can tell apart, too.
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

/// Returns the file's name at the end of a path, shortened to the room that the legend has.
std::string shortName(const std::string& path) {
  constexpr size_t kMost = 18;
  std::string name = printable(path.substr(path.find_last_of('/') + 1));
  if (columnsOf(name) <= kMost) return name;
  return std::string(beginning(name, kMost - 1)) + "…";
}

struct Point {
  size_t sample;
  double usage;
};

/// A process over time. One of the same id with another name is another process.
struct Series {
  int32_t pid;
  std::string name;
  std::vector<Point> points;
  double sum = 0;
  double peak = 0;
};

std::vector<Series> busiest(const std::vector<RecordedSample>& samples, size_t count) {
  std::map<std::pair<int32_t, std::string>, Series> byProcess;
  for (size_t i = 0; i < samples.size(); ++i) {
    for (const RecordedProcess& process : samples[i].processes) {
      Series& series = byProcess[{process.pid, process.name}];
      series.pid = process.pid;
      series.name = process.name;
      series.points.push_back({i, process.usage});
      series.sum += process.usage;
      series.peak = std::max(series.peak, process.usage);
    }
  }
  std::vector<Series> all;
  for (auto& [process, series] : byProcess) all.push_back(std::move(series));
  std::ranges::stable_sort(all, std::greater(), &Series::sum);
  if (all.size() > count) all.resize(count);
  return all;
}

/// Returns a step of 1, 2 or 5 times a power of ten that divides `range` into at most `most` parts.
double niceStep(double range, int most) {
  const double least = range / most;
  const double power = std::pow(10, std::floor(std::log10(least)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= least * (1 - 1e-9)) return factor * power;
  }
  return 10 * power;
}

/// Maps times and usages to places in the document.
class Axes {
 public:
  Axes(const std::vector<RecordedSample>& samples, double peak)
      : _start(samples.front().time),
        _length(std::max(samples.back().time - _start, 1e-3)),
        _step(niceStep(std::max(peak, 1.0), 5)),
        _most(std::ceil(std::max(peak, 1.0) / _step - 1e-9) * _step) {}

  double x(double time) const { return kLeft + (time - _start) / _length * (kRight - kLeft); }
  double y(double usage) const { return kBottom - usage / _most * (kBottom - kTop); }

  std::string grid() const {
    std::string svg;
    for (int i = 0; i * _step <= _most * (1 + 1e-9); ++i) {
      svg += print(
          "<line class=\"grid\" x1=\"%g\" x2=\"%g\" y1=\"%.1f\" y2=\"%.1f\"/>"
          "<text x=\"%g\" y=\"%.1f\" text-anchor=\"end\">%g</text>\n",
          kLeft, kRight, y(i * _step), y(i * _step), kLeft - 8, y(i * _step) + 4, i * _step);
    }
    const double step = niceStep(_length, 8);
    for (int i = 0; i * step <= _length * (1 + 1e-9); ++i) {
      const double at = x(_start + i * step);
      svg += print(
          "<line class=\"tick\" x1=\"%.1f\" x2=\"%.1f\" y1=\"%g\" y2=\"%g\"/>"
          "<text x=\"%.1f\" y=\"%g\" text-anchor=\"middle\">%g</text>\n",
          at, at, kBottom, kBottom + 5, at, kBottom + 20, i * step);
    }
    return svg;
  }

 private:
  double _start, _length, _step, _most;
};

/// Returns lines between samples that follow each other, and a mark at each sample without a
/// neighbour.
std::string curve(const Series& series, const std::vector<RecordedSample>& samples,
                  const Axes& axes, const char* colour) {
  const auto areNeighbours = [&](size_t left, size_t right) {
    return right < series.points.size() &&
           series.points[left].sample + 1 == series.points[right].sample &&
           samples[series.points[right].sample].missed == 0;
  };
  std::string path;
  std::string marks;
  for (size_t i = 0; i < series.points.size(); ++i) {
    const auto [sample, usage] = series.points[i];
    const bool follows = i > 0 && areNeighbours(i - 1, i);
    const bool isFollowed = areNeighbours(i, i + 1);
    const double x = axes.x(samples[sample].time);
    path += print("%c%.1f %.1f", follows ? 'L' : 'M', x, axes.y(usage));
    if (follows || isFollowed) continue;
    marks +=
        print("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3\" fill=\"%s\"/>", x, axes.y(usage), colour);
  }
  return "<g><title>" + markupText(series.name) + print(" (%d)</title>", series.pid) +
         "<path d=\"" + path + "\" stroke=\"" + colour + "\"/>" + marks + "</g>\n";
}

std::string legendEntry(const Series& series, double top, const char* colour) {
  const double mean = series.sum / static_cast<double>(series.points.size());
  return print("<line x1=\"%g\" x2=\"%g\" y1=\"%g\" y2=\"%g\" stroke=\"%s\" stroke-width=\"4\"/>",
               kRight + 24, kRight + 44, top + 6, top + 6, colour) +
         print("<text x=\"%g\" y=\"%g\">", kRight + 52, top + 10) +
         markupText(shortName(series.name)) + print(" (%d)</text>", series.pid) +
         print("<text class=\"small\" x=\"%g\" y=\"%g\">mean %.1f %%, peak %.1f %%</text>\n",
               kRight + 52, top + 26, mean, series.peak);
}

std::string startText(double time) {
  const auto seconds = static_cast<time_t>(time);
  struct tm local {};
  localtime_r(&seconds, &local);
  std::array<char, 64> text;
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
  return text.data();
}

}  // namespace

std::string plotSvg(const std::vector<RecordedSample>& samples, size_t count) {
  const std::vector<Series> shown = busiest(samples, count);
  double peak = 0;
  for (const Series& series : shown) peak = std::max(peak, series.peak);
  const Axes axes(samples, peak);
  const double height =
      std::max(kHeight, kTop + kLegendStep * static_cast<double>(shown.size()) + 20);

  std::string svg = print(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %g %g\" width=\"%g\" height=\"%g\" "
      "font-family=\"sans-serif\" font-size=\"13\">\n",
      kWidth, height, kWidth, height);
  svg +=
      "<style>path{fill:none;stroke-width:2;stroke-linejoin:round}"
      ".grid{stroke:#ddd}.tick{stroke:#888}.small{font-size:11px;fill:#555}</style>\n"
      "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
  svg += print("<text x=\"%g\" y=\"28\" font-size=\"17\">CPU use of the busiest processes</text>\n",
               kLeft);
  svg +=
      print("<text class=\"small\" x=\"%g\" y=\"48\">percent of one processor, from %s on</text>\n",
            kLeft, startText(samples.front().time).c_str());
  svg += axes.grid();
  svg += print("<text class=\"small\" x=\"%g\" y=\"%g\" text-anchor=\"middle\">seconds</text>\n",
               (kLeft + kRight) / 2, kBottom + 42);
  // The busiest comes last, so that it lies on top.
  for (size_t i = shown.size(); i-- > 0;) {
    svg += curve(shown[i], samples, axes, kColours[i % kColours.size()]);
  }
  for (size_t i = 0; i < shown.size(); ++i) {
    svg += legendEntry(shown[i], kTop + kLegendStep * static_cast<double>(i),
                       kColours[i % kColours.size()]);
  }
  return svg + "</svg>\n";
}

}  // namespace corvane::tools
