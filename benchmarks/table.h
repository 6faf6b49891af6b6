// One table of what each work costs against its yardstick.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

// Two figures of one kind that are taken in turn: seconds, or bytes.
struct Pair {
  std::function<double()> work, yardstick;
};

struct Comparison {
  std::string work, yardstick;
  double aim;      // the ratio, at most
  std::string of;  // what is measured: "cpu", "time", "memory"
  int pairs;       // how many are taken; the table shows the medians
  std::function<Pair()> prepare;
};

// Measures the rows, those whose work contains `only`, and prints each as it
// is known. The table shows, for each, the medians of the pairs; the ratio is
// the median of the pairs' own ratios.
void MeasureAll(const std::vector<Comparison>& rows, const std::string& only);

}  // namespace bench
