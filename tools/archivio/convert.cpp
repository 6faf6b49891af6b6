#include <algorithm>
#include <optional>
#include <ostream>
#include <system_error>

#include "archivio/archivio.h"
#include "archivio/jet/process.h"
#include "archivio/jet/reader.h"
#include "archivio/jet/values.h"
#include "archivio/new_file.h"
#include "archivio/progress.h"
#include "archivio/schema.h"
#include "platform/sqlite/sqlite.h"
#include "platform/system/old_format.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kRecipients = "PERCPARCELLE";
constexpr std::string_view kCode = "CFP";

bool SameName(std::string_view a, std::string_view b) {
  return text::Upper(text::FromUtf8(a)) == text::Upper(text::FromUtf8(b));
}

// Of the new archive. The columns of the old table come first, under their
// names and in their order.
struct NewColumn {
  std::string name;
  std::string_view type;
  bool trims = false;  // blanks at the end make no difference
  bool text = false;   // the program works with it as a text
};

struct NewIndex {
  std::string name;
  bool unique = false;
  std::vector<std::size_t> columns;
};

struct NewTable {
  std::string name;
  std::size_t declared = 0;  // rows that the old archive says it has
  std::vector<NewColumn> columns;
  std::vector<NewIndex> indexes;
  std::size_t old_columns = 0;  // those that come with the rows

  std::size_t rows = 0;
  std::size_t bad_rows = 0;
  std::string first_bad_row;

  std::string Label() const { return "Tabella " + name + ": "; }
  std::optional<std::size_t> Find(std::string_view column) const {
    const auto found = std::ranges::find_if(
        columns, [column](const NewColumn& c) { return SameName(c.name, column); });
    return found == columns.end()
               ? std::nullopt
               : std::optional(static_cast<std::size_t>(found - columns.begin()));
  }
};

// What keeps the old archive from being a working one.
struct Findings {
  std::vector<std::string> texts;
  bool hopeless = false;  // not even the program could mend it
};

std::string_view TypeName(jet::Type type) {
  switch (type) {
    case jet::Type::kText:
      return "TEXT";
    case jet::Type::kInteger:
      return "INTEGER";
    case jet::Type::kReal:
      return "REAL";
    case jet::Type::kBinary:
      break;
  }
  return "BLOB";
}

NewTable PlanTable(const jet::Table& old) {
  NewTable table = {old.name, old.rows};
  table.old_columns = old.columns.size();
  for (const jet::Column& column : old.columns) {
    table.columns.push_back({column.name, TypeName(column.type)});
  }
  return table;
}

void PlanColumns(NewTable& table, const Table& known, Findings& findings) {
  for (const Column& column : Columns(known)) {
    const std::optional<std::size_t> place = table.Find(column.name);
    if (place && column.needed) {
      NewColumn& found = table.columns[*place];
      if (found.type == "BLOB") {
        findings.texts.push_back(table.Label() + "la colonna " + found.name +
                                 " non è di tipo testo.");
      }
      found.type = "TEXT";
      found.text = true;
    } else if (column.needed) {
      findings.texts.push_back(table.Label() + "manca la colonna " + std::string(column.name) +
                               ".");
      findings.hopeless |= known.name == kRecipients && column.name == kCode;
      table.columns.push_back({std::string(column.name), "TEXT"});
    }
  }
}

// The index that the program sets on the table. It may go on after its first
// column, as the old one does, unless that one's values are to be unique.
void PlanIndex(NewTable& table, const Table& known, const Index& index, const jet::Table& old,
               Findings& findings) {
  NewIndex planned = {table.name + "." + std::string(index.name), index.use == Use::kUniqueKey};
  for (const std::string_view column : Words(index.columns)) {
    if (const auto place = table.Find(column)) {
      planned.columns.push_back(*place);
    }
  }
  const bool whole = planned.columns.size() == Words(index.columns).size();
  if (index.use != Use::kOrder) {
    const bool needed = std::ranges::any_of(Columns(known), [&index](const Column& column) {
      return column.needed && column.name == index.columns;
    });
    const auto found = std::ranges::find_if(
        old.indexes, [&index](const jet::Index& i) { return SameName(i.name, index.name); });
    const std::string label =
        "Indice " + std::string(index.name) + " della tabella " + table.name + ": ";
    if (found == old.indexes.end()) {
      findings.texts.push_back(label + "manca.");
    } else if (needed && (planned.columns.front() != found->columns.front() ||
                          (planned.unique && found->columns.size() > 1))) {
      findings.texts.push_back(label + "la chiave non è la colonna " + std::string(index.columns) +
                               ".");
    } else {
      planned.columns.assign(found->columns.begin(), found->columns.end());
    }
    if (planned.columns.empty() && !table.columns.empty()) {
      planned.columns = {0};
    }
    if (!planned.columns.empty()) {
      table.columns[planned.columns.front()].trims = true;
    }
  } else if (!whole) {
    return;
  }
  table.indexes.push_back(std::move(planned));
}

