#include <algorithm>
#include <ostream>
#include <system_error>

#include "archivio/archivio.h"
#include "archivio/files.h"
#include "archivio/interruption.h"
#include "archivio/jet/plan.h"
#include "archivio/jet/process.h"
#include "archivio/jet/reader.h"
#include "archivio/jet/values.h"
#include "archivio/progress.h"
#include "platform/sqlite/sqlite.h"
#include "platform/system/old_format.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

constexpr sys::ChildJob kReadArchive = {
    "legge-archivio", [](const std::vector<std::string>& arguments, sys::ToParent& parent) {
      const auto read = [](const std::vector<std::string>& file, jet::Sender& sender) {
        jet::ReadArchive(sys::PathOf(file.front()), sender);
      };
      jet::Serve(read, arguments, parent);
    }};

std::string InsertText(const NewTable& table) {
  std::string names;
  for (std::size_t i = 0; i < table.old_columns; ++i) {
    text::AppendItem(names, sqlite::Identifier(table.columns[i].name));
  }
  return "INSERT INTO " + sqlite::Identifier(table.name) + " (" + names + ") VALUES (" +
         sqlite::Parameters(table.old_columns) + ")";
}

void BindReal(sqlite::Statement& insert, int parameter, const NewColumn& column, double real) {
  // SQLite takes what isn't a number for Null, and in a column of texts adds a decimal to a whole
  // number.
  if (column.program_text || real != real) {
    insert.BindCopy(parameter, jet::NumberText(real));
  } else {
    insert.BindReal(parameter, real);
  }
}

// Returns the columns whose texts have a NUL in them.
std::vector<std::size_t> Insert(sqlite::Statement& insert, const NewTable& table,
                                std::string_view message) {
  std::vector<std::size_t> with_nul;
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
        if (value.bytes.find('\0') != value.bytes.npos) {
          with_nul.push_back(i);
        }
        insert.Bind(parameter, value.bytes);
        break;
      case jet::Value::Kind::kBinary:
        insert.BindBlob(parameter, value.bytes);
        break;
    }
  }
  row.CheckEnd();
  insert.Next();
  return with_nul;
}

// A line for the terminal, whatever the old archive has in its names and codes.
std::string Plain(std::string_view line) {
  std::u16string units = text::FromUtf8(line);
  std::ranges::replace_if(units, text::IsControl, u'?');
  return text::ToUtf8(units);
}

class Converter {
 public:
  Converter(const fs::path& from, const fs::path& to, bool confirm, std::ostream& report,
            std::ostream* progress)
      : from_(from), file_(to), confirm_(confirm), report_(report), progress_(progress) {}

  bool Run() {
    const auto before = State();
    FindLock();
    try {
      jet::Process process(kReadArchive, {sys::PathBytes(from_)});
      ReadTables(process);
      if (!GoOn()) {
        return false;
      }
      Fill(process);
      at_.clear();
      if (State() != before) {
        throw jet::Damaged("un altro programma l'ha cambiato durante la lettura");
      }
    } catch (const jet::Damaged& damage) {
      std::string what = "Il vecchio archivio " + NameOf(from_) + " non si può convertire";
      if (!at_.empty()) {
        what += ", tabella " + at_;
      }
      throw Failure(Plain(what + ": " + damage.what() + ". Niente è stato scritto."));
    }
    CheckCounts();
    if (!GoOn()) {
      return false;
    }
    CheckInterrupted();
    file_.Place();
    Say("Scritto l'archivio " + NameOf(file_.Name()) + ".");
    return true;
  }

 private:
  struct Rows {
    std::size_t read = 0;
    std::size_t bad = 0;
    std::string first_bad;     // why
    std::size_t with_nul = 0;  // texts
  };

  std::pair<fs::file_time_type, std::uintmax_t> State() const {
    std::error_code gone;
    return {fs::last_write_time(from_, gone), fs::file_size(from_, gone)};
  }

