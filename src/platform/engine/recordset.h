// What Database and Recordset are made of. Internal to the engine.
//
// A recordset keeps the number of its current row. Columns are read straight from the table's
// run, which stands on the row; without a run, the row is looked up by its number as soon as a
// column is asked for. So suspending a recordset copies nothing, and a row that is gone is noticed.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/engine/engine.h"
#include "platform/engine/store.h"

namespace engine {

// Ends the running statements of all open databases, as before each write.
void EndRuns() noexcept;

class DatabaseState {
 public:
  explicit DatabaseState(std::unique_ptr<Store> store);
  DatabaseState(const DatabaseState&) = delete;
  DatabaseState& operator=(const DatabaseState&) = delete;
  ~DatabaseState() { Close(); }

  bool Closed() const { return store_ == nullptr; }
  Store& Use() { return *store_; }
  void Close() noexcept;

  void Add(RecordsetState* recordset) { recordsets_.push_back(recordset); }
  void Remove(RecordsetState* recordset) noexcept { std::erase(recordsets_, recordset); }

 private:
  std::unique_ptr<Store> store_;
  std::vector<RecordsetState*> recordsets_;  // the open ones
};

class RecordsetState {
 public:
  RecordsetState(std::shared_ptr<DatabaseState> database, std::unique_ptr<Table> table);
  RecordsetState(const RecordsetState&) = delete;
  RecordsetState& operator=(const RecordsetState&) = delete;
  virtual ~RecordsetState() { Close(); }

  bool Closed() const { return table_ == nullptr; }
  void Close() noexcept;

  // Ends the run. Keeps the current row and the rows to come.
  virtual void Suspend() noexcept { EndRun(); }

  virtual void Index(std::u16string_view name);
  virtual void Seek(const StoredValue& key);
  void Seek(std::span<const std::u16string> keys);
  bool NoMatch() const { return place_ == Place::kNoMatch; }
  virtual void MoveFirst() = 0;
  virtual void Move(Direction direction) = 0;
  virtual bool HasRows() = 0;
  bool Bof();
  bool Eof();

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

  // What the table's run is for. It stands on the current row, but for a scan.
  enum class Run { kNone, kRow, kWalk, kQuery, kScan };

  // Goes to the first row of the run that the table has been asked for; false where there is none.
  bool Begin(Run run);
  // Goes to the run's next row; false at the end, which ends the run.
  bool Next();
  void EndRun() noexcept;

  // Looks for the first row, if that is still to be done. place_ means nothing before.
  void Settle() {
    if (place_ == Place::kFresh) {
      MoveFirst();
    }
  }
  // Where a move has ended. Drops a pending edit.
  void Stand(Place place, std::int64_t row = 0) noexcept;
  // Throws kNoCurrentRow if no move in that direction can start from here.
  void CheckMove(Direction direction);
  // The place after the last row or before the first one, coming from `from`.
  static Place PastEnd(Direction direction, Place from);

  // The current row has been deleted.
  virtual void RowDeleted() noexcept {}

  std::unique_ptr<Table> table_;  // none once it is closed
  Place place_ = Place::kFresh;
  std::int64_t row_ = 0;
  engine::Index index_;  // in whose order a table recordset moves
  StoredValue key_;      // the current row's key in it
  Run run_ = Run::kNone;

 private:
  enum class Pending { kNone, kAdd, kEdit };

  // Throws kNoCurrentRow where there is no row. `purpose` ends the message.
  void CheckRow(std::u16string_view purpose = {});
  // Makes the run stand on the current row.
  void NeedRow();

  std::shared_ptr<DatabaseState> database_;
  Pending pending_ = Pending::kNone;
  std::vector<ColumnValue> values_;                    // set since AddNew or Edit
  std::vector<std::u16string> texts_;                  // of the columns read, by column
  std::vector<std::pair<std::u16string, int>> asked_;  // names that Column has met
  std::size_t next_asked_ = 0;
};

class TableState : public RecordsetState {
 public:
  using RecordsetState::RecordsetState;

  void Index(std::u16string_view name) override;
  using RecordsetState::Seek;
  void Seek(const StoredValue& key) override;
  void MoveFirst() override;
  void Move(Direction direction) override;
  bool HasRows() override;

 private:
  bool BeginAtFirst();
  bool Advance(Direction direction);
  void Arrive();

  Direction walking_ = Direction::kNext;
};

class QueryState : public RecordsetState {
 public:
  // If none of the columns in `order` is a key, the rows come in the order of NameOrder, and
  // are fixed at the first move.
  QueryState(std::shared_ptr<DatabaseState> database, std::unique_ptr<Table> table,
             Condition condition, std::vector<int> order);

  void Suspend() noexcept override;
  void MoveFirst() override;
  void Move(Direction direction) override;
  bool HasRows() override;

 private:
  void RowDeleted() noexcept override;

  bool ArriveFrom(std::size_t at);
  bool Advance(Direction direction);
  bool Fetch();
  bool BeginQuery();
  std::vector<std::int64_t> SortedByNames();
  bool Deleted(std::size_t at) const { return at < deleted_.size() && deleted_[at]; }
  void Arrive(std::size_t at);

  const Condition condition_;
  const std::vector<int> order_;
  const bool names_;                // whether the rows come in the order of NameOrder
  std::vector<std::int64_t> rows_;  // those met so far; all, once suspended
  std::vector<bool> deleted_;       // by this recordset; empty while the query runs
  std::size_t deleted_count_ = 0;
  std::size_t at_ = 0;
  bool complete_ = false;
  std::exception_ptr failure_;  // why the rest of the rows can't be had
};

}  // namespace engine