// Tables that the program doesn't know keep their indexes as they are.
NewTable PlanForeign(const jet::Table& old) {
  NewTable table = PlanTable(old);
  for (const jet::Index& index : old.indexes) {
    table.indexes.push_back({table.name + "." + index.name,
                             index.unique,
                             {index.columns.begin(), index.columns.end()}});
  }
  return table;
}

// Nameless, or with one name for two, as no sound archive is and SQLite wouldn't
// have it.
template <typename Items>
void CheckNames(const Items& items) {
  std::vector<std::u16string> names;
  for (const auto& item : items) {
    names.push_back(text::Upper(text::FromUtf8(item.name)));
  }
  std::ranges::sort(names);
  if (std::ranges::adjacent_find(names) != names.end() ||
      std::ranges::any_of(names, [](const std::u16string& name) {
        return name.empty() || name.find(u'\0') != name.npos || name.starts_with(u"SQLITE_");
      })) {
    throw jet::ReadFailure("nomi doppi o non validi");
  }
}

// One new table for each old one, in the same order; then those of the program
// that are missing.
std::vector<NewTable> Plan(const std::vector<jet::Table>& old_tables,
                           const std::vector<std::string>& linked, Findings& findings) {
  std::vector<NewTable> tables;
  std::ranges::transform(old_tables, std::back_inserter(tables), PlanForeign);
  for (const Table& known : Tables()) {
    const auto same = [&known](const auto& name) { return SameName(name, known.name); };
    const auto found = std::ranges::find_if(old_tables, same, &jet::Table::name);
    const bool missing = found == old_tables.end();
    const jet::Table old = missing ? jet::Table{std::string(known.name)} : *found;
    if (missing) {
      findings.texts.push_back("Tabella " + old.name + ": manca" +
                               (std::ranges::any_of(linked, same)
                                    ? " (è collegata, le sue righe sono in un altro file)."
                                    : "."));
      findings.hopeless |= known.name == kRecipients;
    }
    Findings ignored;
    Findings& inside = missing ? ignored : findings;
    NewTable table = PlanTable(old);
    if (missing) {
      for (const Column& column : Columns(known)) {
        table.columns.push_back({std::string(column.name), "TEXT"});
      }
    }
    PlanColumns(table, known, inside);
    for (const Index& index : known.indexes) {
      PlanIndex(table, known, index, old, inside);
    }
    if (missing) {
      tables.push_back(std::move(table));
    } else {
      tables[static_cast<std::size_t>(found - old_tables.begin())] = std::move(table);
    }
  }
  return tables;
}

std::string CreateText(const NewTable& table) {
  std::string columns;
  for (const NewColumn& column : table.columns) {
    columns += (columns.empty() ? "" : ", ") + sqlite::Identifier(column.name) + ' ' +
               std::string(column.type) + (column.trims ? " COLLATE RTRIM" : "");
  }
  return "CREATE TABLE " + sqlite::Identifier(table.name) + " (" + columns + ")";
}

std::string KeyText(const NewTable& table, const NewIndex& index) {
  std::string columns;
  for (const std::size_t column : index.columns) {
    columns += (columns.empty() ? "" : ", ") + sqlite::Identifier(table.columns[column].name);
  }
  return columns;
}

std::string CreateText(const NewTable& table, const NewIndex& index) {
  return (index.unique ? "CREATE UNIQUE INDEX " : "CREATE INDEX ") +
         sqlite::Identifier(index.name) + " ON " + sqlite::Identifier(table.name) + " (" +
         KeyText(table, index) + ")";
}

std::string InsertText(const NewTable& table) {
  std::string names;
  std::string places;
  for (std::size_t i = 0; i < table.old_columns; ++i) {
    names += (i == 0 ? "" : ", ") + sqlite::Identifier(table.columns[i].name);
    places += i == 0 ? "?" : ", ?";
  }
  return "INSERT INTO " + sqlite::Identifier(table.name) + " (" + names + ") VALUES (" + places +
         ")";
}

void BindReal(sqlite::Statement& insert, int parameter, const NewColumn& column, double real) {
  // SQLite takes what isn't a number for Null, and gives a whole number a
  // decimal where a text is wanted.
  if (column.text || real != real) {
    insert.BindCopy(parameter, jet::NumberText(real));
  } else {
    insert.BindReal(parameter, real);
  }
}

