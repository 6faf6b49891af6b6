#include "platform/sqlite/sqlite.h"

#include <sqlite3.h>

#include <limits>
#include <new>
#include <system_error>

#include "platform/system/errors.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace sqlite {

namespace {

constexpr int kLockWaitMilliseconds = 5000;
constexpr int kPagesAtOnce = 1000;
constexpr int kPrimaryCode = 0xFF;

int Length(std::string_view s) {
  if (s.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    throw std::bad_alloc();
  }
  return static_cast<int>(s.size());
}

// A view without bytes may point nowhere, which would bind Null.
const char* Data(std::string_view s) { return s.empty() ? "" : s.data(); }

Cause CauseOf(int code, const std::error_code& system_error) {
  switch (code & kPrimaryCode) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return Cause::kBusy;
    case SQLITE_READONLY:
    case SQLITE_PERM:
      if (code == SQLITE_READONLY_DBMOVED) {
        return Cause::kMoved;
      }
      return Cause::kReadOnly;
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
      return Cause::kNotADatabase;
    case SQLITE_FULL:
      return Cause::kFull;
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
      if (code == SQLITE_IOERR_DIR_FSYNC) {
        return Cause::kFolderSync;
      }
      if (system_error == std::errc::no_space_on_device || sys::IsOverQuota(system_error)) {
        return Cause::kFull;
      }
      if (system_error == std::errc::read_only_file_system) {
        return Cause::kReadOnly;
      }
      if (system_error == std::errc::too_many_files_open ||
          system_error == std::errc::too_many_files_open_in_system) {
        return Cause::kTooManyFiles;
      }
      if (system_error == std::errc::file_too_large) {
        return Cause::kTooLarge;
      }
      if ((code & kPrimaryCode) == SQLITE_CANTOPEN) {
        return Cause::kOpen;
      }
      return Cause::kIo;
    case SQLITE_CONSTRAINT:
      if (code == SQLITE_CONSTRAINT_UNIQUE || code == SQLITE_CONSTRAINT_PRIMARYKEY ||
          code == SQLITE_CONSTRAINT_ROWID) {
        return Cause::kDuplicateKey;
      }
      return Cause::kOther;
    case SQLITE_INTERRUPT:
      return Cause::kInterrupted;
    default:
      return Cause::kOther;
  }
}

std::u16string TextOf(Cause cause, const std::u16string& file, int code, const char* message) {
  const std::u16string in_parentheses = u" (" + text::FromUtf8(message) + u").";
  switch (cause) {
    case Cause::kSyntax:
      return u"Comando non valido sul file " + file + in_parentheses;
    case Cause::kBusy:
      return u"Il file " + file + u" è occupato da un altro programma. Riprovare tra poco.";
    case Cause::kReadOnly:
      if (code == SQLITE_READONLY_ROLLBACK) {
        return u"Nel file " + file +
               u" una scrittura è stata interrotta e va prima annullata. Lo fanno il programma "
               u"quando apre il file, e anagparc-archivio copia.";
      }
      return u"Il file " + file +
             u" non può essere scritto: il disco è in sola lettura, oppure mancano i permessi sul "
             u"file o sulla sua cartella.";
    case Cause::kMoved:
      return u"Il file " + file +
             u" è stato spostato, sostituito o cancellato dopo che è stato aperto, oppure il suo "
             u"disco non è più collegato. Rimetterlo al suo posto; se un altro file deve restare "
             u"al suo posto, annotare i dati non registrati, chiudere il programma e riaprirlo.";
    case Cause::kNotADatabase:
      return u"Il file " + file + u" non è un database oppure è danneggiato.";
    case Cause::kFull:
      return u"Disco pieno: impossibile scrivere nel file " + file + u", sul disco " +
             sys::PathText(sys::DiskOf(sys::PathOf(text::ToUtf8(file)))) + u".";
    case Cause::kOpen:
      return u"Impossibile aprire il file " + file + u" (codice " + text::Decimal(code) + u").";
    case Cause::kTooManyFiles:
      return u"Impossibile aprire il file " + file +
             u" o quelli che servono per scriverlo: troppi file aperti. Chiudere qualche altro "
             u"programma.";
    case Cause::kTooLarge:
      return u"Il file " + file +
             u" non può crescere: supera la dimensione consentita a questo utente o a questo "
             u"disco.";
    case Cause::kIo:
    case Cause::kFolderSync:
      return u"Errore di lettura o scrittura sul file " + file + u" (codice " +
             text::Decimal(code) + u").";
    case Cause::kDuplicateKey:
      return u"Il file " + file + u" contiene già una riga con la stessa chiave.";
    case Cause::kInterrupted:
      return u"Operazione interrotta sul file " + file + u".";
    case Cause::kOther:
      break;
  }
  return u"Operazione non riuscita sul file " + file + in_parentheses;
}