  // The old engine keeps a file of this name as long as anyone has the archive open. The archive
  // may then lie half written on the disk without a sign of it: nothing is converted until the user
  // says that a crash has left the file.
  void FindLock() {
    const std::u16string wanted = text::Upper(sys::PathText(from_.stem()) + u".ldb");
    std::error_code unreadable;
    for (const fs::directory_entry& entry :
         fs::directory_iterator(from_.parent_path(), unreadable)) {
      const std::string name = sys::PathBytes(entry.path().filename());
      if (text::Upper(text::FromUtf8(name)) == wanted) {
        findings_.texts.push_back("Accanto al vecchio archivio c'è " + name +
                                  ": un programma lo sta usando, o è stato interrotto mentre lo "
                                  "usava. Chiudere prima i programmi che lo usano.");
      }
    }
  }

  void Say(std::string_view line) { report_ << Plain(line) << '\n'; }

  // Reports what has been found; false where that ends the work.
  bool GoOn() {
    std::ranges::for_each(findings_.notes, [this](const std::string& text) { Say(text); });
    findings_.notes.clear();
    std::ranges::for_each(findings_.texts, [this](const std::string& text) { Say(text); });
    const bool stop = findings_.hopeless || (!findings_.texts.empty() && !confirm_);
    findings_.texts.clear();
    if (findings_.hopeless) {
      Say("Niente è stato scritto.");
    } else if (stop) {
      Say("Niente è stato scritto. Con --conferma l'archivio si converte lo stesso.");
    }
    return !stop;
  }

  // Up to where the rows begin.
  void ReadTables(jet::Process& process) {
    std::vector<jet::OldTable> tables;
    std::vector<std::string> linked;
    std::string_view message;
    for (jet::Kind kind = process.Next(message);
         kind != jet::Kind::kRows && kind != jet::Kind::kEnd; kind = process.Next(message)) {
      switch (kind) {
        case jet::Kind::kLinked:
          linked.emplace_back(message);
          Say("Tabella " + linked.back() +
              ": è collegata, le sue righe sono in un altro file e restano là.");
          break;
        case jet::Kind::kAt:
          at_ = message;
          break;
        case jet::Kind::kDoubt:
          findings_.texts.emplace_back(message);
          break;
        case jet::Kind::kTable:
          tables.push_back(jet::ReadTable(message));
          break;
        default:
          throw jet::Damaged("il lettore dà messaggi fuori posto");
      }
    }
    tables_ = jet::Plan(tables, linked, findings_);
    rows_.resize(tables.size());
  }