void Insert(sqlite::Statement& insert, const NewTable& table, std::string_view message) {
  jet::RowReader row(message);
  for (std::size_t i = 0; i < table.old_columns; ++i) {
    const int parameter = static_cast<int>(i) + 1;
    const jet::Value value = row.Next();
    switch (value.kind) {
      case jet::Value::Kind::kNull:
        insert.BindNull(parameter);
        break;
      case jet::Value::Kind::kInteger:
        insert.Bind(parameter, value.integer);
        break;
      case jet::Value::Kind::kReal:
        BindReal(insert, parameter, table.columns[i], value.real);
        break;
      case jet::Value::Kind::kText:
        insert.Bind(parameter, value.bytes);
        break;
      case jet::Value::Kind::kBinary:
        insert.BindBlob(parameter, value.bytes);
        break;
    }
  }
  row.CheckEnd();
  insert.Next();
}

class Converter {
 public:
  Converter(const fs::path& from, const fs::path& to, bool confirm, std::ostream& report,
            std::ostream* progress)
      : from_(from), file_(to), confirm_(confirm), report_(report), progress_(progress) {
    // They would be taken for the new archive's own.
    for (const char* const side : {"-journal", "-wal"}) {
      NewFile::RefuseExisting(file_.Name().native() + side);
    }
  }

  bool Run() {
    const auto before = State();
    try {
      jet::Process process([this](jet::Sender& sender) { jet::ReadArchive(from_, sender); });
      tables_ = ReadTables(process);
      if (!GoOn()) {
        return false;
      }
      Fill(process);
    } catch (const jet::ReadFailure& failure) {
      Stop(failure.what());
    } catch (const jet::BrokenStream& failure) {
      Stop(failure.what());
    }
    at_.clear();
    if (State() != before) {
      Stop("un altro programma l'ha cambiato durante la lettura");
    }
    ReportRows();
    if (!GoOn()) {
      return false;
    }
    file_.Place(sys::Access::kAsFolder);
    report_ << "Scritto l'archivio " << NameOf(file_.Name()) << ".\n";
    return true;
  }

 private:
  std::pair<fs::file_time_type, std::uintmax_t> State() const {
    std::error_code gone;
    return {fs::last_write_time(from_, gone), fs::file_size(from_, gone)};
  }

  [[noreturn]] void Stop(const std::string& cause) const {
    throw Failure("Il vecchio archivio " + NameOf(from_) + " non si può convertire" +
                  (at_.empty() ? "" : ", tabella " + at_) + ": " + cause +
                  ". Niente è stato scritto.");
  }

  // Tells what has been found; false where that ends the work.
  bool GoOn() {
    for (const std::string& text : findings_.texts) {
      report_ << text << '\n';
    }
    const bool stop = findings_.hopeless || (!findings_.texts.empty() && !confirm_);
    if (stop) {
      report_ << "Niente è stato scritto."
              << (findings_.hopeless ? "" : " Con --conferma l'archivio si converte lo stesso.")
              << '\n';
    }
    findings_.texts.clear();
    return !stop;
  }

  // Up to where the rows begin.
  std::vector<NewTable> ReadTables(jet::Process& process) {
    std::vector<jet::Table> tables;
    std::vector<std::string> linked;
    std::string_view message;
    for (jet::Kind kind = process.Next(message);
         kind != jet::Kind::kRows && kind != jet::Kind::kEnd; kind = process.Next(message)) {
      switch (kind) {
        case jet::Kind::kLinked:
          linked.emplace_back(message);
          report_ << "Tabella " << message
                  << ": è collegata, le sue righe sono in un altro file e restano là.\n";
          break;
        case jet::Kind::kAt:
          at_ = message;
          break;
        case jet::Kind::kTable:
          tables.push_back(jet::ReadTable(message));
          CheckNames(tables.back().columns);
          CheckNames(tables.back().indexes);
          break;
        default:
          throw jet::BrokenStream();
      }
    }
    CheckNames(tables);
    old_tables_ = tables.size();
    return Plan(tables, linked, findings_);
  }

  void Fill(jet::Process& process) {
    sqlite::Connection database(file_.Growing(), sqlite::Mode::kWrite, file_.Name());
    database.Run(
        "PRAGMA page_size = 4096; PRAGMA encoding = 'UTF-8'; PRAGMA journal_mode = OFF;"
        "PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE; PRAGMA cache_size = -65536;"
        "BEGIN");
    for (const NewTable& table : tables_) {
      database.Run(CreateText(table));
    }
    ReadRows(process, database);
    for (const NewTable& table : tables_) {
      for (const NewIndex& index : table.indexes) {
        AddIndex(database, table, index);
      }
    }
    database.Run("COMMIT");
  }