// SQLite would wait for a pipe's other end, also where its own side files should be.
void RefuseOddFiles(const std::filesystem::path& file) {
  using std::filesystem::file_type;
  std::error_code missing, ignored;
  std::filesystem::path real = std::filesystem::canonical(file, missing);
  if (missing) {
    real = file;
  }
  for (const char* const side : {"", "-journal", "-wal", "-shm"}) {
    const std::filesystem::path name = sys::Beside(real, side);
    const file_type type = std::filesystem::status(name, ignored).type();
    std::u16string odd;
    if (type == file_type::directory) {
      odd = u"una cartella";
    } else if (type == file_type::block || type == file_type::character ||
               type == file_type::fifo || type == file_type::socket) {
      odd = u"una pipe o un dispositivo";
    }
    if (!odd.empty()) {
      throw Error(Cause::kOpen, u"Impossibile aprire il file " + sys::PathText(name) + u": è " +
                                    odd + u", non un file.");
    }
  }
}

}  // namespace

void Connection::Close::operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }

Connection::Connection(const std::filesystem::path& file, Mode mode,
                       const std::filesystem::path& name)
    : name_(sys::PathText(name)) {
  // Nobody asks how much memory SQLite uses; keeping count costs two locks an
  // allocation. Refused, without harm, where SQLite is in use already.
  [[maybe_unused]] static const int uncounted = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  // An absolute path begins with the separator, so that SQLite never takes it
  // for a URI or for the name of a database in memory.
  const std::filesystem::path absolute = std::filesystem::absolute(file);
  RefuseOddFiles(absolute);
  const int access = mode == Mode::kRead ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
  sqlite3* handle = nullptr;
  const int code = sqlite3_open_v2(sys::PathBytes(absolute).c_str(), &handle,
                                   access | SQLITE_OPEN_NOMUTEX, nullptr);
  handle_.reset(handle);
  if (code != SQLITE_OK) {
    Fail(code);
  }
  sqlite3_extended_result_codes(handle, 1);
  sqlite3_busy_timeout(handle, kLockWaitMilliseconds);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
}

void Connection::SetWatch(std::function<bool()> goes_on) {
  constexpr int kInstructions = 10'000;
  goes_on_ = std::move(goes_on);
  sqlite3_progress_handler(
      handle_.get(), kInstructions,
      [](void* watch) {
        return static_cast<int>(!(*static_cast<std::function<bool()>*>(watch))());
      },
      &goes_on_);
  sqlite3_busy_handler(
      handle_.get(),
      [](void* watch, int waits) {
        constexpr int kPause = 25, kShortPause = 2, kShortPauses = 5;
        if (waits * kPause >= kLockWaitMilliseconds ||
            !(*static_cast<std::function<bool()>*>(watch))()) {
          return 0;
        }
        sqlite3_sleep(waits < kShortPauses ? kShortPause : kPause);
        return 1;
      },
      &goes_on_);
}

void Connection::Run(std::string_view sql) {
  while (!sql.empty()) {
    Statement statement = Statement::First(*this, sql);
    while (statement && statement.Next()) {
    }
  }
}

std::int64_t Connection::Number(std::string_view sql) {
  Statement statement(*this, sql);
  if (!statement.Next()) {
    return 0;
  }
  return statement.Number(0);
}

std::string Connection::Text(std::string_view sql) {
  Statement statement(*this, sql);
  if (!statement.Next()) {
    return {};
  }
  return std::string(statement.Bytes(0));
}

bool Connection::ReadOnly() const { return sqlite3_db_readonly(handle_.get(), "main") != 0; }

bool Connection::InTransaction() const { return sqlite3_get_autocommit(handle_.get()) == 0; }

int Connection::Changes() const { return sqlite3_changes(handle_.get()); }

