// What databases and recordsets stand on: an open archive and its tables, row by row.
// Internal to the engine. Each kind of archive has its implementation in a folder of its own.
//
// Calls may throw Error, and std::bad_alloc, but nothing else. A store lives longer than
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

// For stores: calls what WhileWorking has been given, where there is any. Returns true, since
// nothing of it ends the work.
bool StillWorking();
// The same for WhileWaiting.
void StillWaiting();

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

// The rows of which at least one of these columns has the value beside it (in a column of keys
// blanks at the right end don't count); all rows where the condition is empty.
using Condition = std::vector<ColumnValue>;

// An order of a table's rows. Where `column` is 0, that of insertion.
struct Index {
  int column = 0;          // the index's first column, the key by which rows are found
  bool unique = false;     // no two rows have the same key, but for Null
  std::size_t number = 0;  // by which the table knows it
};

enum class Direction { kNext, kPrevious };

// Where a walk along an index begins. Null is the least key, and rows of one key are in the order
// of their numbers.
enum class From {
  kEnd,  // the first row, backward the last one
  kRow,  // past the place of a key and a row number, whether a row is there or not
  kKey,  // past all rows of a key, which isn't Null
};

// What a write means to change.
enum class Rows { kAny, kCurrent, kNew };
// Throws kRowGone or kNotOneRow where the write has changed another number of rows than it meant;
// `table` and `archive` as messages have them.
void CheckChanged(Rows rows, std::int64_t changed, std::int64_t meant, const std::u16string& table,
                  const std::u16string& archive);
[[noreturn]] void FailDuplicate(const std::u16string& table, const std::u16string& archive);

// One recordset's access to a table. Each row has a number, which it keeps through all changes and
// which no other row of the table has at the same time.
//
// A run hands over rows, one at a time, and a table has at most one: each call that begins a
// run ends the one before. Rows may be fetched many at a time, and are then as they were at that
// moment. Before a write to the archive the caller ends all runs on it, those of other tables too.
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

  // Nothing where the table has no such index, or one that leaves rows out or doesn't begin with
  // a column.
  virtual std::optional<Index> FindIndex(std::u16string_view name) = 0;
  // Whether blanks at the end of the column's values don't count.
  virtual bool IsKey(int column) = 0;

  // --- Runs begin before their first row. The caller keeps nothing that it passes.

  // The row of this number.
  virtual void Find(std::int64_t row) = 0;
  // Find will be called with these keys, one after the other, until one has a row: a store that is
  // far away may look for all of them at once.
  virtual void Expect(const Index& /*index*/, const std::vector<StoredValue>& /*keys*/) {}
  // The rows of the key, by number.
  virtual void Find(const Index& index, const StoredValue& key) = 0;
  // The rows along the index, from the place that `from` means.
  virtual void Walk(const Index& index, Direction direction, From from, const StoredValue& key,
                    std::int64_t row) = 0;
  // The rows of the condition, in the order of these columns' values: Null first, texts by their
  // characters' codes. Rows of equal values come in no fixed order.
  virtual void Select(const Condition& condition, const std::vector<int>& order) = 0;
  // The rows of the condition in any order, with these columns alone, at least one, which count
  // from 1 in that run. To be followed by List with rows that it has found: a store that is far
  // away may fetch all of their columns here.
  virtual void Scan(const Condition& condition, const std::vector<int>& columns) = 0;
  // The rows of these numbers, in this order; a number without a row is passed over. Right after a
  // Scan they may be as they were at that moment.
  virtual void List(const std::vector<std::int64_t>& rows) = 0;

  // Goes to the next row; false at the end. The end and a failure end the run.
  virtual bool Next() = 0;
  virtual void End() noexcept = 0;

  // The row that Next has reached. The text, UTF-8, is good until the next call.
  virtual std::int64_t Number() const = 0;
  virtual std::optional<std::string_view> Text(int column) const = 0;
  virtual StoredValue Stored(int column) const = 0;

  // --- Writes. Each is done whole or not at all; outside of a transaction it is on disk when the
  // call returns. Within one a store may put writes off until the next run begins, or until the
  // commit: their failures are thrown there then. A write that fails within a transaction rolls
  // the transaction back.

  // Throws kNotOneRow, kDuplicateKey.
  virtual void Insert(const std::vector<ColumnValue>& values) = 0;
  // There is at least one value. Throws kRowGone, kNotOneRow, kDuplicateKey.
  virtual void Update(std::int64_t row, const std::vector<ColumnValue>& values) = 0;
  // Throws kRowGone, kNotOneRow.
  virtual void Delete(std::int64_t row) = 0;
  virtual void Delete(const Condition& condition) = 0;

 protected:
  // Both names appear in messages.
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

  // Upper and lower case in the name are alike. Throws kNoTable, kNoRowNumber.
  virtual std::unique_ptr<Table> OpenTable(std::u16string_view name) = 0;
  // See Database.
  virtual std::vector<Database::Trigger> Triggers() = 0;

  // When Begin or Commit fails, no transaction stays open and nothing of it is in the archive; but
  // where Commit throws kUncertain, it may be there. A store may put off what Begin waits for, with
  // its failure, until the first run begins, or until the commit.
  virtual void Begin() = 0;
  virtual void Commit() = 0;
  virtual void Rollback() noexcept = 0;
  // An operation of the user is over. Outside of a transaction; see engine::Rest.
  virtual void Rest() noexcept {}

  // Whether the archive was changed through this store.
  virtual bool Written() const = 0;
  // Fills the new file `to`, which messages call `name`, with all of this archive as it is at
  // one moment, and checks the copy by reading all of it.
  virtual void CopyTo(const std::filesystem::path& to, const std::filesystem::path& name) = 0;
};

// See OpenDatabase. The file's first bytes say which kind of archive it is.
std::unique_ptr<Store> OpenStore(const std::filesystem::path& file);

}  // namespace engine
