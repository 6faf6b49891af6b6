#include <stdlib.h>
#include <unistd.h>

#include <optional>
#include <system_error>

#include "archivio/archivio.h"
#include "archivio/demonstration.h"
#include "archivio/reference_data.h"
#include "archivio/schema.h"
#include "archivio/sqlite.h"
#include "platform/system/files.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

std::string Text(const fs::path& path) { return text::ToUtf8(sys::PathText(path)); }

std::string Columns(std::string_view words) {
  std::string list;
  for (std::string_view word : Words(words)) {
    list += (list.empty() ? "" : ", ") + Name(word);
  }
  return list;
}

void CreateTable(Sqlite& database, const Table& table) {
  std::string columns;
  for (const Column& column : Columns(table)) {
    bool key = false;
    for (const Index& index : table.indexes) {
      key |= index.use != Use::kOrder && index.columns == column.name;
    }
    columns +=
        (columns.empty() ? "" : ", ") + Name(column.name) + (key ? " TEXT COLLATE RTRIM" : " TEXT");
  }
  database.Run("CREATE TABLE " + Name(table.name) + " (" + columns + ")");
}

void CreateIndex(Sqlite& database, const Table& table, const Index& index) {
  const std::string name = std::string(table.name) + "." + std::string(index.name);
  database.Run((index.use == Use::kUniqueKey ? "CREATE UNIQUE INDEX " : "CREATE INDEX ") +
               Name(name) + " ON " + Name(table.name) + " (" + Columns(index.columns) + ")");
}

void AddRows(Sqlite& database, std::string_view table, const std::vector<Row>& rows) {
  std::string places = "?";
  for (std::size_t i = 1; i < rows.front().size(); ++i) {
    places += ", ?";
  }
  Statement insert(database, "INSERT INTO " + Name(table) + " VALUES (" + places + ")");
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      insert.Bind(static_cast<int>(i) + 1, row[i]);
    }
    insert.Next();
  }
}

void AddReferenceRows(Sqlite& database) {
  AddRows(database, "RELEASE", {{"770/2015 1.00"}});
  AddRows(database, "TABMIN_PROV", Rows(province_csv));
  AddRows(database, "TABMIN_SD", Rows(categorie_csv));
  AddRows(database, "TABMIN_SG", Rows(stati_esteri_csv));
  AddRows(database, "TABCOMUNI", MunicipalitiesByName());
}

// An archive that grows under another name beside its own, without a journal:
// should we die on the way, it is never looked at again.
class NewArchive {
 public:
  explicit NewArchive(const fs::path& file) : file_(sys::ResolvePath(sys::PathText(file))) {
    RefuseExisting(file_);
    std::string name = (file_.parent_path() / ".anagparc-archivio-XXXXXX").native();
    const int descriptor = mkstemp(name.data());
    if (descriptor < 0) {
      throw Failure("Impossibile scrivere nella cartella " +
                    Text(file_.has_parent_path() ? file_.parent_path() : ".") + ".");
    }
    close(descriptor);
    growing_ = name;
  }
  NewArchive(const NewArchive&) = delete;
  NewArchive& operator=(const NewArchive&) = delete;
  ~NewArchive() {
    std::error_code ignored;
    fs::remove(growing_, ignored);
  }

  static void RefuseExisting(const fs::path& file) {
    const fs::path found = sys::ResolvePath(sys::PathText(file));
    std::error_code ignored;
    if (fs::symlink_status(found, ignored).type() != fs::file_type::not_found) {
      throw Failure("Il file " + Text(found) + " esiste già e resta com'è.");
    }
  }

  void Fill(std::optional<long> recipients) {
    Sqlite database(growing_, Sqlite::Mode::kWrite, file_);
    database.Run(
        "PRAGMA page_size = 4096; PRAGMA encoding = 'UTF-8'; PRAGMA journal_mode = OFF;"
        "PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE; PRAGMA cache_size = -65536;"
        "BEGIN");
    for (const Table& table : Tables()) {
      CreateTable(database, table);
    }
    AddReferenceRows(database);
    if (recipients) {
      AddRecipients(database, *recipients);
    }
    for (const Table& table : Tables()) {
      for (const Index& index : table.indexes) {
        CreateIndex(database, table, index);
      }
    }
    database.Run("COMMIT");
  }

  void Place() {
    try {
      sys::FileCopy(sys::PathText(growing_), sys::PathText(file_));
    } catch (const sys::FileError& error) {
      throw Failure(error.what());
    }
  }

 private:
  fs::path file_;
  fs::path growing_;
};

}  // namespace

void WriteTemplate(const fs::path& file) {
  NewArchive archive(file);
  archive.Fill(std::nullopt);
  archive.Place();
}

void WriteDemonstration(const fs::path& file, long recipients) {
  NewArchive archive(file);
  archive.Fill(recipients);
  archive.Place();
}

void Create(const fs::path& wanted, std::optional<long> recipients) {
  const fs::path folder = sys::ResolvePath(sys::PathText(wanted));
  std::error_code error;
  if (!fs::is_directory(folder) && !fs::create_directories(folder, error)) {
    throw Failure("Impossibile creare la cartella " + Text(folder) + ".");
  }
  // The small one second: by then all that can be foreseen to fail has been.
  std::optional<NewArchive> year;
  if (recipients) {
    NewArchive::RefuseExisting(folder / kTemplateName);
    year.emplace(folder / kYearName);
    year->Fill(recipients);
  }
  NewArchive model(folder / kTemplateName);
  model.Fill(std::nullopt);
  if (year) {
    year->Place();
  }
  model.Place();
}

}  // namespace archivio
