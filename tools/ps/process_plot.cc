#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/html/html.h"
#include "tools/ps/ps.h"
#include "tools/terminal/terminal.h"

namespace corvane::tools {
namespace {

using nlohmann::json;

// The plot's frame in pixels, in a document of 1000 x 520.
constexpr double kLeft = 64, kRight = 720, kTop = 64, kBottom = 440;

/// Colours that people with colour blindness can tell apart, too; as many as processes are shown.
constexpr std::array kColours = {"#0072b2", "#d55e00", "#009e73", "#cc79a7",
                                 "#e69f00", "#56b4e9", "#444444", "#8c5a2b"};

struct Point {
  /// Those of samples that follow each other differ by one; a missed sample has a number, too.
  size_t sample;
  double time, usage;
};

/// A process over time. One of the same id with another name is another process.
struct Series {
  int64_t pid = 0;
  std::string name = {};
  std::vector<Point> points = {};
  double sum = 0, peak = 0;
};

struct Recording {
  size_t samples = 0;
  double start = 0, end = 0;
  std::map<std::pair<int64_t, std::string>, Series> series = {};
};

double numberOf(const json& object, const char* name) {
  // Times, numbers of processes and usages are all far below it.
  constexpr double kMaxNumber = 1e11;
  const double number = object.at(name).get<double>();
  if (number >= 0 && number <= kMaxNumber) return number;
  throw std::runtime_error(formatted("\"%s\" must be 0 to %g", name, kMaxNumber));
}

/// Throws json::exception or std::runtime_error when the line is not a sample.
void addLine(Recording& recording, std::string_view line) {
  const json sample = json::parse(line);
  const double time = numberOf(sample, "time");
  if (time < recording.end) throw std::runtime_error("it is earlier than the line before");
  if (recording.samples == 0) recording.start = time;
  recording.end = time;
  recording.samples += sample.value("missed", 0.0) == 0 ? 1 : 2;
  for (const json& process : sample.at("processes")) {
    const auto pid = static_cast<int64_t>(numberOf(process, "pid"));
    const std::string name = process.at("name").get<std::string>();
    const double usage = numberOf(process, "cpu");
    Series& series = recording.series.try_emplace({pid, name}, Series{pid, name}).first->second;
    series.points.push_back({recording.samples, time, usage});
    series.sum += usage;
    series.peak = std::max(series.peak, usage);
  }
}

Recording readLines(std::FILE* lines, const std::string& name) {
  Recording recording;
  std::string line;
  for (size_t number = 1;; line.clear(), ++number) {
    int byte = 0;
    while ((byte = std::getc(lines)) != EOF && byte != '\n') line += static_cast<char>(byte);
    if (byte == EOF) break;
    try {
      addLine(recording, line);
    } catch (const std::exception& error) {
      throw CommandError(kUsage,
                         name + ":" + std::to_string(number) +
                             ": not a line of \"corvane ps --watch --json\": " + error.what());
    }
  }
  if (std::ferror(lines)) throw CommandError(kUsage, name + ": cannot be read to its end");
  if (recording.samples == 0) throw CommandError(kUsage, name + ": holds no sample");
  return recording;
}

/// A quantity from 0 on along a side of the frame.
struct Axis {
  double length, from, to, step;

  /// Divides `length` into at most `parts` of 1, 2 or 5 times a power of ten.
  Axis(double length, int parts, double from, double to) : length(length), from(from), to(to) {
    const double power = std::pow(10, std::floor(std::log10(length / parts)));
    const double factor = length / parts / power;
    step = power * (factor <= 1 ? 1 : factor <= 2 ? 2 : factor <= 5 ? 5 : 10);
  }
  double at(double value) const { return from + value / length * (to - from); }
};

std::string gridOf(const Axis& x, const Axis& y) {
  std::string svg;
  for (int i = 0; i * y.step <= y.length * (1 + 1e-9); ++i) {
    const double height = y.at(i * y.step);
    svg += formatted("<path stroke=\"#ddd\" d=\"M%g %.1fH%g\"/>", kLeft, height, kRight) +
           svgText(kLeft - 8, height + 4, "end", formatted("%g", i * y.step));
  }
  for (int i = 0; i * x.step <= x.length * (1 + 1e-9); ++i) {
    svg += svgText(x.at(i * x.step), kBottom + 20, "middle", formatted("%g", i * x.step));
  }
  return svg;
}

/// Returns the process's lines between samples that follow each other, and its legend. A sample
/// without a neighbour is a dot: the round ends of a line without length.
std::string svgOf(const Series& series, double start, const Axis& x, const Axis& y, size_t place) {
  constexpr size_t kMaxName = 18;
  const double top = kTop + 40 * static_cast<double>(place);
  std::string path = formatted("M%g %gh20", kRight + 24, top + 6);
  size_t last = 0;
  for (const Point& point : series.points) {
    const bool follows = point.sample == last + 1 && last > 0;
    path += formatted(follows ? "L%.1f %.1f" : "M%.1f %.1fh0", x.at(point.time - start),
                      y.at(point.usage));
    last = point.sample;
  }
  const std::string name = printable(series.name.substr(series.name.find_last_of('/') + 1));
  const std::string pid = " (" + std::to_string(series.pid) + ")";
  const double mean = series.sum / static_cast<double>(series.points.size());
  return "<g><title>" + markupText(series.name + pid) + "</title><path d=\"" + path +
         "\" stroke=\"" + kColours[place] + "\"/>" +
         svgText(kRight + 52, top + 10, "start", shortened(name, kMaxName) + pid) +
         svgText(kRight + 52, top + 26, "start",
                 formatted("mean %.1f %%, peak %.1f %%", mean, series.peak)) +
         "</g>\n";
}

}  // namespace

std::string plotSvg(std::FILE* lines, const std::string& name) {
  const Recording recording = readLines(lines, name);
  std::vector<Series> shown;
  for (const auto& [process, series] : recording.series) shown.push_back(series);
  std::ranges::stable_sort(shown, std::greater(), &Series::sum);
  shown.resize(std::min(shown.size(), kColours.size()));
  double peak = 1;
  for (const Series& series : shown) peak = std::max(peak, series.peak);
  const Axis x(std::max(recording.end - recording.start, 1e-3), 8, kLeft, kRight);
  const Axis y(peak, 5, kBottom, kTop);
  std::string svg =
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 1000 520\" width=\"1000\" "
      "height=\"520\" font-family=\"sans-serif\" font-size=\"13\">\n"
      "<style>path{fill:none;stroke-width:2;stroke-linejoin:round;stroke-linecap:round}</style>\n"
      "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n"
      "<text x=\"64\" y=\"28\" font-size=\"17\">CPU use of the busiest processes</text>\n"
      "<text x=\"64\" y=\"48\">percent of one processor; seconds from " +
      localTimeText(static_cast<int64_t>(recording.start)).value_or("") + " on</text>\n" +
      gridOf(x, y);
  // The busiest comes last, so that it is on top.
  for (size_t i = shown.size(); i-- > 0;) svg += svgOf(shown[i], recording.start, x, y, i);
  return svg + "</svg>\n";
}

}  // namespace corvane::tools
