// The little of SQLite that archives are made and checked with.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace archivio {

// A connection. All its failures, and those of its statements, are Failure.
class Sqlite {
 public:
  enum class Mode { kRead, kWrite };

  // The file must exist. `name` is what messages call it.
  Sqlite(const std::filesystem::path& file, Mode mode, const std::filesystem::path& name);
  Sqlite(const std::filesystem::path& file, Mode mode) : Sqlite(file, mode, file) {}

  void Run(const std::string& sql);
  [[noreturn]] void Fail() const;
  sqlite3* Handle() const { return handle_.get(); }

  // What is amiss in the file's pages and indexes, in SQLite's words.
  std::vector<std::string> Damages() const;
  // Names of a table's columns, in its order; none where there is no such table.
  std::vector<std::string> Columns(std::string_view table) const;

 private:
  struct Closer {
    void operator()(sqlite3* handle) const { sqlite3_close(handle); }
  };
  std::filesystem::path name_;
  std::unique_ptr<sqlite3, Closer> handle_;
};

class Statement {
 public:
  Statement(const Sqlite& database, std::string_view sql);

  // Parameters count from 1. The text must live until the statement has run.
  Statement& Bind(int parameter, std::string_view text);
  Statement& Bind(int parameter, std::int64_t number);
  Statement& BindCopy(int parameter, std::string_view text);
  Statement& BindReal(int parameter, double number);
  Statement& BindBlob(int parameter, std::string_view bytes);
  Statement& BindNull(int parameter);
  // The next row, or false behind the last one; then it can run again.
  bool Next();
  // Columns of the row count from 0; Null gives the empty text.
  std::string Text(int column) const { return std::string(Bytes(column)); }
  // The same, without a copy, until the next row.
  std::string_view Bytes(int column) const;
  int Type(int column) const { return sqlite3_column_type(handle_.get(), column); }
  std::int64_t Number(int column) const { return sqlite3_column_int64(handle_.get(), column); }
  bool Flag(int column) const { return sqlite3_column_int(handle_.get(), column) != 0; }

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
  };
  const Sqlite& database_;
  std::unique_ptr<sqlite3_stmt, Finalizer> handle_;
};

// `name` as an identifier in an SQL text.
std::string Name(std::string_view name);

}  // namespace archivio
