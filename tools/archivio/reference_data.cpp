#include "archivio/reference_data.h"

#include <algorithm>
#include <tuple>

namespace archivio {

namespace {

// Takes the part before the first `separator`, or all, off the front of `text`.
std::string_view Cut(std::string_view& text, char separator) {
  const std::size_t end = text.find(separator);
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return part;
}

}  // namespace

std::vector<Row> Rows(std::string_view csv) {
  std::vector<Row> rows;
  Cut(csv, '\n');
  while (!csv.empty()) {
    std::string_view line = Cut(csv, '\n');
    Row row;
    while (!line.empty()) {
      row.push_back(Cut(line, ';'));
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<Row> MunicipalitiesByName() {
  std::vector<Row> rows = Rows(comuni_csv);
  std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
    return std::tie(a[1], a[2], a[0]) < std::tie(b[1], b[2], b[0]);
  });
  return rows;
}

}  // namespace archivio
