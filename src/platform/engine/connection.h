// One SQLite file: opening it safely, preparing and running statements, and
// SQLite's failures as Error. Internal to the engine.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/engine/engine.h"

namespace engine {

struct Finalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using StatementPtr = std::unique_ptr<sqlite3_stmt, Finalize>;

// A value as the file has it. `bytes` of a text are UTF-8, and kept as they are
// even where they aren't valid, so that a key read leads back to its row.
struct StoredValue {
  int type = SQLITE_NULL;
  std::string bytes;

  static StoredValue Of(const Value& value);
  void Read(sqlite3_stmt* row, int column);
};

// A name for an SQL text, in double quotes.
std::string Identifier(std::string_view name);

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
  StatementPtr Prepare(std::string_view sql);

  // SQLITE_STATIC spares a copy where the value outlives the run.
  void Bind(sqlite3_stmt* statement, int parameter, const StoredValue& value,
            sqlite3_destructor_type lifetime = SQLITE_TRANSIENT);
  void Bind(sqlite3_stmt* statement, int parameter, std::int64_t value);

  // True on a row, false at the end. A statement that fails is reset.
  bool Step(sqlite3_stmt* statement);

  // Runs a writing statement on `table` to its end and commits. Answers the
  // number of rows it changed. When it fails, no transaction stays open.
  int Write(sqlite3_stmt* statement, std::string_view table);

  // When one of the two fails, no transaction stays open and nothing of it in
  // the file.
  void Begin();
  void Commit();
  void Rollback() noexcept;

  // The table's name in the file's own letter case. A view is no table. Throws
  // kNoTable.
  std::string FindTable(std::string_view name);
  // Nothing when the table has no such index, or one that leaves rows out or
  // begins with anything else than a column.
  std::optional<IndexColumn> FindIndex(const std::string& table, std::string_view name);

  // The file's name for messages.
  const std::u16string& File() const { return file_; }

 private:
  struct CloseHandle {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };

  void Configure(const std::filesystem::path& path);
  // First column of the answer, as a number or as a text.
  std::int64_t Number(std::string_view sql);
  std::string Text(std::string_view sql);
  int Exec(const char* sql);
  [[noreturn]] void Fail(int code, std::string_view table = {});
  [[noreturn]] void FailAndRollback(int code, std::string_view table = {});

  // A read that failed has made SQLite take the open transaction back. Its
  // failure, which whoever read may keep to himself, stops every write up to
  // the next Begin or Rollback: they would stand each by itself.
  std::exception_ptr lost_;
  std::u16string file_;
  std::unique_ptr<sqlite3, CloseHandle> handle_;
  StatementPtr find_table_, find_index_;
};

}  // namespace engine