  // `process` has told that the rows of the first table follow, if there is one.
  void ReadRows(jet::Process& process, sqlite::Connection& database) {
    std::uint64_t all = 0;
    for (const NewTable& table : tables_) {
      all += table.declared;
    }
    Progress shown(progress_, all);
    std::size_t rows = 0;
    for (std::size_t t = 0; t < old_tables_; ++t) {
      NewTable& table = tables_[t];
      at_ = table.name;
      std::optional<sqlite::Statement> insert;
      if (table.old_columns > 0) {
        insert.emplace(database, InsertText(table));
      }
      std::string_view message;
      jet::Kind kind = process.Next(message);
      for (; kind != jet::Kind::kRows && kind != jet::Kind::kEnd; kind = process.Next(message)) {
        if (kind == jet::Kind::kRow && insert) {
          Insert(*insert, table, message);
          ++table.rows;
        } else if (kind == jet::Kind::kBadRow) {
          if (table.bad_rows++ == 0) {
            table.first_bad_row = message;
          }
        } else {
          throw jet::BrokenStream();
        }
        ++rows;
        shown.Tell(rows, rows);
      }
      if ((kind == jet::Kind::kEnd) != (t + 1 == old_tables_)) {
        throw jet::BrokenStream();
      }
    }
  }

  // Where values that should be unique aren't, all the rows come over and the
  // index lets them. SQLite isn't left to find out: without a journal its failure
  // would leave half an index.
  void AddIndex(sqlite::Connection& database, const NewTable& table, NewIndex index) {
    if (index.unique) {
      const std::string columns = KeyText(table, index);
      sqlite::Statement doubles(database, "SELECT " + columns + ", count(*) FROM " +
                                              sqlite::Identifier(table.name) + " GROUP BY " +
                                              columns + " HAVING count(*) > 1");
      const int count = static_cast<int>(index.columns.size());
      while (doubles.Next()) {
        // Nulls don't equal each other.
        bool null = false;
        std::string values;
        for (int i = 0; i < count; ++i) {
          null |= doubles.Type(i) == sqlite::Type::kNull;
          values += (i == 0 ? "\"" : "\", \"") + std::string(doubles.Bytes(i));
        }
        if (!null) {
          index.unique = false;
          findings_.texts.push_back(table.Label() + "lo stesso codice " + values + "\" in " +
                                    std::string(doubles.Bytes(count)) + " righe.");
        }
      }
    }
    database.Run(CreateText(table, index));
  }

  void ReportRows() {
    for (std::size_t t = 0; t < old_tables_; ++t) {
      const NewTable& table = tables_[t];
      report_ << table.Label() << "righe dichiarate " << table.declared << ", lette " << table.rows
              << ".\n";
      if (table.bad_rows > 0) {
        findings_.texts.push_back(table.Label() + "righe illeggibili " +
                                  std::to_string(table.bad_rows) + "; la prima " +
                                  table.first_bad_row + ".");
      } else if (table.rows != table.declared) {
        findings_.texts.push_back(table.Label() +
                                  "le righe lette non sono quante il vecchio archivio dichiara.");
      }
    }
  }

  fs::path from_;
  NewFile file_;
  bool confirm_;
  std::ostream& report_;
  std::ostream* progress_;
  std::vector<NewTable> tables_;
  std::size_t old_tables_ = 0;
  Findings findings_;
  std::string at_;  // the table at hand
};

}  // namespace

bool Convert(const fs::path& from, const fs::path& to, bool confirm, std::ostream& report,
             std::ostream* progress) {
  const fs::path source = sys::ResolvePath(sys::PathText(from));
  std::error_code error;
  if (!fs::is_regular_file(source, error)) {
    throw Failure("Il file " + NameOf(source) + " non esiste o non è un file.");
  }
  switch (sys::FindOldFormat(sys::PathText(source))) {
    case sys::OldFormat::kNone:
      throw Failure("Il file " + NameOf(source) + " non è un archivio del vecchio formato.");
    case sys::OldFormat::kLater:
      throw Failure(text::ToUtf8(sys::OldFormatAdvice(sys::PathText(source))));
    default:
      break;
  }
  const fs::path target = sys::ResolvePath(sys::PathText(to));
  return Converter(source, fs::is_directory(target) ? target / source.filename() : target, confirm,
                   report, progress)
      .Run();
}

}  // namespace archivio
