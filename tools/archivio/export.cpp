#include "archivio/archivio.h"
#include "archivio/csv.h"
#include "archivio/new_file.h"
#include "frame/MOD770BAS.h"
#include "platform/sqlite/sqlite.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 20;

// What can't be given back as it is stops the export: better no file than one
// that lacks something.
void AppendValue(std::string& row, const sqlite::Statement& query, int column,
                 const std::string& label) {
  const sqlite::Type type = query.Type(column);
  if (type == sqlite::Type::kNull) {
    AppendField(row, std::nullopt);
    return;
  }
  const std::string_view value = query.Bytes(column);
  if (type == sqlite::Type::kBlob || value.find('\0') != value.npos || !text::IsUtf8(value)) {
    throw Failure(label + " contiene dati che non sono un testo.");
  }
  AppendField(row, value);
}

}  // namespace

fs::path YearArchive() {
  using namespace MOD770BAS;
  const std::u16string folder = LEGGIVALOREREGISTRO(kRadice, kChiave, kValoreArchivi);
  if (folder.empty()) {
    throw Failure("Il registro non indica la cartella degli archivi: dare il nome dell'archivio.");
  }
  return sys::ResolvePath(folder + u"\\" + text::FromUtf8(kYearName));
}

std::size_t Export(const fs::path& archive, const fs::path& csv) {
  const fs::path source = sys::ResolvePath(sys::PathText(archive));
  sqlite::Connection database(source, sqlite::Mode::kRead);
  const std::vector<std::string> columns = database.Columns("PERCPARCELLE");
  if (columns.empty()) {
    throw Failure("Il file " + NameOf(source) + " non è un archivio dei percettori.");
  }
  NewFile file(csv);
  std::string text;
  std::string names;
  for (const std::string& column : columns) {
    AppendField(text += text.empty() ? "" : ",", column);
    names += (names.empty() ? "" : ", ") + sqlite::Identifier(column);
  }
  text += "\r\n";

  // The one statement sees one state of the archive.
  std::size_t count = 0;
  std::string row;
  sqlite::Statement query(database, "SELECT " + names + " FROM PERCPARCELLE ORDER BY rowid");
  while (query.Next()) {
    row.clear();
    ++count;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      row += i == 0 ? "" : ",";
      AppendValue(row, query, static_cast<int>(i),
                  "Percettore n. " + std::to_string(count) + ": la colonna " + columns[i]);
    }
    row += "\r\n";
    if (row.size() > kLongestRow) {
      throw Failure("Percettore n. " + std::to_string(count) + ": testi troppo lunghi.");
    }
    text += row;
    if (text.size() > kBlock) {
      file.Write(text);
      text.clear();
    }
  }
  file.Write(text);
  file.Place(sys::Access::kOwner);
  return count;
}

}  // namespace archivio
