// SQLite: a connection, a statement, and failures with an Italian text. Only this folder includes
// SQLite's own header.
//
// One thread. Statements end before their connection. What fails throws Error, and std::bad_alloc
// where memory is exhausted.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/text/error.h"

struct sqlite3;
struct sqlite3_stmt;

namespace sqlite {

enum class Cause {
  kSyntax,        // the SQL text isn't one statement that SQLite understands
  kBusy,          // another program held its lock for too long
  kReadOnly,      // file or folder can't be written
  kMoved,         // the name the file was opened by no longer leads to it
  kNotADatabase,  // or a damaged one
  kFull,          // the disk has no room left
  kOpen,          // the file can't be opened
  kTooManyFiles,  // the same: the process, or the system, has too many open
  kTooLarge,      // the file may not grow any further: a limit of the system or the disk
  kIo,            // reading or writing the disk failed
  kFolderSync,    // the same, once a commit was done, on synchronising the folder
  kDuplicateKey,  // a unique index refuses the row
  kInterrupted,   // see SetWatch
  kOther,
};

// Its text names the file.
class Error : public text::Error {
 public:
  Error(sqlite::Cause cause, std::u16string text) : text::Error(std::move(text)), cause_(cause) {}
  sqlite::Cause Cause() const { return cause_; }

 private:
  sqlite::Cause cause_;
};

enum class Mode { kRead, kWrite };

class Statement;

class Connection {
 public:
  // Opens a file, which must exist; SQLite reads nothing of it yet. `name` is what messages call
  // it. A lock of another program is waited for, up to 5 seconds. A text in double quotes is a name
  // and nothing else, and the file's views and triggers can't run functions with side effects.
  Connection(const std::filesystem::path& file, Mode mode, const std::filesystem::path& name);
  Connection(const std::filesystem::path& file, Mode mode) : Connection(file, mode, file) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // `goes_on` is called now and then while a statement runs or waits for a lock.
  // When it returns false, the statement fails, with kInterrupted or kBusy.
  void SetWatch(std::function<bool()> goes_on);

  const std::u16string& Name() const { return name_; }

  // Runs statements up to the end of the text; rows that they return are dropped.
  void Run(std::string_view sql);
  // First column of the first row; 0 or empty where there is none.
  std::int64_t Number(std::string_view sql);
  std::string Text(std::string_view sql);

  bool ReadOnly() const;
  bool InTransaction() const;
  // Rows that the last INSERT, UPDATE or DELETE has touched.
  int Changes() const;
  // Throws the Error of that cause, as where SQLite itself fails with it.
  [[noreturn]] void Fail(Cause cause) const;
  // Throws kMoved where the file has been moved, replaced or deleted since it was opened.
  // SQLite looks before it writes, but not before it reads.
  void CheckPlace() const;
  // Does nothing outside of a transaction.
  void Rollback() noexcept;

  // Names of a table's columns, in its order; none where there is no such table.
  std::vector<std::string> Columns(std::string_view table);
  // The name by which SQL reaches the number of a row: the first of rowid, oid and _rowid_
  // that isn't hidden by a column of the same name. Empty where all three are hidden, or
  // the table has no such number (WITHOUT ROWID). `all` is a "SELECT *" from the table.
  std::string RowNumber(const std::string& table, const Statement& all) const;
  // The name of the collation that the column was declared with.
  std::string Collation(const std::string& table, const std::string& column);
  struct Trigger {
    std::string name, table;
  };
  // What runs on its own with each write to a table, by table and name.
  std::vector<Trigger> Triggers();
  // The faults of the file's pages and indexes, in SQLite's words.
  std::vector<std::string> Damages();
  // Copies the whole database, as it is at one moment, over that of `to`, whose file is new,
  // unknown to others and of no use where this throws. Others can't write to this database
  // meanwhile. `report` is called now and then with the pages done and all pages; what it throws
  // ends the copy. `to.Damages()` says whether the copy is sound.
  void CopyTo(Connection& to, const std::function<void(int done, int all)>& report);

 private:
  friend class Statement;
  struct Close {
    void operator()(sqlite3* handle) const;
  };

  // Throws what SQLite's result code means.
  [[noreturn]] void Fail(int code);

  std::u16string name_;
  std::function<bool()> goes_on_;
  std::unique_ptr<sqlite3, Close> handle_;
};

// A value's type in the row, numbers in SQLite's order.
enum class Type { kInteger = 1, kReal = 2, kText = 3, kBlob = 4, kNull = 5 };

// One prepared statement; empty until one is moved into it. Texts are UTF-8,
// passed on as they are even where they aren't valid.
class Statement {
 public:
  Statement() = default;
  // Throws kSyntax where `sql` isn't exactly one statement.
  Statement(Connection& connection, std::string_view sql);
  // Prepares the first statement of `sql`, which may have none, and removes it from `sql`.
  static Statement First(Connection& connection, std::string_view& sql);

  explicit operator bool() const { return handle_ != nullptr; }

  // Parameters count from 1 and stay bound; a running statement takes none. The text bound by Bind
  // must live until the run has ended; BindCopy and BindBlob keep a copy.
  Statement& Bind(int parameter, std::string_view text);
  Statement& BindCopy(int parameter, std::string_view text);
  Statement& BindBlob(int parameter, std::string_view bytes);
  Statement& Bind(int parameter, std::int64_t number);
  Statement& BindReal(int parameter, double number);
  Statement& BindNull(int parameter);

  // The next row, or false after the last one. At the end, and when it fails,
  // the statement is reset and can run again.
  bool Next();
  // Ends the run.
  void Reset() noexcept;

  // Columns of the row count from 0. Views are good until the next call on the
  // statement, or on that column with another type.
  int ColumnCount() const;
  std::string_view ColumnName(int column) const;
  sqlite::Type Type(int column) const;
  // A number as its text. Nothing for Null.
  std::optional<std::string_view> Text(int column) const;
  // The same with Null as the empty text.
  std::string_view Bytes(int column) const { return Text(column).value_or(std::string_view()); }
  std::string_view Blob(int column) const;
  std::int64_t Number(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* handle) const;
  };
  Statement& Bound(int code);
  Connection* connection_ = nullptr;
  std::unique_ptr<sqlite3_stmt, Finalize> handle_;
};

// A name for an SQL text, in double quotes.
std::string Identifier(std::string_view name);

// As many parameters for an SQL text, at least one: "?, ?, ?".
std::string Parameters(std::size_t count);

}  // namespace sqlite
