
#include "archivio/archivio.h"
#include "archivio/columns.h"
#include "archivio/csv.h"
#include "archivio/files.h"
#include "archivio/interruption.h"
#include "archivio/progress.h"
#include "archivio/rows.h"
#include "archivio/server.h"
#include "frame/MOD770BAS.h"
#include "platform/system/new_file.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

const std::string kRecipients = "PERCPARCELLE";
constexpr std::size_t kBlock = std::size_t{1} << 20;

std::string Header(const std::vector<std::string>& columns, bool readable) {
  std::string header;
  for (const std::string& column : columns) {
    if (!header.empty()) {
      header += ',';
    }
    std::string name = column;
    if (readable) {
      name = ReadableName(column);
    }
    AppendField(header, name);
  }
  return header + "\r\n";
}

// The file's row of that number, `row` in the archive. What can't be written as it is stops the
// export: better no file than one that lacks something.
std::string RowText(const Rows& row, const std::vector<std::string>& columns, bool readable,
                    std::size_t number) {
  const std::string label = "Percettore n. " + std::to_string(number) + ": ";
  std::string text;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (i > 0) {
      text += ',';
    }
    const bool binary = row.Binary(i);
    const std::optional<std::string_view> value = row.Text(i);
    if (value && (binary || value->find('\0') != value->npos || !text::IsUtf8(*value))) {
      throw Failure(label + "la colonna " + columns[i] + " contiene dati che non sono un testo.");
    }
    if (!value || !readable) {
      AppendField(text, value);
    } else if (columns[i] == kDateColumn) {
      AppendField(text, HarmlessText(DateOnScreen(*value)));
    } else {
      AppendField(text, HarmlessText(*value));
    }
  }
  text += "\r\n";
  if (text.size() > kLongestRow) {
    throw Failure(label + "testi troppo lunghi.");
  }
  return text;
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
  const Place source = PlaceOf(archive);
  if (!source.OnServer()) {
    CheckReadable(source.file);
  }
  RefuseExisting(csv);
  sys::NewFile file(sys::PathText(csv), sys::Access::kOwner);
  const std::unique_ptr<AnyArchive> database = OpenAny(source, AnyArchive::Access::kRead);
  const std::vector<std::string> columns = database->Columns(kRecipients);
  if (columns.empty()) {
    throw Failure((source.OnServer() ? "Il database " : "Il file ") + source.Name() +
                  " non è un archivio dei percettori.");
  }
  std::string text = Header(columns, readable);
  Progress shown(progress, "Percettori scritti");
  std::size_t count = 0;
  const std::unique_ptr<Rows> rows = database->Read(kRecipients, columns, Order::kNumber);
  while (rows->Next()) {
    ++count;
    text += RowText(*rows, columns, readable, count);
    if (text.size() > kBlock) {
      CheckInterrupted();
      file.Write(text);
      text.clear();
    }
    shown.Show(count, 0);
  }
  file.Write(text);
  CheckInterrupted();
  file.Place();
  return count;
}

}  // namespace archivio
