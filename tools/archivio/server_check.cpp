// What an archive on a server lacks.
#include <algorithm>

#include "archivio/interruption.h"
#include "archivio/progress.h"
#include "archivio/server.h"
#include "archivio/server_connection.h"

namespace archivio {

namespace {

constexpr char kTables[] =
    "SELECT relname, oid, has_table_privilege(oid, 'SELECT'), has_table_privilege(oid, 'INSERT') "
    "AND has_table_privilege(oid, 'UPDATE') AND has_table_privilege(oid, 'DELETE') FROM pg_class "
    "WHERE relnamespace = 'public'::regnamespace AND relkind IN ('r', 'p')";
constexpr char kColumns[] =
    "SELECT a.attname, a.atttypid IN ('bpchar'::regtype, 'text'::regtype) AND a.atttypmod = -1 AND "
    "l.collname IN ('C', 'POSIX'), a.attidentity <> '' FROM pg_attribute AS a LEFT JOIN "
    "pg_collation AS l ON l.oid = a.attcollation WHERE a.attrelid = $1::oid AND a.attnum > 0 AND "
    "NOT a.attisdropped";
constexpr char kIndexes[] =
    "SELECT c.relname, i.indisunique, i.indpred IS NULL AND i.indexprs IS NULL AND i.indisvalid, "
    "a.attname, a.atttypid = 'bpchar'::regtype FROM pg_index AS i JOIN pg_class AS c ON c.oid = "
    "i.indexrelid LEFT JOIN pg_attribute AS a ON a.attrelid = i.indrelid AND a.attnum = "
    "i.indkey[0] WHERE i.indrelid = $1::oid";

class Checker {
 public:
  Checker(const Place& place, std::vector<std::string>& findings, std::ostream* progress)
      : findings_(findings), progress_(progress, "Righe lette"), connection_(place) {
    connection_.BeginReading();
  }

  void Run(Depth depth) {
    CheckTables();
    if (depth != Depth::kTables && findings_.empty()) {
      ReadAll();
    }
    if (depth == Depth::kAll) {
      CheckTriggers();
    }
  }

 private:
  void Add(std::string text) { findings_.push_back(std::move(text)); }

  void CheckTables() {
    const postgresql::Result found = connection_.Run(kTables);
    std::vector<postgresql::Statement> statements;
    for (int row = 0; row < found.Rows(); ++row) {
      const std::string oid(found.Bytes(row, 1));
      statements.push_back({kColumns, {oid}});
      statements.push_back({kIndexes, {oid}});
    }
    const std::vector<postgresql::Result> results = connection_.Run(statements);
    for (const Table& table : Tables()) {
      const std::string name = ServerName(table.name);
      const std::string label = "Tabella " + name + ": ";
      const int row = RowOf(found, name);
      if (row == found.Rows()) {
        Add(label + "manca.");
        continue;
      }
      if (!found.True(row, 2)) {
        Add(label + "questo utente non può leggerla.");
      } else if (IsWritten(table.name) && !found.True(row, 3)) {
        Add(label + "questo utente non può scriverci.");
      }
      const std::size_t place = 2 * static_cast<std::size_t>(row);
      CheckColumns(table, results[place], label);
      for (const Index& index : table.indexes) {
        if (index.use != Use::kOrder) {
          CheckIndex(table, index, results[place + 1]);
        }
      }
    }
  }

  // The row whose first column is the name; past the last one where there is none.
  static int RowOf(const postgresql::Result& found, std::string_view name) {
    int row = 0;
    while (row < found.Rows() && found.Bytes(row, 0) != name) {
      ++row;
    }
    return row;
  }

  static bool IsWritten(std::string_view table) {
    return table == "PERCPARCELLE" || table == "QUADROLAUT";
  }

  void CheckColumns(const Table& known, const postgresql::Result& found, const std::string& label) {
    bool numbered = false;
    for (int row = 0; row < found.Rows(); ++row) {
      numbered |= found.True(row, 2);
    }
    if (!numbered) {
      Add(label + "manca la colonna con il numero della riga (GENERATED ALWAYS AS IDENTITY).");
    }
    for (const Column& column : Columns(known)) {
      if (!column.needed) {
        continue;
      }
      const std::string name = ServerName(column.name);
      const int row = RowOf(found, name);
      if (row == found.Rows()) {
        Add(label + "manca la colonna " + name + ".");
      } else if (!found.True(row, 1)) {
        Add(label + "la colonna " + name + " non è di tipo testo senza limiti e COLLATE \"C\".");
      }
    }
  }

  void CheckIndex(const Table& known, const Index& index, const postgresql::Result& found) {
    const std::string name = ServerName(std::string(known.name) + "." + std::string(index.name));
    const std::string label = "Indice " + name + ": ";
    const int row = RowOf(found, name);
    if (row == found.Rows()) {
      Add(label + "manca.");
      return;
    }
    if (index.use == Use::kUniqueKey && !found.True(row, 1)) {
      Add(label + "ammette chiavi doppie.");
    }
    if (!found.True(row, 2)) {
      Add(label + "non comprende tutte le righe.");
    }
    // Where the program doesn't know the columns any one may be the key.
    const std::vector<Column> columns = Columns(known);
    const bool certain = std::ranges::any_of(columns, [&](const Column& column) {
      return column.needed && column.name == index.columns;
    });
    if (certain && found.Bytes(row, 3) != ServerName(index.columns)) {
      Add(label + "la chiave non è la colonna " + ServerName(index.columns) + ".");
    } else if (!found.True(row, 4)) {
      Add(label + "la chiave distingue gli spazi finali (non è di tipo bpchar).");
    }
  }

  // Where a page is damaged, reading it fails.
  void ReadAll() {
    std::vector<std::string> ignored;
    std::uint64_t rows = 0;
    for (const ServerTable& table : ReadTables(connection_, ignored)) {
      if (FindTable(table.table.name) != nullptr) {
        connection_.BeginRows({table.select, {}});
        for (postgresql::Rows row; connection_.NextRow(row); row.Clear()) {
          CheckInterrupted();
          progress_.Show(++rows, 0);
        }
      }
    }
  }

  void CheckTriggers() {
    const postgresql::Result found = connection_.Run(
        "SELECT c.relname, t.tgname FROM pg_trigger AS t JOIN pg_class AS c ON c.oid = t.tgrelid "
        "WHERE c.relnamespace = 'public'::regnamespace AND NOT t.tgisinternal ORDER BY 1, 2");
    for (int row = 0; row < found.Rows(); ++row) {
      const std::string table(found.Bytes(row, 0));
      if (FindTable(table) != nullptr) {
        Add("Tabella " + table + ": un altro programma ci ha messo il trigger " +
            std::string(found.Bytes(row, 1)) + ", che viene eseguito a ogni scrittura.");
      }
    }
  }

  std::vector<std::string>& findings_;
  Progress progress_;
  ServerConnection connection_;
};

}  // namespace

std::vector<std::string> CheckServer(const Place& place, Depth depth, std::ostream* progress) {
  std::vector<std::string> findings;
  try {
    Checker(place, findings, progress).Run(depth);
  } catch (const postgresql::Error& failure) {
    CheckInterrupted();
    findings.push_back(failure.what());
  }
  return findings;
}

}  // namespace archivio
