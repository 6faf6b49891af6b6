// A chart on two logarithmic axes, as SVG.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace bench {

struct Line {
  std::string name;
  std::string color;
  std::vector<double> seconds;  // one for each of the chart's sizes
};

void WriteChart(const std::filesystem::path& file, const std::vector<long>& sizes,
                const std::vector<Line>& lines);

}  // namespace bench
