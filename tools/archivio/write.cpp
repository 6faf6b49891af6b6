#include <optional>
#include <ostream>

#include "archivio/archivio.h"
#include "archivio/demonstration.h"
#include "archivio/files.h"
#include "archivio/interruption.h"
#include "archivio/new_table.h"
#include "archivio/progress.h"
#include "archivio/reference_data.h"
#include "archivio/server.h"
#include "frame/schema.h"
#include "platform/sqlite/sqlite.h"
#include "platform/system/paths.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

void AddRows(sqlite::Connection& database, std::string_view table,
             const std::vector<ReferenceRow>& rows) {
  sqlite::Statement insert(database, "INSERT INTO " + sqlite::Identifier(table) + " VALUES (" +
                                         sqlite::Parameters(rows.front().size()) + ")");
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
  explicit NewArchive(const fs::path& file) : file_(file) {}

  const fs::path& Name() const { return file_.Name(); }

  void Fill(std::optional<long> recipients, std::ostream* progress) {
    OpenArchive database(file_.Growing(), sqlite::Mode::kWrite, file_.Name());
    database.Run(kNewFile);
    std::vector<NewTable> tables;
    for (const Table& table : Tables()) {
      tables.push_back(ProgramTable(table));
      database.Run(CreateText(tables.back()));
    }
    AddReferenceRows(database);
    if (recipients) {
      AddRecipients(database, *recipients, progress);
    }
    for (const NewTable& table : tables) {
      for (const NewIndex& index : table.indexes) {
        database.Run(CreateText(table, index));
      }
    }
    database.Run("COMMIT");
  }

  void FillFrom(sqlite::Connection& source, std::ostream* progress) {
    OpenArchive database(file_.Growing(), sqlite::Mode::kWrite, file_.Name());
    Progress copied(progress, "Pagine copiate",
                    static_cast<std::uint64_t>(source.Number("PRAGMA page_count")));
    source.CopyTo(database, [&](int done, int /*all*/) {
      CheckInterrupted();
      copied.Show(static_cast<std::uint64_t>(done), static_cast<std::uint64_t>(done));
    });
    copied.Clear();
    CheckPages(database, progress);
  }

  void FillFrom(const Place& server, std::ostream& out, std::ostream* progress) {
    OpenArchive database(file_.Growing(), sqlite::Mode::kWrite, file_.Name());
    database.Run(kNewFile);
    CopyFromServer(server, database, out, progress);
    database.Run("COMMIT; PRAGMA journal_mode = DELETE");
    CheckPages(database, progress);
  }

  void PlaceFile() {
    CheckInterrupted();
    file_.Place();
  }

 private:
  static constexpr char kNewFile[] =
      "PRAGMA page_size = 4096; PRAGMA encoding = 'UTF-8'; PRAGMA journal_mode = OFF;"
      "PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE; PRAGMA cache_size = -65536;"
      "BEGIN";

  static void CheckPages(sqlite::Connection& database, std::ostream* progress) {
    Progress checked(progress, "Controllo della copia");
    database.SetWatch([&] {
      checked.ShowTime();
      return CaughtSignal() == 0;
    });
    if (const std::vector<std::string> damages = database.Damages(); !damages.empty()) {
      throw Failure("L'archivio è danneggiato e non si può copiare: " + damages.front() + ".");
    }
  }

  NewArchiveFile file_;
};

}  // namespace

void WriteTemplate(const fs::path& file) {
  NewArchive archive(file);
  archive.Fill(std::nullopt, nullptr);
  archive.PlaceFile();
}

void WriteDemonstration(const fs::path& file, long recipients) {
  NewArchive archive(file);
  archive.Fill(recipients, nullptr);
  archive.PlaceFile();
}

void Create(const fs::path& wanted, std::optional<long> recipients, std::ostream& out,
            std::ostream* progress) {
  const fs::path folder = sys::ResolvePath(sys::PathText(wanted));
  NewFolders folders(folder);
  const fs::path model_file = sys::ResolvePath(sys::PathText(folder / kTemplateName));
  std::optional<NewArchive> year;
  std::optional<NewArchive> model;
  // Both are whole before one of them appears.
  if (recipients) {
    year.emplace(folder / kYearName);
    year->Fill(recipients, progress);
  }
  if (!recipients || !fs::exists(model_file)) {
    model.emplace(model_file);
    model->Fill(std::nullopt, nullptr);
  }
  if (year) {
    year->PlaceFile();
    folders.Keep();
    out << "Scritto l'archivio dell'anno " << NameOf(year->Name()) << ", con " << *recipients
        << (*recipients == 1 ? " percettore inventato.\n" : " percettori inventati.\n");
  }
  if (model) {
    model->PlaceFile();
    folders.Keep();
    out << "Scritto il modello " << NameOf(model->Name()) << ".\n";
  } else {
    out << "Il modello " << NameOf(model_file) << " c'era già e resta com'è.\n";
  }
}

namespace {

void CopyServer(const Place& from, const fs::path& to, std::ostream& out, std::ostream* progress) {
  NewArchive copy(TargetOf(to, kYearName));
  copy.FillFrom(from, out, progress);
  copy.PlaceFile();
  out << "Copiato l'archivio " << from.Name() << " nel file " << NameOf(copy.Name()) << ".\n";
}

}  // namespace

void Copy(const fs::path& from, const fs::path& to, std::ostream& out, std::ostream* progress) {
  const Place place = PlaceOf(from);
  if (place.OnServer()) {
    CopyServer(place, to, out, progress);
    return;
  }
  const fs::path& source = place.file;
  CheckReadable(source);
  NewArchive copy(TargetOf(to, source));
  if (UndoCutOffWrite(source)) {
    out << "Annullata la scrittura interrotta nel file " << NameOf(source) << ".\n";
  }
  OpenArchive database(source, sqlite::Mode::kRead);
  if (database.Columns("PERCPARCELLE").empty()) {
    throw Failure("Il file " + NameOf(source) + " non è un archivio dei percettori.");
  }
  copy.FillFrom(database, progress);
  copy.PlaceFile();
  out << "Copiato l'archivio " << NameOf(source) << " nel file " << NameOf(copy.Name()) << ".\n";
}

}  // namespace archivio