  void Fill(jet::Process& process) {
    OpenArchive database(file_.Growing(), sqlite::Mode::kWrite, file_.Name());
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

  // `process` has sent that the rows of the first table follow, if there is one.
  void ReadRows(jet::Process& process, sqlite::Connection& database) {
    std::uint64_t all = 0;
    for (const NewTable& table : tables_) {
      all += table.declared;
    }
    Progress shown(progress_, "Righe lette", all);
    std::size_t done = 0;
    for (std::size_t t = 0; t < rows_.size(); ++t) {
      at_ = tables_[t].name;
      sqlite::Statement insert(database, InsertText(tables_[t]));
      std::string_view message;
      jet::Kind kind = process.Next(message);
      for (; kind == jet::Kind::kRow || kind == jet::Kind::kBadRow || kind == jet::Kind::kDoubt;
           kind = process.Next(message)) {
        if (kind == jet::Kind::kDoubt) {
          findings_.texts.emplace_back(message);
          continue;
        }
        if (kind == jet::Kind::kRow) {
          ++rows_[t].read;
          for (const std::size_t column : Insert(insert, tables_[t], message)) {
            FindNul(t, column);
          }
        } else if (rows_[t].bad++ == 0) {
          rows_[t].first_bad = message;
        }
        ++done;
        shown.Show(done, done);
      }
      const bool last = t + 1 == rows_.size();
      if (kind != (last ? jet::Kind::kEnd : jet::Kind::kRows)) {
        throw jet::Damaged("il lettore dà messaggi fuori posto");
      }
    }
  }

  // The old program writes none: it is damage, or what other programs show up to there.
  void FindNul(std::size_t t, std::size_t column) {
    constexpr std::size_t kMostNamed = 20;
    if (++rows_[t].with_nul <= kMostNamed) {
      findings_.texts.push_back(tables_[t].Label() + "riga " + std::to_string(rows_[t].read) +
                                ", colonna " + tables_[t].columns[column].name +
                                ": il testo contiene un carattere nullo, forse è danneggiato.");
    } else if (rows_[t].with_nul == kMostNamed + 1) {
      findings_.texts.push_back(tables_[t].Label() + "altri testi contengono un carattere nullo.");
    }
  }

  // Where values that should be unique aren't, all rows are taken over and the index isn't unique.
  // SQLite isn't left to find out: without a journal its failure would leave half an index.
  void AddIndex(sqlite::Connection& database, const NewTable& table, NewIndex index) {
    if (index.unique) {
      const std::string columns = KeyText(table, index);
      sqlite::Statement doubles(database, "SELECT " + columns + ", count(*) FROM " +
                                              sqlite::Identifier(table.name) + " GROUP BY " +
                                              columns + " HAVING count(*) > 1");
      const int count = static_cast<int>(index.columns.size());
      while (doubles.Next()) {
        std::string values;
        bool null = false;  // Nulls don't equal each other
        for (int i = 0; i < count; ++i) {
          text::AppendItem(values, '"' + std::string(doubles.Bytes(i)) + '"');
          null |= doubles.Type(i) == sqlite::Type::kNull;
        }
        if (!null) {
          index.unique = false;
          findings_.texts.push_back(table.Label() + "lo stesso codice " + values + " in " +
                                    std::string(doubles.Bytes(count)) + " righe.");
        }
      }
    }
    database.Run(CreateText(table, index));
  }

  void CheckCounts() {
    for (std::size_t t = 0; t < rows_.size(); ++t) {
      const NewTable& table = tables_[t];
      const Rows& rows = rows_[t];
      Say(table.Label() + "righe dichiarate " + std::to_string(table.declared) + ", lette " +
          std::to_string(rows.read) + ".");
      if (rows.bad > 0) {
        findings_.texts.push_back(table.Label() + "righe illeggibili " + std::to_string(rows.bad) +
                                  "; la prima: " + rows.first_bad + ".");
      } else if (rows.read != table.declared) {
        findings_.texts.push_back(table.Label() +
                                  "le righe lette non sono quante il vecchio archivio dichiara.");
      }
    }
  }

  fs::path from_;
  NewArchiveFile file_;
  bool confirm_;
  std::ostream& report_;
  std::ostream* progress_;
  std::vector<NewTable> tables_;
  std::vector<Rows> rows_;  // of those that come from the old archive
  jet::Findings findings_;
  std::string at_;  // the table at hand
};

}  // namespace

std::vector<sys::ChildJob> ChildJobs() { return {kReadArchive}; }

bool Convert(const fs::path& from, const fs::path& to, bool confirm, std::ostream& report,
             std::ostream* progress) {
  const fs::path source = sys::ResolvePath(sys::PathText(from));
  CheckReadable(source);
  switch (sys::FindOldFormat(sys::PathText(source))) {
    case sys::OldFormat::kNone:
      throw Failure("Il file " + NameOf(source) + " non è un archivio del vecchio formato.");
    case sys::OldFormat::kLater:
      throw Failure(text::ToUtf8(sys::OldFormatAdvice(sys::PathText(source))));
    default:
      break;
  }
  return Converter(source, TargetOf(to, source), confirm, report, progress).Run();
}

}  // namespace archivio
