// What databases and recordsets stand on: an open archive and its tables, row by row.
// Internal to the engine. Each kind of archive has its implementation in a folder of its own.
//
// Calls may throw Error, and nothing else but for want of memory. A store lives longer than
// its tables. It is at rest, locks nothing and keeps nothing open, when none of its tables has
// a run and it is in no transaction.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/engine/engine.h"

namespace engine {

// A value as the archive has it. A text's `bytes` are UTF-8, and kept as they are even where
// they aren't valid, so that a key read leads back to its row.
struct StoredValue {
  enum class Kind { kNull, kText, kBytes };
  Kind kind = Kind::kNull;
  std::string bytes;

  static StoredValue Of(const Value& value);
};

// Columns of a table count from 1.
using ColumnValue = std::pair<int, Value>;

// The rows of which at least one column has the value beside it, a key's but for blanks at
// its right end; all rows where there is none.
using Condition = std::vector<ColumnValue>;

// The order of insertion where `column` is 0.
struct Index {
  int column = 0;          // its first one, the key that rows are found by
  bool unique = false;     // by that column alone
  std::size_t number = 0;  // the table's own, for itself
};

enum class Direction { kNext, kPrevious };

// Where a walk along an index begins. Null is the least key, and rows of one key are in the order
// of their numbers.
enum class From {
  kEnd,  // the first row, backward the last one
  kRow,  // past the place of a key and a row number, whether a row is there or not
  kKey,  // past all rows of a key, which isn't Null
};

// One user's way to a table. Of a row the table knows the number, which no other row of it ever
// bears at the same time and no change takes from it.
//
// A run hands over rows, one at a time, and a table has at most one: each call that begins a
// run ends the one before. Rows may be fetched many at a time, and are then those of that moment.
// Whoever writes to the archive ends all runs on it before, of other tables, too.
class Table {
 public:
  virtual ~Table() = default;
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  const std::u16string& Name() const { return name_; }
  // The column of that name, upper and lower case alike. Throws kNoColumn.
  int Column(std::u16string_view name) const;
  int Columns() const { return static_cast<int>(columns_.size()) - 1; }
  // Throws `what` in a sentence that names table and archive.
  [[noreturn]] void Fail(int number, std::u16string_view what) const;

  // Nothing where the table has no such index, or one that leaves rows out or begins with
  // anything else than a column.
  virtual std::optional<Index> FindIndex(std::u16string_view name) = 0;
  // Whether the column was declared as a key: blanks at the end of its values don't count.
  virtual bool IsKey(int column) = 0;

  // --- Runs begin before their first row. The caller keeps nothing that it passes.

  // The row of this number.
  virtual void Find(std::int64_t row) = 0;
  // The rows of the key, by number.
  virtual void Find(const Index& index, const StoredValue& key) = 0;
  // The rows along the index, from the place that `from` means.
  virtual void Walk(const Index& index, Direction direction, From from, const StoredValue& key,
                    std::int64_t row) = 0;
  // The rows of the condition, by these columns' values, Null first and texts by their
  // characters' codes; what is equal so, and all without columns, in no fixed order.
  virtual void Select(const Condition& condition, const std::vector<int>& order) = 0;
  // The same rows in any order, with the columns asked for alone; these count from 1 in that run.
  virtual void Scan(const Condition& condition, const std::vector<int>& columns) = 0;
  // The rows of these numbers, in this order, as far as they are there.
  virtual void List(const std::vector<std::int64_t>& rows) = 0;

  // To the next row; false at the end. That and a failure end the run.
  virtual bool Next() = 0;
  virtual void End() noexcept = 0;

  // The row that Next has reached. The text, UTF-8, is good until the next call.
  virtual std::int64_t Number() const = 0;
  virtual std::optional<std::string_view> Text(int column) const = 0;
  virtual StoredValue Stored(int column) const = 0;

  // --- Writes, each whole or not at all, and outside of a transaction on disk when it returns.
  // One that fails within a transaction rolls it back.

  // Throws kNotOneRow, kDuplicateKey.
  virtual void Insert(const std::vector<ColumnValue>& values) = 0;
  // There is at least one value. Throws kRowGone, kNotOneRow, kDuplicateKey.
  virtual void Update(std::int64_t row, const std::vector<ColumnValue>& values) = 0;
  // Throws kRowGone, kNotOneRow.
  virtual void Delete(std::int64_t row) = 0;
  virtual void Delete(const Condition& condition) = 0;

 protected:
  // The names as messages have them.
  Table(std::u16string name, std::u16string archive)
      : columns_(1), name_(std::move(name)), archive_(std::move(archive)) {}

  std::vector<std::u16string> columns_;  // from 1 on

 private:
  const std::u16string name_, archive_;
};

class Store {
 public:
  Store() = default;
  virtual ~Store() = default;
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // The name in any letter case. Throws kNoTable, kNoRowNumber.
  virtual std::unique_ptr<Table> OpenTable(std::u16string_view name) = 0;
  // See Database.
  virtual std::vector<Database::Trigger> Triggers() = 0;

  // When one of the first two fails, no transaction stays open and nothing of it is in the
  // archive.
  virtual void Begin() = 0;
  virtual void Commit() = 0;
  virtual void Rollback() noexcept = 0;

  // Whether a write through this store stands in the archive.
  virtual bool Written() const = 0;
  // Fills the new file `to`, which messages call `name`, with all of this archive as it is at
  // one moment, and reads the copy through.
  virtual void CopyTo(const std::filesystem::path& to, const std::filesystem::path& name) = 0;
};

// See OpenDatabase. The file's first bytes say which kind of archive it is.
std::unique_ptr<Store> OpenStore(const std::filesystem::path& file);

}  // namespace engine
