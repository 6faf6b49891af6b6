#include <algorithm>
#include <array>
#include <fstream>
#include <string>

#include "archivio/archivio.h"
#include "archivio/files.h"
#include "archivio/interruption.h"
#include "archivio/progress.h"
#include "archivio/server.h"
#include "archivio/values.h"
#include "frame/schema.h"
#include "platform/sqlite/sqlite.h"
#include "platform/system/files.h"
#include "platform/system/old_format.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

using namespace std::literals;

namespace {

// SQLite's own rule for which declared types keep a text as it is: others turn
// the code 002 into the number 2.
bool KeepsText(std::string_view type) {
  const std::u16string upper = text::Upper(text::FromUtf8(type));
  const auto has = [&upper](std::u16string_view part) { return upper.find(part) != upper.npos; };
  return !has(u"INT") && (has(u"CHAR") || has(u"CLOB") || has(u"TEXT"));
}

class Checker {
 public:
  Checker(const std::filesystem::path& file, std::vector<std::string>& findings,
          std::ostream* progress)
      : database_(file, sqlite::Mode::kRead),
        findings_(findings),
        progress_(progress, "Verifica in corso") {
    database_.SetWatch([this] {
      progress_.ShowTime();
      return CaughtSignal() == 0;
    });
  }

  void Run(Depth depth) {
    // All that follows sees one state of the file.
    database_.Run("BEGIN");
    if (depth != Depth::kTables) {
      for (const std::string& damage : database_.Damages()) {
        Add("File danneggiato: " + damage + ".");
      }
      values_ = findings_.empty();
    }
    for (const Table& table : Tables()) {
      CheckTable(table);
    }
    if (depth == Depth::kAll) {
      CheckTriggers();
    }
  }

 private:
  struct FoundColumn {
    std::string name;
    std::string type;
  };

  void Add(std::string text) { findings_.push_back(std::move(text)); }

  // Names the values that the program can't show as they are, in all columns that are to hold
  // texts.
  void CheckValues(const Table& table, const std::vector<FoundColumn>& found) {
    const std::vector<Column> known = Columns(table);
    std::vector<std::string> columns;
    for (const FoundColumn& column : found) {
      const bool needed = std::ranges::any_of(known, [&](const Column& candidate) {
        return candidate.needed && SameName(candidate.name, column.name);
      });
      if (needed || KeepsText(column.type)) {
        columns.push_back(column.name);
      }
    }
    NameNoTexts(database_, std::string(table.name), columns,
                [this](std::string sentence) { Add(std::move(sentence)); });
  }

  void CheckTable(const Table& table) {
    const std::string label = "Tabella " + std::string(table.name) + ": ";
    sqlite::Statement table_query(
        database_, "SELECT 1 FROM sqlite_schema WHERE type = 'table' AND name = ? COLLATE NOCASE");
    if (!table_query.Bind(1, table.name).Next()) {
      Add(label + "manca.");
      return;
    }
    std::vector<FoundColumn> found;
    sqlite::Statement column_query(database_, "SELECT name, type FROM pragma_table_info(?)");
    column_query.Bind(1, table.name);
    while (column_query.Next()) {
      found.push_back({std::string(column_query.Bytes(0)), std::string(column_query.Bytes(1))});
    }
    for (const Column& column : Columns(table)) {
      const auto same = std::find_if(found.begin(), found.end(), [&](const FoundColumn& candidate) {
        return SameName(candidate.name, column.name);
      });
      if (column.needed && same == found.end()) {
        Add(label + "manca la colonna " + std::string(column.name) + ".");
      } else if (column.needed && !KeepsText(same->type)) {
        Add(label + "la colonna " + same->name + " non è di tipo testo.");
      }
    }
    const std::string from = "SELECT * FROM " + sqlite::Identifier(table.name);
    if (database_.RowNumber(std::string(table.name), {database_, from}).empty()) {
      Add(label +
          "le righe non hanno un numero che le distingua, perché rowid, oid e _rowid_ sono nomi di "
          "colonne, o perché la tabella è WITHOUT ROWID.");
    }
    for (const Index& index : table.indexes) {
      if (index.use != Use::kOrder) {
        CheckIndex(table, index);
      }
    }
    if (values_ && (table.name == "PERCPARCELLE" || table.name == "QUADROLAUT")) {
      CheckValues(table, found);
    }
  }

  void CheckTriggers() {
    for (const auto& [name, on] : database_.Triggers()) {
      if (FindTable(on) != nullptr) {
        Add("Tabella " + on + ": un altro programma ci ha messo il trigger " + name +
            ", che viene eseguito a ogni scrittura.");
      }
    }
  }

