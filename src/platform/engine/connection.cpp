#include "platform/engine/connection.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <new>

#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace engine {

namespace {

constexpr int kLockWaitMilliseconds = 5000;
constexpr int kPrimaryCode = 0xFF;

int Length(std::string_view s) {
  if (s.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    throw std::bad_alloc();
  }
  return static_cast<int>(s.size());
}

std::u16string InParentheses(const char* message) {
  return u" (" + text::FromUtf8(message) + u").";
}

}  // namespace

StoredValue StoredValue::Of(const Value& value) {
  return value ? StoredValue{SQLITE_TEXT, text::ToUtf8(*value)} : StoredValue{};
}

void StoredValue::Read(sqlite3_stmt* row, int column) {
  type = sqlite3_column_type(row, column);
  const auto* data = static_cast<const char*>(
      type == SQLITE_BLOB ? sqlite3_column_blob(row, column)
                          : static_cast<const void*>(sqlite3_column_text(row, column)));
  bytes.assign(data != nullptr ? data : "",
               static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
}

std::string Identifier(std::string_view name) {
  std::string out = "\"";
  for (const char c : name) {
    out.append(c == '"' ? 2 : 1, c);
  }
  return out += '"';
}

Connection::Connection(const std::filesystem::path& path) : file_(sys::PathText(path)) {
  std::error_code ignored;
  if (path.empty() || !std::filesystem::exists(path, ignored)) {
    throw Error(kNotFound, u"Il file " + file_ + u" non esiste.");
  }
  // Nobody asks how much memory SQLite uses; keeping count costs two locks an
  // allocation. Refused, without harm, where SQLite is in use already.
  [[maybe_unused]] static const int uncounted = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  // An absolute path begins with the separator, so that SQLite never takes it
  // for a URI or for the name of a database in memory.
  const std::filesystem::path absolute = std::filesystem::absolute(path);
  sqlite3* handle = nullptr;
  const int code = sqlite3_open_v2(absolute.c_str(), &handle,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  handle_.reset(handle);
  if (code != SQLITE_OK) {
    Fail(code);
  }
  Configure(absolute);
}

void Connection::Configure(const std::filesystem::path& path) {
  sqlite3* const db = handle_.get();
  sqlite3_extended_result_codes(db, 1);
  sqlite3_busy_timeout(db, kLockWaitMilliseconds);
  // A name in double quotes is a name and nothing else, and a file from
  // elsewhere can't make its views and triggers run functions.
  sqlite3_db_config(db, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
  sqlite3_db_config(db, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
  sqlite3_db_config(db, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);

  // A rollback journal needs the folder, too.
  const bool folder_writable =
      faccessat(AT_FDCWD, path.parent_path().c_str(), W_OK | X_OK, AT_EACCESS) == 0;
  if (sqlite3_db_readonly(db, "main") != 0 || !folder_writable) {
    Fail(SQLITE_READONLY);
  }
  // SQLite reads nothing before it must; what isn't a database has to fail
  // here. It takes a file of 0 bytes for a new database.
  Number("SELECT count(*) FROM sqlite_master");
  const std::int64_t pages = Number("PRAGMA page_count");
  if (pages == 0) {
    Fail(SQLITE_NOTADB);
  }
  // SQLite fills up a last page that has been cut short.
  std::error_code unknown;
  const std::uintmax_t size = std::filesystem::file_size(path, unknown);
  if (!unknown && size < static_cast<std::uintmax_t>(pages * Number("PRAGMA page_size"))) {
    Fail(SQLITE_CORRUPT);
  }
  if (Text("PRAGMA journal_mode=DELETE") != "delete") {
    Fail(SQLITE_BUSY);
  }
  // EXTRA also synchronises the folder when the journal goes: without that, a
  // power cut behind a commit could bring the journal back and undo it.
  Text("PRAGMA synchronous=EXTRA");
  // Sorting never writes the recipients' data into temporary files.
  Text("PRAGMA temp_store=MEMORY");
  // The recipients by code or by name lie criss-cross in the table. A file of a
  // hundred thousand is kept whole; of one that is larger a big part is no more
  // use than a small one, and slower.
  constexpr std::uintmax_t kKeptWhole = 32 << 20;
  if (!unknown && size <= kKeptWhole) {
    Text("PRAGMA cache_size=-32768");
  }
}

StatementPtr Connection::Prepare(std::string_view sql) {
  sqlite3_stmt* statement = nullptr;
  const char* tail = nullptr;
  const int code = sqlite3_prepare_v3(handle_.get(), sql.data(), Length(sql),
                                      SQLITE_PREPARE_PERSISTENT, &statement, &tail);
  StatementPtr owned(statement);
  if (code == SQLITE_ERROR) {
    throw Error(kSyntax, u"Comando non valido sul file " + file_ +
                             InParentheses(sqlite3_errmsg(handle_.get())));
  }
  if (code != SQLITE_OK) {
    Fail(code);
  }
  const std::string_view rest(tail, static_cast<std::size_t>(sql.data() + sql.size() - tail));
  if (owned == nullptr || rest.find_first_not_of(" \t\r\n") != rest.npos) {
    throw Error(kSyntax, u"Comando non valido sul file " + file_ + u".");
  }
  return owned;
}

void Connection::Bind(sqlite3_stmt* statement, int parameter, const StoredValue& value,
                      sqlite3_destructor_type lifetime) {
  int code = SQLITE_OK;
  if (value.type == SQLITE_NULL) {
    code = sqlite3_bind_null(statement, parameter);
  } else if (value.type == SQLITE_BLOB) {
    code =
        sqlite3_bind_blob64(statement, parameter, value.bytes.data(), value.bytes.size(), lifetime);
  } else {
    code = sqlite3_bind_text64(statement, parameter, value.bytes.data(), value.bytes.size(),
                               lifetime, SQLITE_UTF8);
  }
  if (code != SQLITE_OK) {
    Fail(code);
  }
}

void Connection::Bind(sqlite3_stmt* statement, int parameter, std::int64_t value) {
  if (const int code = sqlite3_bind_int64(statement, parameter, value); code != SQLITE_OK) {
    Fail(code);
  }
}

bool Connection::Step(sqlite3_stmt* statement) {
  const bool inside = sqlite3_get_autocommit(handle_.get()) == 0;
  const int code = sqlite3_step(statement);
  if (code == SQLITE_ROW) {
    return true;
  }
  sqlite3_reset(statement);
  if (code == SQLITE_DONE) {
    return false;
  }
  try {
    Fail(code);
  } catch (...) {
    if (inside && sqlite3_get_autocommit(handle_.get()) != 0) {
      lost_ = std::current_exception();
    }
    throw;
  }
}

int Connection::Write(sqlite3_stmt* statement, std::string_view table) {
  if (lost_ != nullptr) {
    std::rethrow_exception(lost_);
  }
  // A statement that commits by itself would hide whether its commit failed,
  // and the number of rows with it.
  const bool alone = sqlite3_get_autocommit(handle_.get()) != 0;
  if (alone) {
    Begin();
  }
  const int code = sqlite3_step(statement);
  const int changed = sqlite3_changes(handle_.get());
  sqlite3_reset(statement);
  if (code != SQLITE_DONE) {
    FailAndRollback(code, table);
  }
  if (alone) {
    Commit();
  }
  return changed;
}

void Connection::Begin() {
  lost_ = nullptr;
  if (const int code = Exec("BEGIN IMMEDIATE"); code != SQLITE_OK) {
    FailAndRollback(code);
  }
}

// The commit is done with the removal of the journal. When that has succeeded
// and only the folder can't be synchronised behind it, the change stands and
// everyone sees it: to report a failure would be wrong. What remains is that a
// power cut right then could bring the journal back and undo the whole change.
void Connection::Commit() {
  if (lost_ != nullptr) {
    std::rethrow_exception(lost_);
  }
  const int code = Exec("COMMIT");
  if (code != SQLITE_OK && code != SQLITE_IOERR_DIR_FSYNC) {
    FailAndRollback(code);
  }
}

int Connection::Exec(const char* sql) {
  return sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr);
}

void Connection::Rollback() noexcept {
  lost_ = nullptr;
  if (sqlite3_get_autocommit(handle_.get()) == 0) {
    sqlite3_exec(handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

std::string Connection::FindTable(std::string_view name) {
  if (find_table_ == nullptr) {
    find_table_ =
        Prepare("SELECT name FROM sqlite_master WHERE type = 'table' AND name = ?1 COLLATE NOCASE");
  }
  sqlite3_stmt* const find = find_table_.get();
  Bind(find, 1, StoredValue{SQLITE_TEXT, std::string(name)});
  if (!Step(find)) {
    throw Error(kNoTable,
                u"Nel file " + file_ + u" manca la tabella " + text::FromUtf8(name) + u".");
  }
  StoredValue found;
  found.Read(find, 0);
  sqlite3_reset(find);
  return found.bytes;
}

std::optional<IndexColumn> Connection::FindIndex(const std::string& table, std::string_view name) {
  if (find_index_ == nullptr) {
    find_index_ = Prepare(
        "SELECT l.name, i.name, "
        "l.\"unique\" AND (SELECT count(*) FROM pragma_index_info(l.name)) = 1 "
        "FROM pragma_index_list(?1) AS l, pragma_index_info(l.name) AS i "
        "WHERE l.name = ?2 COLLATE NOCASE AND NOT l.partial AND i.seqno = 0 "
        "AND i.name IS NOT NULL");
  }
  sqlite3_stmt* const find = find_index_.get();
  Bind(find, 1, StoredValue{SQLITE_TEXT, table});
  Bind(find, 2, StoredValue{SQLITE_TEXT, table + '.' + std::string(name)});
  if (!Step(find)) {
    return std::nullopt;
  }
  StoredValue index;
  StoredValue column;
  index.Read(find, 0);
  column.Read(find, 1);
  const bool unique = sqlite3_column_int(find, 2) != 0;
  sqlite3_reset(find);
  return IndexColumn{index.bytes, column.bytes, unique};
}

std::int64_t Connection::Number(std::string_view sql) {
  const StatementPtr statement = Prepare(sql);
  return Step(statement.get()) ? sqlite3_column_int64(statement.get(), 0) : 0;
}

std::string Connection::Text(std::string_view sql) {
  const StatementPtr statement = Prepare(sql);
  StoredValue answer;
  if (Step(statement.get())) {
    answer.Read(statement.get(), 0);
  }
  return answer.bytes;
}

// The cause is read first: the rollback would wipe it.
void Connection::FailAndRollback(int code, std::string_view table) {
  try {
    Fail(code, table);
  } catch (...) {
    Rollback();
    throw;
  }
}

void Connection::Fail(int code, std::string_view table) {
  const int system_error = handle_ != nullptr ? sqlite3_system_errno(handle_.get()) : 0;
  switch (code & kPrimaryCode) {
    case SQLITE_NOMEM:
      throw std::bad_alloc();
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      throw Error(kLocked,
                  u"Il file " + file_ + u" è occupato da un altro programma. Riprovare tra poco.");
    case SQLITE_READONLY:
      throw Error(kReadOnly, u"Il file " + file_ +
                                 u" non può essere scritto: il disco è in sola lettura, oppure "
                                 u"mancano i permessi sul file o sulla sua cartella.");
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
      throw Error(kNotADatabase, u"Il file " + file_ + u" non è un database oppure è danneggiato.");
    case SQLITE_FULL:
      throw Error(kDiskFull, u"Disco pieno: impossibile scrivere nel file " + file_ + u".");
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
      if (code == SQLITE_IOERR_NOMEM) {
        throw std::bad_alloc();
      }
      if (system_error == ENOSPC || system_error == EDQUOT) {
        Fail(SQLITE_FULL);
      }
      if (system_error == EROFS) {
        Fail(SQLITE_READONLY);
      }
      throw Error(
          kIo, ((code & kPrimaryCode) == SQLITE_IOERR ? u"Errore di lettura o scrittura sul file "
                                                      : u"Impossibile aprire il file ") +
                   file_ + u" (codice " + text::Decimal(code) + u").");
    case SQLITE_PERM:
      Fail(SQLITE_READONLY);
    case SQLITE_CONSTRAINT:
      if (code == SQLITE_CONSTRAINT_UNIQUE || code == SQLITE_CONSTRAINT_PRIMARYKEY ||
          code == SQLITE_CONSTRAINT_ROWID) {
        throw Error(kDuplicateKey, u"Nel file " + file_ + u" la tabella " + text::FromUtf8(table) +
                                       u" contiene già una riga con la stessa chiave.");
      }
      break;
    default:
      break;
  }
  throw Error(kOther, u"Operazione non riuscita sul file " + file_ +
                          InParentheses(sqlite3_errmsg(handle_.get())));
}

}  // namespace engine
