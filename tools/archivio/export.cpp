#include <algorithm>

#include "archivio/archivio.h"
#include "archivio/columns.h"
#include "archivio/csv.h"
#include "archivio/files.h"
#include "archivio/interruption.h"
#include "archivio/progress.h"
#include "frame/MOD770BAS.h"
#include "platform/sqlite/sqlite.h"
#include "platform/system/new_file.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

const std::string kRecipients = "PERCPARCELLE";
constexpr std::size_t kBlock = std::size_t{1} << 20;

// A value of the row, nothing for Null. What can't be given back as it is stops the
// export: better no file than one that lacks something.
std::optional<std::string_view> Value(const sqlite::Statement& query, int column,
                                      const std::string& label) {
  const bool blob = query.Type(column) == sqlite::Type::kBlob;
  const std::optional<std::string_view> value = query.Text(column);
  if (value && (blob || value->find('\0') != value->npos || !text::IsUtf8(*value))) {
    throw Failure(label + " contiene dati che non sono un testo.");
  }
  return value;
}

}  // namespace

fs::path YearArchive() {
  using namespace MOD770BAS;
  const std::u16string folder = LEGGIVALOREREGISTRO(kRadice, kChiave, kValoreArchivi);
  if (folder.empty()) {
    throw Failure("Il registro non indica la cartella degli archivi: dare il nome dell'archivio.");
  }
  fs::path file = sys::ResolvePath(folder + u"\\" + text::FromUtf8(kYearName));
  std::error_code error;
  if (fs::symlink_status(file, error).type() == fs::file_type::not_found) {
    throw Failure(
        "L'archivio dell'anno non c'è ancora: nasce quando il programma si apre per la "
        "prima volta. Manca il file " +
        NameOf(file) + ".");
  }
  return file;
}

std::size_t Export(const fs::path& archive, const fs::path& csv, bool readable,
                   std::ostream* progress) {
  const fs::path source = sys::ResolvePath(sys::PathText(archive));
  CheckReadable(source);
  RefuseExisting(csv);
  sys::NewFile file(sys::PathText(csv), sys::Access::kOwner);
  OpenArchive database(source, sqlite::Mode::kRead);
  const std::vector<std::string> columns = database.Columns(kRecipients);
  if (columns.empty()) {
    throw Failure("Il file " + NameOf(source) + " non è un archivio dei percettori.");
  }
  std::string text;
  std::string names;
  for (const std::string& column : columns) {
    AppendField(text += text.empty() ? "" : ",", readable ? ReadableName(column) : column);
    names += (names.empty() ? "" : ", ") + sqlite::Identifier(column);
  }
  text += "\r\n";

  const auto date = readable ? std::ranges::find(columns, kDateColumn) : columns.end();
  Progress shown(progress, "Percettori scritti");
  // The one statement sees one state of the archive.
  std::size_t count = 0;
  std::string row;
  const std::string number =
      database.RowNumber(kRecipients, {database, "SELECT * FROM " + kRecipients});
  sqlite::Statement query(database, "SELECT " + names + " FROM " + kRecipients +
                                        (number.empty() ? "" : " ORDER BY " + number));
  while (query.Next()) {
    row.clear();
    ++count;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      row += i == 0 ? "" : ",";
      const std::optional<std::string_view> value =
          Value(query, static_cast<int>(i),
                "Percettore n. " + std::to_string(count) + ": la colonna " + columns[i]);
      if (value && readable) {
        const bool is_date = columns.begin() + static_cast<std::ptrdiff_t>(i) == date;
        AppendField(row, HarmlessText(is_date ? DateOnScreen(*value) : std::string(*value)));
      } else {
        AppendField(row, value);
      }
    }
    row += "\r\n";
    if (row.size() > kLongestRow) {
      throw Failure("Percettore n. " + std::to_string(count) + ": testi troppo lunghi.");
    }
    text += row;
    if (text.size() > kBlock) {
      CheckInterrupted();
      file.Write(text);
      text.clear();
    }
    shown.Tell(count, 0);
  }
  file.Write(text);
  CheckInterrupted();
  file.Place();
  return count;
}

}  // namespace archivio
