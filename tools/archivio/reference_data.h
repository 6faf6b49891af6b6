// The tables that are the same in every archive.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace archivio {

// Texts of the files in data/, built into the program: UTF-8, a header line,
// columns separated by semicolons.
extern const std::string_view province_csv;
extern const std::string_view categorie_csv;
extern const std::string_view stati_esteri_csv;
extern const std::string_view comuni_csv;

using ReferenceRow = std::vector<std::string>;

// The rows of such a text, without the header, in its order.
std::vector<ReferenceRow> ReferenceRows(std::string_view csv);

// Code, name and province of all municipalities by name, those of one name by
// province: an index on the name alone then has them in that order.
std::vector<ReferenceRow> MunicipalitiesByName();

}  // namespace archivio
