#include "report/Charts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "report/Format.h"

namespace qz {
namespace collector {

namespace {

constexpr size_t kMaxBars = 20;  // the tables below the charts list everything
const char* const kColours[] = {"#3b6ea8", "#d9822b", "#3a9a5b", "#b04a4a", "#7d5ba6", "#8c6d31"};

const char* Colour(size_t i) { return kColours[i % (sizeof kColours / sizeof kColours[0])]; }

std::string N(double v) {
  char text[48];
  std::snprintf(text, sizeof text, "%.1f", v);
  return text;
}

std::string Open(int width, int height) {
  return "<svg class=\"chart\" xmlns=\"http://www.w3.org/2000/svg\" width=\"" + std::to_string(width) +
         "\" height=\"" + std::to_string(height) + "\" viewBox=\"0 0 " + std::to_string(width) + " " +
         std::to_string(height) + "\" role=\"img\">\n";
}

}  // namespace

double Charts::NiceCeiling(double value) {
  if (!(value > 0) || !std::isfinite(value)) return 1;
  const double target = value * 1.05;
  double step = std::pow(10.0, std::floor(std::log10(target)));
  for (double m : {1.0, 1.2, 1.5, 2.0, 2.5, 3.0, 4.0, 5.0, 6.0, 8.0, 10.0}) {
    if (m * step >= target) return m * step;
  }
  return 10 * step;
}

std::string Charts::Number(double value) {
  char text[48];
  if (std::fabs(value) >= 1e15) {
    std::snprintf(text, sizeof text, "%.3g", value);
  } else if (value == std::floor(value)) {
    std::snprintf(text, sizeof text, "%.0f", value);
  } else {
    std::snprintf(text, sizeof text, "%.1f", value);
  }
  return text;
}

std::string Charts::Lines(const std::vector<std::string>& labels, const std::vector<Series>& series,
                          const std::string& unit) {
  const int width = 760, height = 240, left = 70, right = 150, top = 12, bottom = 36;
  const int plotW = width - left - right, plotH = height - top - bottom;
  double most = 0;
  for (const Series& s : series) {
    for (double v : s.values) {
      if (std::isfinite(v)) most = std::max(most, v);
    }
  }
  const double ceiling = NiceCeiling(most);
  const size_t n = labels.size();
  const auto x = [&](size_t i) { return left + (n <= 1 ? plotW / 2.0 : plotW * static_cast<double>(i) / static_cast<double>(n - 1)); };
  const auto y = [&](double v) { return top + plotH - plotH * std::max(0.0, v) / ceiling; };
  std::string svg = Open(width, height);
  // Axes and the grid at half and full scale.
  for (double f : {0.0, 0.5, 1.0}) {
    svg += "<line x1=\"" + N(left) + "\" y1=\"" + N(y(ceiling * f)) + "\" x2=\"" + N(left + plotW) + "\" y2=\"" +
           N(y(ceiling * f)) + "\" stroke=\"" + (f == 0 ? "#888" : "#e4e4e4") + "\"/>";
    svg += "<text x=\"" + N(left - 6) + "\" y=\"" + N(y(ceiling * f) + 4) + "\" text-anchor=\"end\">" +
           Format::Html(Number(ceiling * f) + (f == 1 ? " " + unit : "")) + "</text>\n";
  }
  if (n > 0) {
    svg += "<text x=\"" + N(x(0)) + "\" y=\"" + N(height - 10) + "\" text-anchor=\"" + (n == 1 ? "middle" : "start") +
           "\">" + Format::Html(labels.front()) + "</text>";
    if (n > 1) {
      svg += "<text x=\"" + N(x(n - 1)) + "\" y=\"" + N(height - 10) + "\" text-anchor=\"end\">" +
             Format::Html(labels.back()) + "</text>";
    }
  }
  for (size_t s = 0; s < series.size(); ++s) {
    std::string points, dots;
    for (size_t i = 0; i < series[s].values.size() && i < n; ++i) {
      const double v = series[s].values[i];
      if (!std::isfinite(v)) continue;
      points += N(x(i)) + "," + N(y(v)) + " ";
      dots += "<circle r=\"2.5\" fill=\"" + std::string(Colour(s)) + "\" cx=\"" + N(x(i)) + "\" cy=\"" + N(y(v)) +
              "\"><title>" + Format::Html(series[s].name + ", " + labels[i] + ": " + Number(v) + " " + unit) +
              "</title></circle>";
    }
    if (!points.empty()) {
      svg += "<polyline fill=\"none\" stroke-width=\"2\" stroke=\"" + std::string(Colour(s)) + "\" points=\"" +
             points + "\"/>" + dots + "\n";
    }
    const double legend = top + 10 + 18.0 * static_cast<double>(s);
    svg += "<rect x=\"" + N(width - right + 12) + "\" y=\"" + N(legend - 9) + "\" width=\"10\" height=\"10\" fill=\"" +
           Colour(s) + "\"/><text x=\"" + N(width - right + 28) + "\" y=\"" + N(legend) + "\">" +
           Format::Html(Format::Cut(series[s].name, 18)) + "</text>\n";
  }
  return svg + "</svg>\n";
}

std::string Charts::Bars(const std::vector<Bar>& bars, size_t colour) {
  const size_t count = std::min(bars.size(), kMaxBars);
  double most = 0;
  for (size_t i = 0; i < count; ++i) {
    if (std::isfinite(bars[i].value)) most = std::max(most, bars[i].value);
  }
  const double ceiling = NiceCeiling(most);
  const int width = 760, labelW = 230, space = 380, rowH = 22;
  std::string svg = Open(width, static_cast<int>(count) * rowH + 6);
  for (size_t i = 0; i < count; ++i) {
    const double y = static_cast<double>(i) * rowH + 3;
    const double v = std::isfinite(bars[i].value) ? std::max(0.0, bars[i].value) : 0;
    const double length = std::max(1.0, space * v / ceiling);
    svg += "<text x=\"" + N(labelW - 8) + "\" y=\"" + N(y + 14) + "\" text-anchor=\"end\">" +
           Format::Html(Format::Cut(bars[i].label.empty() ? "(none)" : bars[i].label, 32)) + "</text>";
    svg += "<rect x=\"" + N(labelW) + "\" y=\"" + N(y) + "\" width=\"" + N(length) + "\" height=\"" + N(rowH - 6) +
           "\" fill=\"" + Colour(colour) + "\"><title>" + Format::Html(bars[i].tooltip) + "</title></rect>";
    svg += "<text x=\"" + N(labelW + length + 6) + "\" y=\"" + N(y + 14) + "\">" + Format::Html(bars[i].text) +
           "</text>\n";
  }
  return svg + "</svg>\n";
}

}  // namespace collector
}  // namespace qz
