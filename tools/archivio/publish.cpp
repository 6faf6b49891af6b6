// From a file onto a server.
#include <algorithm>
#include <ostream>

#include "archivio/archivio.h"
#include "archivio/file_tables.h"
#include "archivio/files.h"
#include "archivio/interruption.h"
#include "archivio/progress.h"
#include "archivio/server.h"
#include "archivio/server_connection.h"
#include "archivio/server_names.h"
#include "archivio/values.h"
#include "platform/engine/engine.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

constexpr char kNothing[] = "Sul server non è stato scritto niente.";
constexpr std::size_t kBlock = std::size_t{1} << 16;
// What the program writes to.
constexpr std::string_view kWritten[] = {"PERCPARCELLE", "QUADROLAUT"};

class Publisher {
 public:
  Publisher(const fs::path& file, const Place& server, std::ostream& report, std::ostream* progress)
      : name_(server.Name()),
        report_(report),
        progress_(progress),
        database_(file, sqlite::Mode::kRead),
        connection_(server) {
    // All that follows sees one state of the file.
    database_.Run("BEGIN");
    found_ = ReadTables(database_);
  }

  bool Run(const std::optional<std::string>& role) {
    CheckDatabase();
    if (role) {
      CheckRole(*role);
    }
    if (!CheckNames() || !CheckValues()) {
      return false;
    }
    Create();
    const std::uint64_t rows = Fill();
    Count();
    if (role) {
      Grant(*role);
    }
    for (const std::string& sentence : found_.left_out) {
      report_ << sentence << '\n';
    }
    connection_.Commit("anagparc-archivio verifica lo dice: se l'archivio c'è, è intero.");
    report_ << "Pubblicato l'archivio " << text::ToUtf8(database_.Name()) << " in " << name_
            << ": tabelle " << found_.tables.size() << ", righe " << rows << ".\n";
    if (role) {
      report_ << "Il ruolo " << *role << " può lavorarci con il programma.\n";
    }
    Analyze();
    return true;
  }

 private:
  // Without it the server would guess how large the tables are, until it looks on its own; so it
  // may fail.
  void Analyze() {
    try {
      connection_.Run("ANALYZE");
    } catch (const postgresql::Error& /*failure*/) {
    }
  }

  void CheckDatabase() {
    if (connection_.Run("SHOW server_encoding").Bytes(0, 0) != "UTF8") {
      throw Failure("Il database " + name_ +
                    " non è in UTF8: non può contenere tutti i caratteri. Crearne un altro con "
                    "createdb --encoding=UTF8 --template=template0.");
    }
    const postgresql::Result there =
        connection_.Run("SELECT relname FROM pg_class WHERE relnamespace = 'public'::regnamespace");
    for (const NewTable& table : found_.tables) {
      const std::string name = ServerName(table.name);
      for (int row = 0; row < there.Rows(); ++row) {
        if (there.Bytes(row, 0) == name) {
          throw Failure("Nel database " + name_ + " c'è già la tabella " + name +
                        ": non va aggiunto niente a quello che c'è. " + kNothing);
        }
      }
    }
  }

  void CheckRole(const std::string& role) {
    const postgresql::Result found =
        connection_.Run("SELECT rolsuper FROM pg_roles WHERE rolname = $1", {role});
    if (found.Rows() == 0) {
      throw Failure("Il ruolo " + role +
                    " sul server non c'è: lo crea chi amministra il server, con createuser. " +
                    kNothing);
    }
    if (found.True(0, 0)) {
      throw Failure("Il ruolo " + role +
                    " amministra il server, e può già tutto: per lavorare con il programma ne "
                    "serve uno che non possa altro. " +
                    kNothing);
    }
  }

  bool CheckNames() {
    const std::vector<std::string> faults = UnfitNames(found_.tables);
    for (const std::string& sentence : faults) {
      report_ << sentence << '\n';
    }
    if (!faults.empty()) {
      report_ << "Nomi che sul server non possono stare: " << faults.size() << ". " << kNothing
              << '\n';
    }
    return faults.empty();
  }

  bool CheckValues() {
    Progress shown(progress_, "Controllo dei valori");
    database_.SetWatch([&shown] {
      shown.ShowTime();
      return CaughtSignal() == 0;
    });
    std::size_t faults = 0;
    for (const NewTable& table : found_.tables) {
      std::vector<std::string> columns;
      columns.reserve(table.columns.size());
      for (const NewColumn& column : table.columns) {
        columns.push_back(column.name);
      }
      faults += NameNoTexts(database_, table.name, columns, [&](const std::string& sentence) {
        shown.Clear();
        report_ << sentence << '\n';
      });
    }
    database_.SetWatch([] { return CaughtSignal() == 0; });
    if (faults > 0) {
      report_ << "Valori che sul server non possono stare: " << faults << ". " << kNothing << '\n';
    }
    return faults == 0;
  }

  void Create() {
    std::vector<postgresql::Statement> statements = {{"BEGIN", {}}};
    for (const NewTable& table : found_.tables) {
      statements.push_back({ServerText(table), {}});
    }
    connection_.Run(statements);
  }

  std::uint64_t Fill() {
    std::int64_t whole = 0;
    for (const NewTable& table : found_.tables) {
      counts_.push_back(database_.Number("SELECT count(*) FROM " + sqlite::Identifier(table.name)));
      whole += counts_.back();
    }
    Progress shown(progress_, "Righe pubblicate", static_cast<std::uint64_t>(whole));
    std::uint64_t rows = 0;
    for (const NewTable& table : found_.tables) {
      FillTable(table, rows, shown);
    }
    for (const NewTable& table : found_.tables) {
      for (const NewIndex& index : table.indexes) {
        for (const std::string& text : ServerTexts(table, index)) {
          connection_.Run(text);
        }
      }
    }
    return rows;
  }

