#include "archivio/reference_data.h"

#include <algorithm>
#include <tuple>

#include "archivio/csv.h"

namespace archivio {

std::vector<ReferenceRow> ReferenceRows(std::string_view csv) {
  CsvReader reader(FromBytes(csv), "data");
  std::vector<ReferenceRow> rows;
  std::vector<CsvField> fields;
  reader.Next(fields);
  while (reader.Next(fields)) {
    ReferenceRow& row = rows.emplace_back();
    for (CsvField& field : fields) {
      row.push_back(std::move(field.text));
    }
  }
  return rows;
}

std::vector<ReferenceRow> MunicipalitiesByName() {
  std::vector<ReferenceRow> rows = ReferenceRows(comuni_csv);
  std::ranges::sort(rows, [](const ReferenceRow& a, const ReferenceRow& b) {
    return std::tie(a[1], a[2], a[0]) < std::tie(b[1], b[2], b[0]);
  });
  return rows;
}

}  // namespace archivio
