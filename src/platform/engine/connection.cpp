#include "platform/engine/connection.h"

#include "platform/system/files.h"
#include "platform/system/old_format.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace engine {

namespace {

ErrorNumber NumberOf(sqlite::Cause cause) {
  switch (cause) {
    case sqlite::Cause::kSyntax:
      return kSyntax;
    case sqlite::Cause::kBusy:
      return kLocked;
    case sqlite::Cause::kReadOnly:
      return kReadOnly;
    case sqlite::Cause::kMoved:
      return kMoved;
    case sqlite::Cause::kNotADatabase:
      return kNotADatabase;
    case sqlite::Cause::kFull:
      return kDiskFull;
    case sqlite::Cause::kOpen:
    case sqlite::Cause::kTooManyFiles:
    case sqlite::Cause::kTooLarge:
    case sqlite::Cause::kIo:
    case sqlite::Cause::kFolderSync:
      return kIo;
    case sqlite::Cause::kDuplicateKey:
      return kDuplicateKey;
    default:
      return kOther;
  }
}

// Runs `work`; what SQLite fails with becomes Error.
template <typename Work>
auto Translated(Work work) {
  try {
    return work();
  } catch (const sqlite::Error& error) {
    throw Error(NumberOf(error.Cause()), error.Text());
  }
}

sqlite::Connection Opened(const std::filesystem::path& path) {
  std::error_code ignored;
  if (path.empty() || !std::filesystem::exists(path, ignored)) {
    throw Error(kNotFound, u"Il file " + sys::PathText(path) + u" non esiste.");
  }
  if (const std::u16string advice = sys::OldFormatAdvice(sys::PathText(path)); !advice.empty()) {
    throw Error(kNotADatabase, advice);
  }
  return Translated([&] { return sqlite::Connection(path, sqlite::Mode::kWrite); });
}

}  // namespace

StoredValue StoredValue::Of(const Value& value) {
  return value ? StoredValue{sqlite::Type::kText, text::ToUtf8(*value)} : StoredValue{};
}

void StoredValue::Read(const sqlite::Statement& row, int column) {
  type = row.Type(column);
  bytes = type == sqlite::Type::kBlob ? row.Blob(column) : row.Bytes(column);
}

Connection::Connection(const std::filesystem::path& path) : database_(Opened(path)) {
  // Through a link the journal lies beside the file itself.
  std::error_code ignored;
  Translated([&] { Configure(std::filesystem::weakly_canonical(path, ignored)); });
}

void Connection::Configure(const std::filesystem::path& path) {
  // A rollback journal needs the folder, too.
  if (database_.ReadOnly() || !sys::CanWriteIn(path.parent_path())) {
    database_.Fail(sqlite::Cause::kReadOnly);
  }
  // SQLite reads nothing before it must; what isn't a database has to fail
  // here. It takes a file of 0 bytes for a new database.
  database_.Number("SELECT count(*) FROM sqlite_master");
  const std::int64_t pages = database_.Number("PRAGMA page_count");
  if (pages == 0) {
    database_.Fail(sqlite::Cause::kNotADatabase);
  }
  // SQLite fills up a last page that has been cut short.
  std::error_code unknown;
  const std::uintmax_t size = std::filesystem::file_size(path, unknown);
  if (!unknown &&
      size < static_cast<std::uintmax_t>(pages * database_.Number("PRAGMA page_size"))) {
    database_.Fail(sqlite::Cause::kNotADatabase);
  }
  if (database_.Text("PRAGMA journal_mode=DELETE") != "delete") {
    database_.Fail(sqlite::Cause::kBusy);
  }
  // EXTRA also synchronises the folder when the journal goes: without that, a
  // power cut after a commit could bring the journal back and undo it.
  database_.Text("PRAGMA synchronous=EXTRA");
  // Sorting never writes the recipients' data into temporary files.
  database_.Text("PRAGMA temp_store=MEMORY");
  // The recipients by code or by name lie criss-cross in the table. A file of a
  // hundred thousand is kept whole; of one that is larger a big part is no more
  // use than a small one, and slower.
  constexpr std::uintmax_t kKeptWhole = 32 << 20;
  if (!unknown && size <= kKeptWhole) {
    database_.Text("PRAGMA cache_size=-32768");
  }
}

sqlite::Statement Connection::Prepare(std::string_view sql) {
  return Translated([&] { return sqlite::Statement(database_, sql); });
}

void Connection::Bind(sqlite::Statement& statement, int parameter, const StoredValue& value) {
  Translated([&] {
    if (value.type == sqlite::Type::kNull) {
      statement.BindNull(parameter);
    } else if (value.type == sqlite::Type::kBlob) {
      statement.BindBlob(parameter, value.bytes);
    } else {
      statement.BindCopy(parameter, value.bytes);
    }
  });
}

void Connection::BindInPlace(sqlite::Statement& statement, int parameter,
                             const StoredValue& value) {
  if (value.type == sqlite::Type::kText) {
    Translated([&] { statement.Bind(parameter, value.bytes); });
  } else {
    Bind(statement, parameter, value);
  }
}

void Connection::Bind(sqlite::Statement& statement, int parameter, std::int64_t value) {
  Translated([&] { statement.Bind(parameter, value); });
}

