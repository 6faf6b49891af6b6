// What Database and Recordset are made of. Internal to the engine.
//
// A recordset's current row is its number in the table. Its columns are read straight from the
// statement that stands on the row, `live_`, of which a recordset has at most
// one. Without one the row is looked up by its number as soon as a column is
// asked for, so suspending a recordset copies nothing, and a row that is gone
// is noticed.
#pragma once

#include <array>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/engine/connection.h"
#include "platform/engine/engine.h"

namespace engine {

class DatabaseState {
 public:
  explicit DatabaseState(const std::filesystem::path& path)
      : connection_(std::make_unique<Connection>(path)) {}
  DatabaseState(const DatabaseState&) = delete;
  DatabaseState& operator=(const DatabaseState&) = delete;

  bool Closed() const { return connection_ == nullptr; }
  Connection& Use() { return *connection_; }
  void Close() noexcept;

  void Add(RecordsetState* recordset) { recordsets_.push_back(recordset); }
  void Remove(RecordsetState* recordset) noexcept { std::erase(recordsets_, recordset); }

 private:
  std::unique_ptr<Connection> connection_;
  std::vector<RecordsetState*> recordsets_;  // the open ones
};

enum class Direction { kNext, kPrevious };

class RecordsetState {
 public:
  RecordsetState(std::shared_ptr<DatabaseState> database, std::string table);
  RecordsetState(const RecordsetState&) = delete;
  RecordsetState& operator=(const RecordsetState&) = delete;
  virtual ~RecordsetState() { Close(); }

  bool Closed() const { return closed_; }
  void Close() noexcept;

  // Ends the running statement. Keeps the current row and the rows to come.
  virtual void Suspend() noexcept { EndLive(); }

  virtual void Index(std::u16string_view name);
  virtual void Seek(const Value& key);
  bool NoMatch() const { return place_ == Place::kNoMatch; }
  virtual void MoveFirst() = 0;
  virtual void Move(Direction direction) = 0;
  virtual bool HasRows() = 0;
  bool Bof();
  bool Eof();

  // Columns count from 1, as in the statements, where 0 is the row's number.
  int Column(std::u16string_view name);
  // Nothing for Null. The text is good until the row is left or written.
  std::optional<std::u16string_view> Read(int column);
  void Set(int column, Value value);

  void AddNew();
  void Edit();
  void Update();
  void Delete();

 protected:
  enum class Place {
    kFresh,  // the first row, not looked for yet
    kRow,    // on row_
    kGap,    // where row_ was before it was deleted
    kBof,
    kEof,
    kEmpty,    // Bof and Eof
    kNoMatch,  // where key_ would be
  };

  Connection& Use() { return database_->Use(); }
  // The end of columns_ where there is no such column.
  std::vector<std::u16string>::const_iterator FindColumn(std::u16string_view name) const;
  // The statement of this text, prepared once.
  sqlite::Statement* Prepared(const std::string& sql);
  // Steps `statement`, which becomes the live one; false at its end.
  bool StepLive(sqlite::Statement& statement);
  void EndLive() noexcept;

  // Must be passed before place_ means anything.
  void Settle() {
    if (place_ == Place::kFresh) {
      MoveFirst();
    }
  }
  // Where a move has ended. Drops a pending edit.
  void Stand(Place place, std::int64_t row = 0) noexcept;
  // Whether a move can start from here; otherwise throws kNoCurrentRow.
  void CheckMove(Direction direction);
  // The place after the last row or before the first one, coming from `from`.
  static Place PastEnd(Direction direction, Place from);

  // The current row has been written with the new value of a column, has been
  // deleted.
  virtual void ColumnWritten(int /*column*/, StoredValue&& /*value*/) noexcept {}
  virtual void RowDeleted() noexcept {}

  [[noreturn]] void FailForTable(int number, std::u16string_view what) {
    Use().FailForTable(number, table_, what);
  }

