#include <optional>
#include <system_error>

#include "archivio/archivio.h"
#include "archivio/demonstration.h"
#include "archivio/new_file.h"
#include "archivio/reference_data.h"
#include "archivio/schema.h"
#include "platform/sqlite/sqlite.h"
#include "platform/system/paths.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

std::string Columns(std::string_view words) {
  std::string list;
  for (std::string_view word : Words(words)) {
    list += (list.empty() ? "" : ", ") + sqlite::Identifier(word);
  }
  return list;
}

void CreateTable(sqlite::Connection& database, const Table& table) {
  std::string columns;
  for (const Column& column : Columns(table)) {
    bool key = false;
    for (const Index& index : table.indexes) {
      key |= index.use != Use::kOrder && index.columns == column.name;
    }
    columns += (columns.empty() ? "" : ", ") + sqlite::Identifier(column.name) +
               (key ? " TEXT COLLATE RTRIM" : " TEXT");
  }
  database.Run("CREATE TABLE " + sqlite::Identifier(table.name) + " (" + columns + ")");
}

void CreateIndex(sqlite::Connection& database, const Table& table, const Index& index) {
  const std::string name = std::string(table.name) + "." + std::string(index.name);
  database.Run((index.use == Use::kUniqueKey ? "CREATE UNIQUE INDEX " : "CREATE INDEX ") +
               sqlite::Identifier(name) + " ON " + sqlite::Identifier(table.name) + " (" +
               Columns(index.columns) + ")");
}

void AddRows(sqlite::Connection& database, std::string_view table,
             const std::vector<ReferenceRow>& rows) {
  std::string places = "?";
  for (std::size_t i = 1; i < rows.front().size(); ++i) {
    places += ", ?";
  }
  sqlite::Statement insert(database,
                           "INSERT INTO " + sqlite::Identifier(table) + " VALUES (" + places + ")");
  for (const ReferenceRow& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      insert.Bind(static_cast<int>(i) + 1, row[i]);
    }
    insert.Next();
  }
}

void AddReferenceRows(sqlite::Connection& database) {
  AddRows(database, "RELEASE", {{"770/2015 1.00"}});
  AddRows(database, "TABMIN_PROV", ReferenceRows(province_csv));
  AddRows(database, "TABMIN_SD", ReferenceRows(categorie_csv));
  AddRows(database, "TABMIN_SG", ReferenceRows(stati_esteri_csv));
  AddRows(database, "TABCOMUNI", MunicipalitiesByName());
}

class NewArchive {
 public:
  explicit NewArchive(const fs::path& file) : file_(file) {
    // They would be taken for the new archive's own.
    for (const char* const side : {"-journal", "-wal"}) {
      NewFile::RefuseExisting(file_.Name().native() + side);
    }
  }

  void Fill(std::optional<long> recipients) {
    sqlite::Connection database(file_.Growing(), sqlite::Mode::kWrite, file_.Name());
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

  // `name` is the source's, for messages.
  void FillFrom(sqlite::Connection& source, const fs::path& name) {
    sqlite::Connection database(file_.Growing(), sqlite::Mode::kWrite, name);
    database.Run(
        "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE");
    source.CopyTo(database);
    database.Run("PRAGMA journal_mode = DELETE");
    if (const std::vector<std::string> damages = database.Damages(); !damages.empty()) {
      throw Failure("L'archivio è danneggiato e non si può copiare: " + damages.front() + ".");
    }
  }

  void Place() { file_.Place(sys::Access::kAsFolder); }

 private:
  NewFile file_;
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
    throw Failure("Impossibile creare la cartella " + NameOf(folder) + ".");
  }
  // The small one second: by then all that can be foreseen to fail has been.
  std::optional<NewArchive> year;
  if (recipients) {
    NewFile::RefuseExisting(folder / kTemplateName);
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

void Copy(const fs::path& from, const fs::path& to) {
  const fs::path source = sys::ResolvePath(sys::PathText(from));
  sqlite::Connection database(source, sqlite::Mode::kRead);
  if (database.Columns("PERCPARCELLE").empty()) {
    throw Failure("Il file " + NameOf(source) + " non è un archivio dei percettori.");
  }
  const fs::path target = sys::ResolvePath(sys::PathText(to));
  NewArchive copy(fs::is_directory(target) ? target / source.filename() : target);
  copy.FillFrom(database, source);
  copy.Place();
}

}  // namespace archivio