void Connection::Rollback() noexcept {
  if (InTransaction()) {
    sqlite3_exec(handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

std::vector<std::string> Connection::Columns(std::string_view table) {
  std::vector<std::string> columns;
  Statement query(*this,
                  "SELECT c.name FROM sqlite_schema AS t, pragma_table_info(t.name) AS c "
                  "WHERE t.type = 'table' AND t.name = ? COLLATE NOCASE ORDER BY c.cid");
  query.Bind(1, table);
  while (query.Next()) {
    columns.emplace_back(query.Bytes(0));
  }
  return columns;
}

std::string Connection::RowNumber(const std::string& table, const Statement& all) const {
  for (const char* const name : {"rowid", "oid", "_rowid_"}) {
    bool hidden = false;
    for (int column = 0; column < all.ColumnCount(); ++column) {
      hidden |= sqlite3_stricmp(std::string(all.ColumnName(column)).c_str(), name) == 0;
    }
    if (!hidden &&
        sqlite3_table_column_metadata(handle_.get(), nullptr, table.c_str(), name, nullptr, nullptr,
                                      nullptr, nullptr, nullptr) == SQLITE_OK) {
      return name;
    }
  }
  return {};
}

std::string Connection::Collation(const std::string& table, const std::string& column) {
  const char* collation = nullptr;
  if (const int code =
          sqlite3_table_column_metadata(handle_.get(), nullptr, table.c_str(), column.c_str(),
                                        nullptr, &collation, nullptr, nullptr, nullptr);
      code != SQLITE_OK) {
    Fail(code);
  }
  return collation;
}

std::vector<Connection::Trigger> Connection::Triggers() {
  std::vector<Trigger> triggers;
  Statement query(*this,
                  "SELECT name, tbl_name FROM sqlite_schema WHERE type = 'trigger' ORDER BY "
                  "tbl_name COLLATE NOCASE, name COLLATE NOCASE");
  while (query.Next()) {
    triggers.push_back({std::string(query.Bytes(0)), std::string(query.Bytes(1))});
  }
  return triggers;
}

std::vector<std::string> Connection::Damages() {
  std::vector<std::string> damages;
  Statement check(*this, "PRAGMA integrity_check");
  while (check.Next()) {
    if (check.Bytes(0) != "ok") {
      damages.emplace_back(check.Bytes(0));
    }
  }
  return damages;
}

void Connection::CopyTo(Connection& to, const std::function<void(int, int)>& report) {
  to.Run("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE");
  Run("BEGIN");  // all pages of one moment, which begins with the first look
  try {
    Number("SELECT count(*) FROM sqlite_schema");
  } catch (...) {
    Rollback();
    throw;
  }
  sqlite3_backup* const backup =
      sqlite3_backup_init(to.handle_.get(), "main", handle_.get(), "main");
  if (backup == nullptr) {
    Rollback();
    to.Fail(sqlite3_extended_errcode(to.handle_.get()));
  }
  try {
    while (sqlite3_backup_step(backup, kPagesAtOnce) == SQLITE_OK) {
      const int all = sqlite3_backup_pagecount(backup);
      report(all - sqlite3_backup_remaining(backup), all);
    }
  } catch (...) {
    sqlite3_backup_finish(backup);
    Rollback();
    throw;
  }
  const int code = sqlite3_backup_finish(backup);
  Rollback();
  if (code == SQLITE_IOERR_READ) {
    Fail(code);
  }
  if (code != SQLITE_OK) {
    to.Fail(code);
  }
  to.Run("PRAGMA journal_mode = DELETE");
}

void Connection::Fail(Cause cause) const { throw Error(cause, TextOf(cause, name_, 0, "")); }

void Connection::CheckPlace() const {
  int moved = 0;
  if (sqlite3_file_control(handle_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK &&
      moved != 0) {
    Fail(Cause::kMoved);
  }
}

void Connection::Fail(int code) {
  if ((code & kPrimaryCode) == SQLITE_NOMEM || code == SQLITE_IOERR_NOMEM || handle_ == nullptr) {
    throw std::bad_alloc();
  }
  int system_error = sqlite3_system_errno(handle_.get());
  // Rolling back may have overwritten what a write to the file itself said.
  int of_file = 0;
  if (code == SQLITE_IOERR_WRITE &&
      sqlite3_file_control(handle_.get(), "main", SQLITE_FCNTL_LAST_ERRNO, &of_file) == SQLITE_OK &&
      of_file != 0) {
    system_error = of_file;
  }
  const Cause cause = CauseOf(code, std::error_code(system_error, std::system_category()));
  throw Error(cause, TextOf(cause, name_, code, sqlite3_errmsg(handle_.get())));
}

void Statement::Finalize::operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }

Statement::Statement(Connection& connection, std::string_view sql) {
  *this = First(connection, sql);
  if (handle_ == nullptr || sql.find_first_not_of(" \t\r\n") != sql.npos) {
    throw Error(Cause::kSyntax, u"Comando non valido sul file " + connection.name_ + u".");
  }
}

Statement Statement::First(Connection& connection, std::string_view& sql) {
  sqlite3* const database = connection.handle_.get();
  sqlite3_stmt* handle = nullptr;
  const char* tail = nullptr;
  const int code = sqlite3_prepare_v3(database, sql.data(), Length(sql), SQLITE_PREPARE_PERSISTENT,
                                      &handle, &tail);
  Statement first;
  first.connection_ = &connection;
  first.handle_.reset(handle);
  if (code == SQLITE_ERROR) {
    throw Error(Cause::kSyntax,
                TextOf(Cause::kSyntax, connection.name_, code, sqlite3_errmsg(database)));
  }
  if (code != SQLITE_OK) {
    connection.Fail(code);
  }
  sql.remove_prefix(static_cast<std::size_t>(tail - sql.data()));
  return first;
}

Statement& Statement::Bound(int code) {
  if (code != SQLITE_OK) {
    connection_->Fail(code);
  }
  return *this;
}

Statement& Statement::Bind(int parameter, std::string_view text) {
  return Bound(sqlite3_bind_text64(handle_.get(), parameter, Data(text), text.size(), SQLITE_STATIC,
                                   SQLITE_UTF8));
}

Statement& Statement::BindCopy(int parameter, std::string_view text) {
  return Bound(sqlite3_bind_text64(handle_.get(), parameter, Data(text), text.size(),
                                   SQLITE_TRANSIENT, SQLITE_UTF8));
}

Statement& Statement::BindBlob(int parameter, std::string_view bytes) {
  return Bound(
      sqlite3_bind_blob64(handle_.get(), parameter, Data(bytes), bytes.size(), SQLITE_TRANSIENT));
}

Statement& Statement::Bind(int parameter, std::int64_t number) {
  return Bound(sqlite3_bind_int64(handle_.get(), parameter, number));
}

Statement& Statement::BindReal(int parameter, double number) {
  return Bound(sqlite3_bind_double(handle_.get(), parameter, number));
}

Statement& Statement::BindNull(int parameter) {
  return Bound(sqlite3_bind_null(handle_.get(), parameter));
}

bool Statement::Next() {
  const int code = sqlite3_step(handle_.get());
  if (code == SQLITE_ROW) {
    return true;
  }
  sqlite3_reset(handle_.get());
  if (code != SQLITE_DONE) {
    connection_->Fail(code);
  }
  return false;
}

void Statement::Reset() noexcept { sqlite3_reset(handle_.get()); }

int Statement::ColumnCount() const { return sqlite3_column_count(handle_.get()); }

std::string_view Statement::ColumnName(int column) const {
  const char* const name = sqlite3_column_name(handle_.get(), column);
  if (name == nullptr) {
    throw std::bad_alloc();
  }
  return name;
}

sqlite::Type Statement::Type(int column) const {
  return static_cast<sqlite::Type>(sqlite3_column_type(handle_.get(), column));
}

std::optional<std::string_view> Statement::Text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(handle_.get(), column));
  if (text == nullptr) {
    if (sqlite3_column_type(handle_.get(), column) != SQLITE_NULL) {
      throw std::bad_alloc();
    }
    return std::nullopt;
  }
  return std::string_view(text,
                          static_cast<std::size_t>(sqlite3_column_bytes(handle_.get(), column)));
}

std::string_view Statement::Blob(int column) const {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(handle_.get(), column));
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(handle_.get(), column))};
}

std::int64_t Statement::Number(int column) const {
  return sqlite3_column_int64(handle_.get(), column);
}

std::string Identifier(std::string_view name) {
  std::string out = "\"";
  for (const char c : name) {
    out += c;
    if (c == '"') {
      out += c;
    }
  }
  return out += '"';
}

std::string Parameters(std::size_t count) {
  std::string out = "?";
  for (std::size_t i = 1; i < count; ++i) {
    out += ", ?";
  }
  return out;
}

}  // namespace sqlite