  const std::string table_;
  std::string number_;  // the name of the rows' number in SQL
  std::string from_;    // "SELECT rowid, * FROM table", by that name, the form of all reading
  std::vector<std::u16string> columns_;
  Place place_ = Place::kFresh;
  std::int64_t row_ = 0;
  sqlite::Statement* live_ = nullptr;  // running, and on row_

 private:
  enum class Pending { kNone, kAdd, kEdit };

  sqlite::Statement* Row();
  // The statement that writes the values set.
  sqlite::Statement& Writing();
  std::string WritingText() const;

  std::shared_ptr<DatabaseState> database_;
  bool closed_ = false;
  std::map<std::string, sqlite::Statement> statements_;
  Pending pending_ = Pending::kNone;
  std::vector<std::pair<int, Value>> values_;          // set since AddNew or Edit
  sqlite::Statement writing_;                          // the last one used,
  Pending writes_ = Pending::kNone;                    // for what edit
  std::vector<int> written_;                           // of which columns
  std::vector<std::u16string> texts_;                  // of the columns read, by column
  std::vector<std::pair<std::u16string, int>> asked_;  // names that Column has met
  std::size_t next_asked_ = 0;
};

class TableState : public RecordsetState {
 public:
  TableState(std::shared_ptr<DatabaseState> database, std::string table);

  void Index(std::u16string_view name) override;
  void Seek(const Value& key) override;
  void MoveFirst() override;
  void Move(Direction direction) override;
  bool HasRows() override;

 private:
  // The pieces of a path, each a range of the index that one statement runs
  // through. Null keys come first, and no comparison finds them, so they are a
  // piece of their own.
  enum Piece {
    kAll,
    kSameKey,    // from the row on, to the last row of its key
    kBeyondKey,  // the keys beyond
    kNullKeys,
    kOtherKeys,  // all but Null
    kBeyondRow,  // without an index
  };
  static constexpr std::size_t kPieces = 6;

  struct Path {  // a way through the table
    std::u16string name;
    IndexColumn index;
    int column = 0;  // of the key; 0 for the order of insertion
    sqlite::Statement* seek = nullptr;
    std::array<std::array<sqlite::Statement*, kPieces>, 2> runs = {};
  };

  void ColumnWritten(int column, StoredValue&& value) noexcept override;

  sqlite::Statement* Run(Direction direction, Piece piece);
  bool Begin(Direction direction, Piece piece);
  std::optional<Piece> NextPiece(Direction direction) const;
  bool Advance(Direction direction);
  void Arrive();

  std::vector<std::unique_ptr<Path>> paths_;
  Path* path_;
  StoredValue key_;     // of row_, where the path has a key
  Piece piece_ = kAll;  // of the run begun last
};

class QueryState : public RecordsetState {
 public:
  // Where `rest` does nothing but order by columns, these are `order`. If none of them is
  // a key, the rows come in the order of NameOrder, and are fixed at the first move.
  QueryState(std::shared_ptr<DatabaseState> database, std::string table, const std::string& rest,
             std::vector<std::string> order);

  void Suspend() noexcept override;
  void MoveFirst() override;
  void Move(Direction direction) override;
  bool HasRows() override;

 private:
  void RowDeleted() noexcept override;

  bool Fetch();
  void SortByNames();
  bool Deleted(std::size_t at) const { return at < deleted_.size() && deleted_[at]; }
  void Arrive(std::size_t at);

  sqlite::Statement* query_ = nullptr;  // none yet where rows are sorted at the first move,
  std::vector<std::string> names_;      // by these columns
  std::string sorted_;                  // their numbers in order, a JSON array
  std::vector<std::int64_t> rows_;      // those met, then, once suspended, all
  std::vector<bool> deleted_;           // by this recordset; empty while the query runs
  std::size_t deleted_count_ = 0;
  std::size_t at_ = 0;
  bool complete_ = false;
  std::exception_ptr failure_;  // why the rest of the rows can't be had
};

}  // namespace engine
