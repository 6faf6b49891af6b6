#include "table.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <utility>

#include "measure.h"

namespace bench {

namespace {

std::string Figure(double value, const std::string& of) {
  static constexpr std::pair<double, const char*> kTimes[] = {
      {1, "s"}, {1e-3, "ms"}, {1e-6, "µs"}, {0, "ns"}};
  char text[32];
  if (of == "memory") {
    std::snprintf(text, sizeof text, "%.1f MB", value / 1e6);
    return text;
  }
  for (const auto& [unit, name] : kTimes) {
    if (value >= unit) {
      std::snprintf(text, sizeof text, "%.3g %s", value / (unit > 0 ? unit : 1e-9), name);
      break;
    }
  }
  return text;
}

// Columns are counted in characters, not bytes.
std::string Padded(std::string text, std::size_t width) {
  std::size_t length = 0;
  for (const char c : text) {
    length += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
  }
  return length < width ? text.append(width - length, ' ') : text;
}

void Print(const std::vector<std::string>& cells) {
  static constexpr std::size_t kWidths[] = {62, 52, 6, 9, 9, 6, 4};
  std::string line = "|";
  for (std::size_t i = 0; i < cells.size(); ++i) {
    line += " " + Padded(cells[i], kWidths[i]) + " |";
  }
  std::puts(line.c_str());
  std::fflush(stdout);
}

void MeasurePairs(benchmark::State& state, const Comparison& row) {
  const Pair pair = row.prepare();
  std::vector<double> works, yardsticks, ratios;
  bool turn = false;
  for ([[maybe_unused]] auto _ : state) {
    double work = 0, yardstick = 0;
    if (turn = !turn; turn) {
      work = pair.work();
      yardstick = pair.yardstick();
    } else {
      yardstick = pair.yardstick();
      work = pair.work();
    }
    works.push_back(work);
    yardsticks.push_back(yardstick);
    ratios.push_back(work / yardstick);
    state.SetIterationTime(work);
  }
  state.counters["work"] = Median(works);
  state.counters["yardstick"] = Median(yardsticks);
  state.counters["ratio"] = Median(ratios);
}

class Reporter : public benchmark::BenchmarkReporter {
 public:
  explicit Reporter(std::vector<const Comparison*> rows) : rows_(std::move(rows)) {}

  bool ReportContext(const Context&) override {
    Print({"Work", "Yardstick", "of", "work", "yardstick", "ratio", "aim"});
    Print({"---", "---", "---", "---", "---", "---", "---"});
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const Comparison& row = *rows_[next_++];
      if (run.error_occurred) {
        Print({row.work, run.error_message});
        continue;
      }
      const double ratio = run.counters.at("ratio");
      char text[2][16];
      std::snprintf(text[0], sizeof text[0], "%.2f%s", ratio, ratio > row.aim ? " !" : "");
      std::snprintf(text[1], sizeof text[1], "%.1f", row.aim);
      Print({row.work, row.yardstick, row.of, Figure(run.counters.at("work"), row.of),
             Figure(run.counters.at("yardstick"), row.of), text[0], text[1]});
    }
  }

 private:
  std::vector<const Comparison*> rows_;
  std::size_t next_ = 0;
};

}  // namespace

void MeasureAll(const std::vector<Comparison>& rows, const std::string& only) {
  std::vector<const Comparison*> chosen;
  for (const Comparison& row : rows) {
    if (row.work.find(only) == std::string::npos) {
      continue;
    }
    chosen.push_back(&row);
    benchmark::RegisterBenchmark(row.work.c_str(),
                                 [&row](benchmark::State& state) {
                                   try {
                                     MeasurePairs(state, row);
                                   } catch (const std::exception& e) {
                                     state.SkipWithError(e.what());
                                   }
                                 })
        ->Iterations(row.pairs)
        ->UseManualTime();
  }
  Reporter reporter(std::move(chosen));
  benchmark::RunSpecifiedBenchmarks(&reporter);
}

}  // namespace bench