std::vector<sqlite::Connection::Trigger> Connection::Triggers() {
  return Translated([&] { return database_.Triggers(); });
}

void Connection::CheckPlace() const {
  Translated([&] { database_.CheckPlace(); });
}

bool Connection::Step(sqlite::Statement& statement) {
  try {
    return Translated([&] { return statement.Next(); });
  } catch (...) {
    if (inside_ && !database_.InTransaction()) {
      lost_ = std::current_exception();
    }
    throw;
  }
}

void Connection::Write(sqlite::Statement& statement, const std::string& table, Rows rows) {
  if (lost_ != nullptr) {
    std::rethrow_exception(lost_);
  }
  // A statement that commits by itself would hide whether its commit failed,
  // and the number of rows with it.
  const bool alone = !inside_;
  if (alone) {
    Begin();
  }
  try {
    Translated([&] {
      try {
        statement.Next();
      } catch (const sqlite::Error& error) {
        if (error.Cause() != sqlite::Cause::kDuplicateKey) {
          throw;
        }
        throw Error(kDuplicateKey, u"Nel file " + database_.Name() + u" la tabella " +
                                       text::FromUtf8(table) +
                                       u" contiene già una riga con la stessa chiave.");
      }
    });
    const int changed = database_.Changes();
    pending_ = pending_ || changed > 0;
    if (rows == Rows::kCurrent && changed == 0) {
      FailForTable(kRowGone, table,
                   u"la riga corrente è stata cancellata. Non è stato cambiato nulla");
    }
    if (rows != Rows::kAny && changed != 1) {
      FailForTable(kNotOneRow, table,
                   u"la scrittura di una riga ne avrebbe cambiate " + text::Decimal(changed) +
                       u". Non è stato cambiato nulla");
    }
  } catch (...) {
    Rollback();
    throw;
  }
  if (alone) {
    Commit();
  }
}

void Connection::FailForTable(int number, const std::string& table, std::u16string_view what) {
  throw Error(number, u"Tabella " + text::FromUtf8(table) + u" del file " + database_.Name() +
                          u": " + std::u16string(what) + u".");
}

void Connection::Begin() {
  lost_ = nullptr;
  try {
    Translated([&] { database_.Run("BEGIN IMMEDIATE"); });
    inside_ = true;
  } catch (...) {
    Rollback();
    throw;
  }
}

// The commit is done with the removal of the journal. When that has succeeded
// and only the folder can't be synchronised after it, the change stands and
// everyone sees it: to report a failure would be wrong. What remains is that a
// power cut right then could bring the journal back and undo the whole change.
void Connection::Commit() {
  if (lost_ != nullptr) {
    std::rethrow_exception(lost_);
  }
  try {
    Translated([&] {
      try {
        database_.Run("COMMIT");
      } catch (const sqlite::Error& error) {
        if (error.Cause() != sqlite::Cause::kFolderSync) {
          throw;
        }
      }
    });
    inside_ = false;
    written_ = written_ || pending_;
    pending_ = false;
  } catch (...) {
    Rollback();
    throw;
  }
}

void Connection::Rollback() noexcept {
  lost_ = nullptr;
  inside_ = false;
  pending_ = false;
  database_.Rollback();
}

void Connection::CopyTo(const std::filesystem::path& to, const std::filesystem::path& name) {
  Translated([&] {
    sqlite::Connection copy(to, sqlite::Mode::kWrite, name);
    database_.CopyTo(copy, [](int, int) {});
    copy.Run("PRAGMA temp_store = MEMORY");
    if (!copy.Damages().empty()) {
      database_.Fail(sqlite::Cause::kNotADatabase);
    }
  });
}

std::string Connection::FindTable(std::string_view name) {
  if (!find_table_) {
    find_table_ =
        Prepare("SELECT name FROM sqlite_master WHERE type = 'table' AND name = ?1 COLLATE NOCASE");
  }
  find_table_.Bind(1, name);
  if (!Step(find_table_)) {
    throw Error(kNoTable, u"Nel file " + database_.Name() + u" manca la tabella " +
                              text::FromUtf8(name) + u".");
  }
  std::string found(find_table_.Bytes(0));
  find_table_.Reset();
  return found;
}

bool Connection::IsKey(const std::string& table, const std::string& column) {
  return text::Upper(text::FromUtf8(database_.Collation(table, column))) == u"RTRIM";
}

std::optional<IndexColumn> Connection::FindIndex(const std::string& table, std::string_view name) {
  if (!find_index_) {
    find_index_ = Prepare(
        "SELECT l.name, i.name, "
        "l.\"unique\" AND (SELECT count(*) FROM pragma_index_info(l.name)) = 1 "
        "FROM pragma_index_list(?1) AS l, pragma_index_info(l.name) AS i "
        "WHERE l.name = ?2 COLLATE NOCASE AND NOT l.partial AND i.seqno = 0 "
        "AND i.name IS NOT NULL");
  }
  const std::string full = table + '.' + std::string(name);
  find_index_.Bind(1, table).Bind(2, full);
  if (!Step(find_index_)) {
    return std::nullopt;
  }
  IndexColumn found = {std::string(find_index_.Bytes(0)), std::string(find_index_.Bytes(1)),
                       find_index_.Number(2) != 0};
  find_index_.Reset();
  return found;
}

}  // namespace engine
