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
  if (Number("PRAGMA page_count") == 0) {
    Fail(SQLITE_NOTADB);
  }
  if (Text("PRAGMA journal_mode=DELETE") != "delete") {
    Fail(SQLITE_BUSY);
  }
  // EXTRA also synchronises the folder when the journal goes: without that, a
  // power cut behind a commit could bring the journal back and undo it.
  Text("PRAGMA synchronous=EXTRA");
  // Sorting never writes the recipients' data into temporary files.
  Text("PRAGMA temp_store=MEMORY");
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

void Connection::Bind(sqlite3_stmt* statement, int parameter, const StoredValue& value) {
  int code = SQLITE_OK;
  if (value.type == SQLITE_NULL) {
    code = sqlite3_bind_null(statement, parameter);
  } else if (value.type == SQLITE_BLOB) {
    code = sqlite3_bind_blob64(statement, parameter, value.bytes.data(), value.bytes.size(),
                               SQLITE_TRANSIENT);
  } else {
    code = sqlite3_bind_text64(statement, parameter, value.bytes.data(), value.bytes.size(),
                               SQLITE_TRANSIENT, SQLITE_UTF8);
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
  const int code = sqlite3_step(statement);
  if (code == SQLITE_ROW) {
    return true;
  }
  sqlite3_reset(statement);
  if (code != SQLITE_DONE) {
    Fail(code);
  }
  return false;
}

int Connection::Write(sqlite3_stmt* statement, std::string_view table) {
  const int code = sqlite3_step(statement);
  const int changed = sqlite3_changes(handle_.get());
  sqlite3_reset(statement);
  if (code == SQLITE_DONE) {
    return changed;
  }
  Rollback();
  Fail(code, table);
}

void Connection::Run(const char* sql) {
  const int code = sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) {
    Rollback();
    Fail(code);
  }
}

void Connection::Rollback() noexcept {
  if (sqlite3_get_autocommit(handle_.get()) == 0) {
    sqlite3_exec(handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

std::string Connection::FindTable(std::string_view name) {
  const StatementPtr find =
      Prepare("SELECT name FROM sqlite_master WHERE type = 'table' AND name = ?1 COLLATE NOCASE");
  Bind(find.get(), 1, StoredValue{SQLITE_TEXT, std::string(name)});
  if (!Step(find.get())) {
    throw Error(kNoTable,
                u"Nel file " + file_ + u" manca la tabella " + text::FromUtf8(name) + u".");
  }
  StoredValue found;
  found.Read(find.get(), 0);
  return found.bytes;
}

std::optional<IndexColumn> Connection::FindIndex(const std::string& table, std::string_view name) {
  const StatementPtr find = Prepare(
      "SELECT l.name, i.name FROM pragma_index_list(?1) AS l, pragma_index_info(l.name) AS i "
      "WHERE l.name = ?2 COLLATE NOCASE AND NOT l.partial AND i.name IS NOT NULL "
      "AND (SELECT count(*) FROM pragma_index_info(l.name)) = 1");
  Bind(find.get(), 1, StoredValue{SQLITE_TEXT, table});
  Bind(find.get(), 2, StoredValue{SQLITE_TEXT, table + '.' + std::string(name)});
  if (!Step(find.get())) {
    return std::nullopt;
  }
  StoredValue index;
  StoredValue column;
  index.Read(find.get(), 0);
  column.Read(find.get(), 1);
  return IndexColumn{index.bytes, column.bytes};
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
                                 u" non può essere scritto: mancano i permessi sul file o sulla "
                                 u"sua cartella.");
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
      throw Error(kNotADatabase, u"Il file " + file_ + u" non è un database oppure è danneggiato.");
    case SQLITE_FULL:
      throw Error(kDiskFull, u"Disco pieno: impossibile scrivere nel file " + file_ + u".");
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
      throw Error(kIo,
                  u"Impossibile aprire il file " + file_ + InParentheses(sqlite3_errstr(code)));
    case SQLITE_IOERR:
      if (code == SQLITE_IOERR_NOMEM) {
        throw std::bad_alloc();
      }
      if (system_error == ENOSPC || system_error == EDQUOT) {
        Fail(SQLITE_FULL);
      }
      throw Error(kIo, u"Errore di lettura o scrittura sul file " + file_ +
                           InParentheses(sqlite3_errstr(code)));
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
