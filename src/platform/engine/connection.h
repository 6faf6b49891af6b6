// The engine's connection to one SQLite file: opened safely, written in
// transactions, with SQLite's failures as Error. Internal to the engine.
#pragma once

#include <cstdint>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/engine/engine.h"
#include "platform/sqlite/sqlite.h"

namespace engine {

using sqlite::Identifier;

// A value as the file has it. `bytes` of a text are UTF-8, and kept as they are
// even where they aren't valid, so that a key read leads back to its row.
struct StoredValue {
  sqlite::Type type = sqlite::Type::kNull;
  std::string bytes;

  static StoredValue Of(const Value& value);
  void Read(const sqlite::Statement& row, int column);
};

struct IndexColumn {
  std::string index;    // name in the file
  std::string column;   // its first key column
  bool unique = false;  // by that column alone
};

class Connection {
 public:
  // See OpenDatabase.
  explicit Connection(const std::filesystem::path& path);

  // Prepares exactly one statement. What SQLite doesn't understand is kSyntax.
  sqlite::Statement Prepare(std::string_view sql);

  // Keeps a copy of the value.
  void Bind(sqlite::Statement& statement, int parameter, const StoredValue& value);
  // The value must live until the run has ended.
  void BindInPlace(sqlite::Statement& statement, int parameter, const StoredValue& value);
  void Bind(sqlite::Statement& statement, int parameter, std::int64_t value);

  std::vector<sqlite::Connection::Trigger> Triggers();

  // Whether a write through this connection stands in the file.
  bool Written() const { return written_; }

  // Throws kMoved where the file is no longer the one that its name leads to.
  void CheckPlace() const;

  // True on a row, false at the end. A statement that fails is reset.
  bool Step(sqlite::Statement& statement);

  // Runs a writing statement on `table` to its end and commits. Where it means one row and
  // has changed none, throws kRowGone (of a new row kNotOneRow), where more, kNotOneRow.
  // When it throws, no transaction stays open and nothing of it is in the file.
  enum class Rows { kAny, kCurrent, kNew };
  void Write(sqlite::Statement& statement, const std::string& table, Rows rows);

  // When one of the two fails, no transaction stays open and nothing of it is
  // in the file.
  void Begin();
  void Commit();
  void Rollback() noexcept;

  // Fills the new file `to`, which messages call `name`, with all of this database as it is at
  // one moment, and reads the copy through.
  void CopyTo(const std::filesystem::path& to, const std::filesystem::path& name);

  // The table's name in the file's own letter case. A view is no table. Throws
  // kNoTable.
  std::string FindTable(std::string_view name);
  // Nothing when the table has no such index, or one that leaves rows out or
  // begins with anything else than a column.
  std::optional<IndexColumn> FindIndex(const std::string& table, std::string_view name);

  // See sqlite::Connection.
  std::string RowNumber(const std::string& table, const sqlite::Statement& all) const {
    return database_.RowNumber(table, all);
  }

  // Whether the column, which exists, was declared as a key: blanks at the end of its
  // values don't count.
  bool IsKey(const std::string& table, const std::string& column);

  // Throws `what` of the table, in a sentence that names table and file.
  [[noreturn]] void FailForTable(int number, const std::string& table, std::u16string_view what);

 private:
  void Configure(const std::filesystem::path& path);

  sqlite::Connection database_;
  // A read that failed has made SQLite roll the open transaction back. Its
  // failure, which the reader may not pass on, stops every write up to the next
  // Begin or Rollback: they would stand each by itself.
  std::exception_ptr lost_;
  bool written_ = false, pending_ = false;  // pending: in the open transaction
  bool inside_ = false;                     // between Begin and Commit or Rollback
  sqlite::Statement find_table_, find_index_;
};

}  // namespace engine
