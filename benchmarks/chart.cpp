#include "chart.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numeric>

namespace bench {

namespace {

constexpr double kLeft = 70, kRight = 470, kTop = 20, kBottom = 360;
constexpr double kWidth = 760, kHeight = 410;
constexpr double kLeast = 1e-6, kMost = 10;  // seconds

double Y(double seconds) {
  return kBottom - (kBottom - kTop) * std::log10(seconds / kLeast) / std::log10(kMost / kLeast);
}

std::string Thousands(long n) {
  std::string digits = std::to_string(n);
  for (std::size_t i = digits.size(); i > 3;) {
    digits.insert(i -= 3, ",");
  }
  return digits;
}

}  // namespace

void WriteChart(const std::filesystem::path& file, const std::vector<long>& sizes,
                const std::vector<Line>& lines) {
  const auto x = [&](std::size_t i) {
    const double whole =
        std::log10(static_cast<double>(sizes.back()) / static_cast<double>(sizes[0]));
    return kLeft + (kRight - kLeft) *
                       std::log10(static_cast<double>(sizes[i]) / static_cast<double>(sizes[0])) /
                       whole;
  };
  std::ofstream svg(file);
  svg.precision(4);
  svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << kWidth << ' ' << kHeight
      << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
      << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  static constexpr const char* kLabels[] = {"1 µs",  "10 µs",  "100 µs", "1 ms",
                                            "10 ms", "100 ms", "1 s",    "10 s"};
  double value = kLeast;
  for (const char* label : kLabels) {
    svg << "<path d=\"M" << kLeft << ' ' << Y(value) << "H" << kRight
        << "\" stroke=\"#ddd\"/><text x=\"" << kLeft - 8 << "\" y=\"" << Y(value) + 4
        << "\" text-anchor=\"end\">" << label << "</text>\n";
    value *= 10;
  }
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    svg << "<path d=\"M" << x(i) << ' ' << kTop << "V" << kBottom
        << "\" stroke=\"#ddd\"/><text x=\"" << x(i) << "\" y=\"" << kBottom + 18
        << "\" text-anchor=\"middle\">" << Thousands(sizes[i]) << "</text>\n";
  }
  svg << "<text x=\"" << (kLeft + kRight) / 2 << "\" y=\"" << kBottom + 38
      << "\" text-anchor=\"middle\">recipients</text>\n";

  // Names stand after the lines' ends, one below the other.
  std::vector<std::size_t> order(lines.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::sort(order, {}, [&](std::size_t i) { return -lines[i].seconds.back(); });
  double next = kTop + 6;
  for (const std::size_t which : order) {
    const Line& line = lines[which];
    svg << "<path fill=\"none\" stroke-width=\"2\" stroke=\"" << line.color << "\" d=\"";
    for (std::size_t i = 0; i < line.seconds.size(); ++i) {
      svg << (i == 0 ? 'M' : 'L') << x(i) << ' ' << Y(line.seconds[i]);
    }
    const double end = Y(line.seconds.back());
    const double at = std::max(end, next);
    next = at + 17;
    svg << "\"/>\n<path stroke=\"" << line.color << "\" d=\"M" << kRight + 2 << ' ' << end << 'L'
        << kRight + 14 << ' ' << at << "\"/><text x=\"" << kRight + 18 << "\" y=\"" << at + 4
        << "\" fill=\"" << line.color << "\">" << line.name << "</text>\n";
  }
  svg << "</svg>\n";
}

}  // namespace bench
