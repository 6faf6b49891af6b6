#include "archivio/sqlite.h"

#include "archivio/archivio.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

namespace {

constexpr int kWaitMilliseconds = 5000;

std::string Cause(sqlite3* handle) {
  if (sqlite3_extended_errcode(handle) == SQLITE_READONLY_ROLLBACK) {
    return "una scrittura interrotta va prima annullata; lo fa il programma quando apre il file";
  }
  switch (sqlite3_errcode(handle)) {
    case SQLITE_BUSY:
      return "il file è in uso da un altro programma";
    case SQLITE_CANTOPEN:
      return "il file non si apre";
    case SQLITE_CONSTRAINT:
      return std::string("l'archivio non ammette questi valori (") + sqlite3_errmsg(handle) + ")";
    case SQLITE_CORRUPT:
      return "il file è danneggiato";
    case SQLITE_FULL:
      return "lo spazio su disco è esaurito";
    case SQLITE_IOERR:
      return "errore del disco durante la lettura o la scrittura";
    case SQLITE_NOMEM:
      return "la memoria è esaurita";
    case SQLITE_NOTADB:
      return "il file non è un archivio";
    case SQLITE_READONLY:
      return "il file è in sola lettura";
    default:
      return sqlite3_errmsg(handle);
  }
}

}  // namespace

Sqlite::Sqlite(const std::filesystem::path& file, Mode mode, const std::filesystem::path& name)
    : name_(name) {
  sqlite3* handle = nullptr;
  const int flags = mode == Mode::kRead ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
  // Names that don't begin with a slash may mean something else to SQLite.
  const std::filesystem::path absolute = std::filesystem::absolute(file);
  const int result = sqlite3_open_v2(absolute.c_str(), &handle, flags, nullptr);
  handle_.reset(handle);
  if (result != SQLITE_OK) {
    Fail();
  }
  sqlite3_busy_timeout(handle, kWaitMilliseconds);
  // A file from elsewhere can't make its triggers run functions.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
}

void Sqlite::Run(const std::string& sql) {
  if (sqlite3_exec(handle_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    Fail();
  }
}

void Sqlite::Fail() const {
  throw Failure("Archivio " + text::ToUtf8(sys::PathText(name_)) + ": " + Cause(handle_.get()) +
                ".");
}

std::vector<std::string> Sqlite::Damages() const {
  std::vector<std::string> damages;
  Statement check(*this, "PRAGMA integrity_check");
  while (check.Next()) {
    if (std::string damage = check.Text(0); damage != "ok") {
      damages.push_back(std::move(damage));
    }
  }
  return damages;
}

std::vector<std::string> Sqlite::Columns(std::string_view table) const {
  std::vector<std::string> columns;
  Statement query(*this,
                  "SELECT c.name FROM sqlite_schema AS t, pragma_table_info(t.name) AS c "
                  "WHERE t.type = 'table' AND t.name = ? COLLATE NOCASE ORDER BY c.cid");
  query.Bind(1, table);
  while (query.Next()) {
    columns.push_back(query.Text(0));
  }
  return columns;
}

Statement::Statement(const Sqlite& database, std::string_view sql) : database_(database) {
  sqlite3_stmt* handle = nullptr;
  if (sqlite3_prepare_v2(database.Handle(), sql.data(), static_cast<int>(sql.size()), &handle,
                         nullptr) != SQLITE_OK) {
    database.Fail();
  }
  handle_.reset(handle);
}

Statement& Statement::Bind(int parameter, std::string_view text) {
  // A view without bytes may point nowhere, which would bind Null.
  const char* const bytes = text.empty() ? "" : text.data();
  if (sqlite3_bind_text64(handle_.get(), parameter, bytes, text.size(), SQLITE_STATIC,
                          SQLITE_UTF8) != SQLITE_OK) {
    database_.Fail();
  }
  return *this;
}

Statement& Statement::Bind(int parameter, std::int64_t number) {
  if (sqlite3_bind_int64(handle_.get(), parameter, number) != SQLITE_OK) {
    database_.Fail();
  }
  return *this;
}

Statement& Statement::BindCopy(int parameter, std::string_view text) {
  if (sqlite3_bind_text64(handle_.get(), parameter, text.data(), text.size(), SQLITE_TRANSIENT,
                          SQLITE_UTF8) != SQLITE_OK) {
    database_.Fail();
  }
  return *this;
}

Statement& Statement::BindReal(int parameter, double number) {
  if (sqlite3_bind_double(handle_.get(), parameter, number) != SQLITE_OK) {
    database_.Fail();
  }
  return *this;
}

Statement& Statement::BindBlob(int parameter, std::string_view bytes) {
  if (sqlite3_bind_blob64(handle_.get(), parameter, bytes.data(), bytes.size(), SQLITE_STATIC) !=
      SQLITE_OK) {
    database_.Fail();
  }
  return *this;
}

Statement& Statement::BindNull(int parameter) {
  if (sqlite3_bind_null(handle_.get(), parameter) != SQLITE_OK) {
    database_.Fail();
  }
  return *this;
}

bool Statement::Next() {
  switch (sqlite3_step(handle_.get())) {
    case SQLITE_ROW:
      return true;
    case SQLITE_DONE:
      sqlite3_reset(handle_.get());
      return false;
    default:
      database_.Fail();
  }
}

std::string_view Statement::Bytes(int column) const {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(handle_.get(), column));
  return bytes == nullptr
             ? std::string_view()
             : std::string_view(
                   bytes, static_cast<std::size_t>(sqlite3_column_bytes(handle_.get(), column)));
}

std::string Name(std::string_view name) {
  std::string quoted = "\"";
  for (const char c : name) {
    quoted.append(c == '"' ? 2 : 1, c);
  }
  return quoted + '"';
}

}  // namespace archivio