  void CheckIndex(const Table& table, const Index& index) {
    const std::string name = std::string(table.name) + "." + std::string(index.name);
    const std::string label = "Indice " + name + ": ";
    sqlite::Statement list(database_,
                           "SELECT \"unique\", partial FROM pragma_index_list(?) "
                           "WHERE name = ? COLLATE NOCASE");
    if (!list.Bind(1, table.name).Bind(2, name).Next()) {
      Add(label + "manca.");
      return;
    }
    if (index.use == Use::kUniqueKey && list.Number(0) == 0) {
      Add(label + "ammette chiavi doppie.");
    }
    if (list.Number(1) != 0) {
      Add(label + "non comprende tutte le righe.");
    }
    std::vector<std::array<std::string, 2>> keys;
    sqlite::Statement key_query(database_,
                                "SELECT name, coll, \"desc\" FROM pragma_index_xinfo(?) WHERE key");
    key_query.Bind(1, name);
    while (key_query.Next()) {
      keys.push_back({std::string(key_query.Bytes(0)), std::string(key_query.Bytes(1))});
      if (key_query.Number(2) != 0) {
        Add(label + "è in ordine decrescente.");
      }
    }
    // Where the program doesn't know the columns any one may be the key.
    const std::vector<Column> columns = Columns(table);
    const bool known = std::any_of(columns.begin(), columns.end(), [&](const Column& column) {
      return column.needed && column.name == index.columns;
    });
    // After the first column others may follow, as the suite likes.
    if (keys.empty() || (index.use == Use::kUniqueKey && keys.size() > 1) || keys[0][0].empty() ||
        (known && !SameName(keys[0][0], index.columns))) {
      std::string wanted = "una colonna";
      if (known) {
        wanted = "la colonna " + std::string(index.columns);
      }
      Add(label + "la chiave non è " + wanted + ".");
    } else if (!SameName(keys[0][1], "RTRIM") ||
               !SameName(database_.Collation(std::string(table.name), keys[0][0]), "RTRIM")) {
      Add(label + "la chiave distingue gli spazi finali (manca COLLATE RTRIM).");
    }
  }

  OpenArchive database_;
  std::vector<std::string>& findings_;
  Progress progress_;
  bool values_ = false;  // whether the values are checked too: not in a damaged file
};

}  // namespace

namespace {

std::vector<std::string> CheckFile(const std::filesystem::path& file, Depth depth,
                                   std::ostream* progress) {
  const std::string label = "File " + NameOf(file) + ": ";
  try {
    CheckReadable(file);
  } catch (const sys::FileError& error) {
    return {error.what()};
  }
  // The file's head shows the write-ahead mode: opening such a file would leave others beside it.
  std::array<char, 20> head = {};
  std::ifstream stream(file, std::ios::binary);
  if (!stream.read(head.data(), head.size()) ||
      std::string_view(head.data(), 16) != "SQLite format 3\0"sv) {
    const std::u16string advice = sys::OldFormatAdvice(sys::PathText(file));
    if (advice.empty()) {
      return {label + "non è un archivio."};
    }
    return {text::ToUtf8(advice)};
  }
  if (head[18] != 1 || head[19] != 1) {
    return {label + "è in modalità WAL, il programma vuole il giornale di ripristino."};
  }
  std::vector<std::string> findings;
  try {
    Checker(file, findings, progress).Run(depth);
    if (depth == Depth::kAll && sys::NamesOf(sys::PathText(file)) > 1) {
      findings.push_back(label +
                         "ha più nomi (collegamenti fisici); aperto con un altro nome dopo "
                         "un'interruzione si rovina.");
    }
  } catch (const sqlite::Error& failure) {
    CheckInterrupted();
    findings.push_back(failure.what());
  }
  return findings;
}

std::vector<std::string> CheckPlace(const Place& place, Depth depth, std::ostream* progress) {
  return place.OnServer() ? CheckServer(place, depth, progress)
                          : CheckFile(place.file, depth, progress);
}

}  // namespace

std::vector<std::string> Check(const std::filesystem::path& archive, Depth depth,
                               std::ostream* progress) {
  return CheckPlace(PlaceOf(archive), depth, progress);
}

void RequireTables(const Place& place) {
  if (!place.OnServer()) {
    CheckReadable(place.file);
  }
  if (const std::vector<std::string> findings = CheckPlace(place, Depth::kTables, nullptr);
      !findings.empty()) {
    throw Failure("L'archivio " + place.Name() + " non è adatto. " + findings.front());
  }
}

std::unique_ptr<AnyArchive> OpenAny(const Place& place, AnyArchive::Access access) {
  return place.OnServer() ? OpenServer(place, access) : OpenFile(place.file, access);
}

}  // namespace archivio
