// Clocks, and processes whose cost is told.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Cost {
  double cpu = 0, elapsed = 0;  // seconds; cpu of all threads, user and system
};

Cost Measured(const std::function<void()>& work);

double Median(std::vector<double> values);

// Elapsed seconds of one `work`, typical of `times`; `prepare` comes before
// each and doesn't count. The median leaves out what other processes break into.
template <class Prepare, class Work>
double Typical(int times, Prepare prepare, Work work) {
  std::vector<double> seconds;
  for (int i = 0; i < times; ++i) {
    prepare();
    const auto start = std::chrono::steady_clock::now();
    work();
    seconds.push_back(
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return Median(std::move(seconds));
}

// Runs a program to its end. `input` and `output` are files. Throws when it
// doesn't end with 0.
Cost RunProcess(const std::vector<std::string>& command,
                const std::filesystem::path& input = "/dev/null",
                const std::filesystem::path& output = "/dev/null");

// Cost of one run of the query by the sqlite3 shell, which prints its rows to
// /dev/null; run `times` times by one shell, so that its own start counts little.
Cost ShellPrints(const std::filesystem::path& archive, const std::string& query, int times);
// What it prints.
std::string ShellOutput(const std::filesystem::path& archive, const std::string& query);

}  // namespace bench