  void FillTable(const NewTable& table, std::uint64_t& rows, Progress& shown) {
    std::string names;
    for (const NewColumn& column : table.columns) {
      text::AppendItem(names, OnServer(column.name));
    }
    sqlite::Statement row(database_, SelectText(database_, table));
    bool more = true;  // at its end a statement begins anew
    const auto next = [&](std::string& lines) {
      CheckInterrupted();
      lines.clear();
      while (lines.size() < kBlock && (more = more && row.Next())) {
        for (std::size_t i = 0; i < table.columns.size(); ++i) {
          AppendCopied(lines, row.Text(static_cast<int>(i)));
          lines += '\t';
        }
        lines.back() = '\n';
        ++rows;
      }
      shown.Show(rows, rows);
      return !lines.empty();
    };
    connection_.CopyIn("COPY " + OnServer(table.name) + " (" + names + ") FROM STDIN (FREEZE)",
                       next);
  }

  void Count() {
    for (std::size_t i = 0; i < found_.tables.size(); ++i) {
      const std::string& name = found_.tables[i].name;
      const std::int64_t there =
          connection_.Run("SELECT count(*) FROM " + OnServer(name)).Number(0, 0);
      if (there != counts_[i]) {
        throw Failure("Tabella " + name + ": nel file ci sono " + std::to_string(counts_[i]) +
                      " righe, sul server ne sono arrivate " + std::to_string(there) + ". " +
                      kNothing);
      }
    }
  }

  // To read everything, to write where the program writes. What everybody may do by default, the
  // role could do as well; in this database nobody needs it.
  void Grant(const std::string& name) {
    const std::string role = postgresql::Identifier(name);
    const std::string database =
        postgresql::Identifier(connection_.Run("SELECT current_database()").Bytes(0, 0));
    std::string read;
    std::string written;
    for (const NewTable& table : found_.tables) {
      text::AppendItem(read, OnServer(table.name));
    }
    for (const std::string_view table : kWritten) {
      text::AppendItem(written, OnServer(table));
    }
    const postgresql::Statement statements[] = {
        {"REVOKE TEMPORARY ON DATABASE " + database + " FROM PUBLIC", {}},
        {"REVOKE CREATE ON SCHEMA public FROM PUBLIC", {}},
        {"GRANT CONNECT ON DATABASE " + database + " TO " + role, {}},
        {"GRANT USAGE ON SCHEMA public TO " + role, {}},
        {"GRANT SELECT ON " + read + " TO " + role, {}},
        {"GRANT INSERT, UPDATE, DELETE ON " + written + " TO " + role, {}},
    };
    connection_.Run(statements);
  }

  std::string name_;
  std::ostream& report_;
  std::ostream* progress_;
  OpenArchive database_;
  ServerConnection connection_;
  FileTables found_;
  std::vector<std::int64_t> counts_;  // rows of each table in the file
};

// What begins as an address.
Place ServerNamed(const std::string& uri) {
  if (!engine::IsServerAddress(uri)) {
    throw Failure("\"" + uri +
                  "\" non è l'indirizzo di un database: dev'essere come "
                  "postgresql://server.ufficio/s7702015");
  }
  return {{}, uri};
}

}  // namespace

bool Publish(const fs::path& archive, const std::string& uri,
             const std::optional<std::string>& role, std::ostream& report, std::ostream* progress) {
  const Place server = ServerNamed(uri);
  const Place from = PlaceOf(archive);
  if (from.OnServer()) {
    throw Failure("L'archivio " + from.Name() +
                  " è già su un server. Per portarlo su un altro: prima copia, poi pubblica.");
  }
  if (UndoCutOffWrite(from.file)) {
    report << "Annullata la scrittura interrotta nel file " << NameOf(from.file) << ".\n";
  }
  RequireTables(from);
  return Publisher(from.file, server, report, progress).Run(role);
}

void Link(const fs::path& wanted, const std::string& uri, std::ostream& out) {
  const Place server = ServerNamed(uri);
  const std::u16string text = text::FromUtf8(uri);
  if (!text::IsUtf8(uri) || std::ranges::any_of(text, text::IsControl)) {
    throw Failure("Nell'indirizzo del database ci sono caratteri che non possono starci.");
  }
  const fs::path folder = sys::ResolvePath(sys::PathText(wanted));
  std::error_code error;
  if (!fs::is_directory(folder, error)) {
    throw Failure("La cartella " + NameOf(folder) +
                  " non esiste: la fa nascere anagparc-archivio prepara.");
  }
  NewArchiveFile file(folder / kYearName);
  if (const std::vector<std::string> findings = CheckServer(server, Depth::kTables, nullptr);
      !findings.empty()) {
    throw Failure("L'archivio " + server.Name() + " non è adatto. " + findings.front());
  }
  file.Write(uri + "\n");
  CheckInterrupted();
  file.Place();
  out << "Scritto il file " << NameOf(file.Name()) << ": il programma lavora sull'archivio "
      << server.Name() << ".\n";
  if (!fs::exists(sys::ResolvePath(sys::PathText(folder / kTemplateName)), error)) {
    out << "Manca ancora il modello " << kTemplateName
        << ", senza il quale il programma non si avvia: lo scrive anagparc-archivio prepara.\n";
  }
}

}  // namespace archivio
