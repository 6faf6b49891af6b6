#include "platform/engine/sqlite/store.h"

#include <algorithm>
#include <array>
#include <exception>
#include <iterator>
#include <map>

#include "platform/sqlite/sqlite.h"
#include "platform/system/files.h"
#include "platform/text/text.h"

namespace engine {

namespace {

using sqlite::Cause;
using sqlite::Identifier;
using sqlite::Statement;

constexpr std::pair<Cause, ErrorNumber> kNumbers[] = {
    {Cause::kSyntax, kSyntax}, {Cause::kBusy, kLocked},     {Cause::kReadOnly, kReadOnly},
    {Cause::kMoved, kMoved},   {Cause::kFull, kDiskFull},   {Cause::kNotADatabase, kNotADatabase},
    {Cause::kOpen, kIo},       {Cause::kTooManyFiles, kIo}, {Cause::kTooLarge, kIo},
    {Cause::kIo, kIo},         {Cause::kFolderSync, kIo},   {Cause::kDuplicateKey, kDuplicateKey}};

ErrorNumber NumberOf(Cause cause) {
  for (const auto& [known, number] : kNumbers) {
    if (known == cause) {
      return number;
    }
  }
  return kOther;
}

// Runs `work`; what SQLite fails with becomes Error.
template <typename Work>
auto Translated(Work work) {
  try {
    return work();
  } catch (const sqlite::Error& error) {
    throw Error(NumberOf(error.Cause()), error.Text());
  }
}

class SqliteStore;

// Statements by their texts, each prepared once.
class Statements {
 public:
  Statement& Get(SqliteStore& store, const std::string& sql);

 private:
  std::map<std::string, Statement> statements_;
};

// Opened safely, written in transactions.
class SqliteStore final : public Store {
 public:
  explicit SqliteStore(const std::filesystem::path& path)
      : database_(Translated([&] { return sqlite::Connection(path, sqlite::Mode::kWrite); })) {
    database_.SetWatch(StillWorking);
    // Through a link the journal lies beside the file itself.
    std::error_code ignored;
    Translated([&] { Configure(std::filesystem::weakly_canonical(path, ignored)); });
  }

  std::unique_ptr<Table> OpenTable(std::u16string_view name) override;

  std::vector<Database::Trigger> Triggers() override {
    std::vector<Database::Trigger> triggers;
    for (const auto& [name, table] : Translated([&] { return database_.Triggers(); })) {
      triggers.push_back({text::FromUtf8(name), text::FromUtf8(table)});
    }
    return triggers;
  }

  void Begin() override {
    lost_ = nullptr;
    try {
      Translated([&] { database_.Run("BEGIN IMMEDIATE"); });
      inside_ = true;
    } catch (...) {
      Rollback();
      throw;
    }
  }

  // The commit is done with the removal of the journal. When that has succeeded
  // and only the folder can't be synchronised after it, the change stands and
  // everyone sees it: to report a failure would be wrong. What remains is that a
  // power cut right then could bring the journal back and undo the whole change.
  void Commit() override {
    if (lost_ != nullptr) {
      std::rethrow_exception(lost_);
    }
    try {
      Translated([&] {
        try {
          database_.Run("COMMIT");
        } catch (const sqlite::Error& error) {
          if (error.Cause() != Cause::kFolderSync) {
            throw;
          }
        }
      });
      inside_ = false;
      written_ = written_ || pending_;
      pending_ = false;
    } catch (...) {
      Rollback();
      throw;
    }
  }

  void Rollback() noexcept override {
    lost_ = nullptr;
    inside_ = false;
    pending_ = false;
    database_.Rollback();
  }

  bool Written() const override { return written_; }

  void CopyTo(const std::filesystem::path& to, const std::filesystem::path& name) override {
    Translated([&] {
      sqlite::Connection copy(to, sqlite::Mode::kWrite, name);
      database_.CopyTo(copy, [](int, int) {});
      copy.Run("PRAGMA temp_store = MEMORY");
      if (!copy.Damages().empty()) {
        database_.Fail(Cause::kNotADatabase);
      }
    });
  }

  // --- For the tables

  sqlite::Connection& Use() { return database_; }

  // Prepares exactly one statement. What SQLite doesn't understand is kSyntax.
  Statement Prepare(std::string_view sql) {
    return Translated([&] { return Statement(database_, sql); });
  }
  // For the store's own looks, one at a time.
  Statement& Prepared(const std::string& sql) { return statements_.Get(*this, sql); }

  // Around each run. The first one after rest throws kMoved where the file is no longer the one
  // that its name leads to.
  void BeginRun() {
    if (runs_ == 0) {
      Translated([&] { database_.CheckPlace(); });
    }
    ++runs_;
  }
  void EndRun() noexcept { --runs_; }

  // True on a row, false at the end. A statement that fails is reset.
  bool Step(Statement& statement) {
    try {
      return Translated([&] { return statement.Next(); });
    } catch (...) {
      if (inside_ && !database_.InTransaction()) {
        lost_ = std::current_exception();
      }
      throw;
    }
  }

  // Runs a writing statement on `table` to its end and commits. Where it means one row and
  // has changed none, throws kRowGone (of a new row kNotOneRow), where more, kNotOneRow.
  // When it throws, no transaction stays open and nothing of it is in the file.
  void Write(Statement& statement, const Table& table, Rows rows) {
    if (lost_ != nullptr) {
      std::rethrow_exception(lost_);
    }
    // A statement that commits on its own would hide whether its commit failed,
    // and the number of rows with it.
    const bool alone = !inside_;
    if (alone) {
      Begin();
    }
    try {
      Translated([&] {
        try {
          statement.Next();
        } catch (const sqlite::Error& error) {
          if (error.Cause() != Cause::kDuplicateKey) {
            throw;
          }
          FailDuplicate(table.Name(), database_.Name());
        }
      });
      const int changed = database_.Changes();
      pending_ = pending_ || changed > 0;
      CheckChanged(rows, changed, 1, table.Name(), database_.Name());
    } catch (...) {
      Rollback();
      throw;
    }
    if (alone) {
      Commit();
    }
  }

 private:
  void Configure(const std::filesystem::path& path) {
    // A rollback journal needs the folder, too.
    if (database_.ReadOnly() || !sys::CanWriteIn(path.parent_path())) {
      database_.Fail(Cause::kReadOnly);
    }
    // SQLite reads nothing before it must; what isn't a database has to fail
    // here. It takes a file of 0 bytes for a new database.
    database_.Number("SELECT count(*) FROM sqlite_master");
    const std::int64_t pages = database_.Number("PRAGMA page_count");
    if (pages == 0) {
      database_.Fail(Cause::kNotADatabase);
    }
    // SQLite fills up a last page that has been cut short.
    std::error_code unknown;
    const std::uintmax_t size = std::filesystem::file_size(path, unknown);
    if (!unknown &&
        size < static_cast<std::uintmax_t>(pages * database_.Number("PRAGMA page_size"))) {
      database_.Fail(Cause::kNotADatabase);
    }
    if (database_.Text("PRAGMA journal_mode=DELETE") != "delete") {
      database_.Fail(Cause::kBusy);
    }
    // EXTRA also synchronises the folder when the journal goes: without that, a
    // power cut after a commit could bring the journal back and undo it.
    database_.Text("PRAGMA synchronous=EXTRA");
    // Sorting never writes the recipients' data into temporary files.
    database_.Text("PRAGMA temp_store=MEMORY");
    // The recipients by code or by name lie criss-cross in the table. A file of a hundred thousand
    // is kept whole; of one that is larger a big part is no more use than a small one, and slower.
    constexpr std::uintmax_t kKeptWhole = 32 << 20;
    if (!unknown && size <= kKeptWhole) {
      database_.Text("PRAGMA cache_size=-32768");
    }
  }

  sqlite::Connection database_;
  int runs_ = 0;
  // A read that failed has made SQLite roll the open transaction back. Its
  // failure, which the reader may not pass on, stops every write up to the next
  // Begin or Rollback: each would stand on its own.
  std::exception_ptr lost_;
  bool written_ = false, pending_ = false;  // pending: in the open transaction
  bool inside_ = false;                     // between Begin and Commit or Rollback
  Statements statements_;
};

Statement& Statements::Get(SqliteStore& store, const std::string& sql) {
  Statement& statement = statements_[sql];
  if (!statement) {
    statement = store.Prepare(sql);
  }
  return statement;
}

// A copy of the value is kept.
void Bind(Statement& statement, int parameter, const StoredValue& value) {
  if (value.kind == StoredValue::Kind::kNull) {
    statement.BindNull(parameter);
  } else if (value.kind == StoredValue::Kind::kBytes) {
    statement.BindBlob(parameter, value.bytes);
  } else {
    statement.BindCopy(parameter, value.bytes);
  }
}

void BindAll(Statement& statement, const std::vector<ColumnValue>& values) {
  int parameter = 0;
  for (const auto& [column, value] : values) {
    Bind(statement, ++parameter, StoredValue::Of(value));
  }
}

class SqliteTable final : public Table {
 public:
  SqliteTable(SqliteStore& store, std::string name)
      : Table(text::FromUtf8(name), store.Use().Name()),
        store_(store),
        name_(std::move(name)),
        table_(Identifier(name_)) {
    const Statement all = store_.Prepare("SELECT * FROM " + table_);
    for (int i = 0; i < all.ColumnCount(); ++i) {
      columns_.push_back(text::FromUtf8(all.ColumnName(i)));
    }
    number_ = store_.Use().RowNumber(name_, all);
    if (number_.empty()) {
      Fail(kNoRowNumber,
           u"le righe non hanno un numero che le distingua, perché rowid, oid e _rowid_ "
           u"sono nomi di colonne, o perché la tabella è WITHOUT ROWID");
    }
    from_ = "SELECT " + number_ + ", * FROM " + table_;
    paths_.push_back(std::make_unique<Path>());
  }
  ~SqliteTable() override { End(); }

  std::optional<Index> FindIndex(std::u16string_view name) override {
    const std::u16string upper = text::Upper(name);
    for (std::size_t i = 1; i < paths_.size(); ++i) {
      if (paths_[i]->name == upper) {
        return paths_[i]->index;
      }
    }
    const std::string full = text::ToUtf8(Name() + u'.' + std::u16string(name));
    Statement& found = store_.Prepared(
        "SELECT l.name, i.name, "
        "l.\"unique\" AND (SELECT count(*) FROM pragma_index_info(l.name)) = 1 "
        "FROM pragma_index_list(?1) AS l, pragma_index_info(l.name) AS i "
        "WHERE l.name = ?2 COLLATE NOCASE AND NOT l.partial AND i.seqno = 0 "
        "AND i.name IS NOT NULL");
    found.Bind(1, name_).Bind(2, full);
    if (!store_.Step(found)) {
      return std::nullopt;
    }
    const std::string through = " INDEXED BY " + Identifier(found.Bytes(0));
    const std::u16string key = text::FromUtf8(found.Bytes(1));
    const bool unique = found.Number(2) != 0;
    found.Reset();
    const Index index = {Column(key), unique, paths_.size()};
    paths_.push_back(std::make_unique<Path>(Path{upper, index, through, ColumnName(index.column)}));
    return index;
  }

  bool IsKey(int column) override {
    const std::string name = text::ToUtf8(columns_[static_cast<std::size_t>(column)]);
    const std::string collation = Translated([&] { return store_.Use().Collation(name_, name); });
    return text::Upper(text::FromUtf8(collation)) == u"RTRIM";
  }

  // --- Runs

  void Find(std::int64_t row) override {
    Begin(Prepared(from_ + " WHERE " + number_ + " = ?"),
          [&](Statement& run) { run.Bind(1, row); });
  }

  void Find(const Index& index, const StoredValue& key) override {
    Path& path = *paths_[index.number];
    if (path.find == nullptr) {
      path.find =
          &Prepared(from_ + path.through + " WHERE " + path.key + " IS ? ORDER BY " + number_);
    }
    Begin(*path.find, [&](Statement& run) { Bind(run, 1, key); });
  }

  void Walk(const Index& index, Direction direction, From from, const StoredValue& key,
            std::int64_t row) override {
    End();
    walked_ = paths_[index.number].get();
    direction_ = direction;
    key_ = key;
    row_ = row;
    if (from == From::kEnd) {
      piece_ = kAll;
    } else if (index.column == 0) {
      piece_ = kBeyondRow;
    } else if (from == From::kKey) {
      piece_ = kBeyondKey;
    } else {
      piece_ = kSameKey;
    }
    BeginPiece();
  }

  void Select(const Condition& condition, const std::vector<int>& order) override {
    std::string sql = "SELECT " + number_ + ", *" + FromWhere(condition);
    if (!order.empty()) {
      sql += " ORDER BY " + ColumnNames(order);
    }
    Begin(Prepared(sql), [&](Statement& run) { BindAll(run, condition); });
  }

  void Scan(const Condition& condition, const std::vector<int>& columns) override {
    Begin(Prepared("SELECT " + number_ + ", " + ColumnNames(columns) + FromWhere(condition)),
          [&](Statement& run) { BindAll(run, condition); });
  }

  void List(const std::vector<std::int64_t>& rows) override {
    std::string array;
    for (const std::int64_t row : rows) {
      text::AppendItem(array, std::to_string(row), ",");
    }
    Begin(Prepared("SELECT t." + number_ + ", t.* FROM json_each(?) AS o CROSS JOIN " + table_ +
                   " AS t ON t." + number_ + " = o.value"),
          [&](Statement& run) { run.BindCopy(1, '[' + array + ']'); });
  }

  bool Next() override {
    try {
      if (!stepped_) {
        store_.BeginRun();
        stepped_ = true;
      }
      while (!store_.Step(*run_)) {
        if (walked_ == nullptr || !ToNextPiece()) {
          End();
          return false;
        }
        BeginPiece();
      }
    } catch (...) {
      End();
      throw;
    }
    return true;
  }

  void End() noexcept override {
    if (run_ != nullptr) {
      run_->Reset();
    }
    if (stepped_) {
      store_.EndRun();
    }
    run_ = nullptr;
    stepped_ = false;
    walked_ = nullptr;
  }

  std::int64_t Number() const override { return run_->Number(0); }
  std::optional<std::string_view> Text(int column) const override { return run_->Text(column); }

  StoredValue Stored(int column) const override {
    switch (run_->Type(column)) {
      case sqlite::Type::kNull:
        return {};
      case sqlite::Type::kBlob:
        return {StoredValue::Kind::kBytes, std::string(run_->Blob(column))};
      default:
        return {StoredValue::Kind::kText, std::string(run_->Bytes(column))};
    }
  }

  // --- Writes

  void Insert(const std::vector<ColumnValue>& values) override { Write(values, std::nullopt); }
  void Update(std::int64_t row, const std::vector<ColumnValue>& values) override {
    Write(values, row);
  }

  void Delete(std::int64_t row) override {
    Statement& statement = Prepared("DELETE FROM " + table_ + " WHERE " + number_ + " = ?");
    Translated([&] { statement.Bind(1, row); });
    store_.Write(statement, *this, Rows::kCurrent);
  }

  void Delete(const Condition& condition) override {
    Statement& statement = Prepared("DELETE" + FromWhere(condition));
    Translated([&] { BindAll(statement, condition); });
    store_.Write(statement, *this, Rows::kAny);
  }

 private:
  // A walk is made of pieces, each a range of the index that one statement runs through. Null
  // keys come first, and no comparison finds them, so they are a piece of their own.
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
    Index index;
    std::string through, key;  // both in SQL
    Statement* find = nullptr;
    std::array<std::array<Statement*, kPieces>, 2> runs = {};
  };

  std::string ColumnName(int column) const {
    return Identifier(text::ToUtf8(columns_[static_cast<std::size_t>(column)]));
  }

  // Their names in SQL with commas between, `mark` after each name.
  std::string ColumnNames(const std::vector<int>& columns, const char* mark = "") const {
    std::string names;
    for (const int column : columns) {
      text::AppendItem(names, ColumnName(column) + mark);
    }
    return names;
  }

  std::string FromWhere(const Condition& condition) const {
    std::string terms;
    for (const auto& [column, value] : condition) {
      text::AppendItem(terms, ColumnName(column) + " = ?", " OR ");
    }
    if (terms.empty()) {
      return " FROM " + table_;
    }
    return " FROM " + table_ + " WHERE " + terms;
  }

  Statement& Prepared(const std::string& sql) { return statements_.Get(store_, sql); }

  template <typename Parameters>
  void Begin(Statement& statement, Parameters bind) {
    End();
    Translated([&] { bind(statement); });
    run_ = &statement;
  }

  void BeginPiece() {
    Statement& run = PieceStatement();
    Translated([&] {
      if (piece_ == kSameKey || piece_ == kBeyondKey) {
        Bind(run, 1, key_);
      }
      if (piece_ == kSameKey || piece_ == kBeyondRow) {
        run.Bind(2, row_);
      }
    });
    run_ = &run;
  }

  // Runs through the index alone, in the order of key and row number.
  Statement& PieceStatement() {
    const bool next = direction_ == Direction::kNext;
    Statement*& run = walked_->runs[static_cast<std::size_t>(next)][piece_];
    if (run == nullptr) {
      const std::string& key = walked_->key;
      const std::string beyond = next ? " > " : " < ";
      const std::string down = next ? "" : " DESC";
      std::string order = number_ + down;
      if (!key.empty()) {
        order.insert(0, key + down + ", ");
      }
      const std::string pieces[kPieces] = {
          "",
          " WHERE " + key + " IS ?1 AND " + number_ + beyond + "?2",
          " WHERE " + key + beyond + "?1",
          " WHERE " + key + " IS NULL",
          " WHERE " + key + " IS NOT NULL",
          " WHERE " + number_ + beyond + "?2"};
      run = &Prepared(from_ + walked_->through + pieces[piece_] + " ORDER BY " + order);
    }
    return *run;
  }

  // False after the last piece.
  bool ToNextPiece() {
    const bool next = direction_ == Direction::kNext;
    if (piece_ == kSameKey && key_.kind != StoredValue::Kind::kNull) {
      piece_ = kBeyondKey;
    } else if (piece_ == kSameKey && next) {
      piece_ = kOtherKeys;  // Null is the first key of all
    } else if (piece_ == kBeyondKey && !next) {
      piece_ = kNullKeys;
    } else {
      return false;
    }
    return true;
  }

  // OR ABORT: a table that was declared to replace or leave out rows in conflict would lose them
  // without a word.
  std::string WritingText(bool update) const {
    if (update) {
      return "UPDATE OR ABORT " + table_ + " SET " + ColumnNames(written_, " = ?") + " WHERE " +
             number_ + " = ?";
    }
    const std::string insert = "INSERT OR ABORT INTO " + table_;
    if (written_.empty()) {
      return insert + " DEFAULT VALUES";
    }
    return insert + " (" + ColumnNames(written_) + ") VALUES (" +
           sqlite::Parameters(written_.size()) + ")";
  }

  // A loop writes the same columns row by row.
  void Write(const std::vector<ColumnValue>& values, std::optional<std::int64_t> row) {
    const auto column = &ColumnValue::first;
    const bool update = row.has_value();
    if (!writing_ || updates_ != update || !std::ranges::equal(values, written_, {}, column)) {
      writing_ = {};
      updates_ = update;
      written_.clear();
      std::ranges::transform(values, std::back_inserter(written_), column);
      writing_ = store_.Prepare(WritingText(update));
    }
    Translated([&] {
      BindAll(writing_, values);
      if (update) {
        writing_.Bind(static_cast<int>(values.size()) + 1, *row);
      }
    });
    store_.Write(writing_, *this, update ? Rows::kCurrent : Rows::kNew);
  }

  SqliteStore& store_;
  const std::string name_, table_;  // the second one in SQL
  std::string number_;              // the name of the rows' number in SQL
  std::string from_;                // "SELECT rowid, * FROM table", by that name
  Statements statements_;
  std::vector<std::unique_ptr<Path>> paths_;  // by Index::number; 0 is the order of insertion

  Statement* run_ = nullptr;
  bool stepped_ = false;    // Next has run it
  Path* walked_ = nullptr;  // where the run is a walk: along which path,
  Direction direction_ = Direction::kNext;
  Piece piece_ = kAll;  // on which piece,
  StoredValue key_;     // and from where
  std::int64_t row_ = 0;

  Statement writing_;  // the one used last,
  bool updates_ = false;
  std::vector<int> written_;  // for these columns
};

std::unique_ptr<Table> SqliteStore::OpenTable(std::u16string_view name) {
  Statement& found =
      Prepared("SELECT name FROM sqlite_master WHERE type = 'table' AND name = ?1 COLLATE NOCASE");
  const std::string sought = text::ToUtf8(name);
  found.Bind(1, sought);
  if (!Step(found)) {
    throw Error(kNoTable, u"Nel file " + database_.Name() + u" manca la tabella " +
                              std::u16string(name) + u".");
  }
  std::string in_file(found.Bytes(0));
  found.Reset();
  return std::make_unique<SqliteTable>(*this, std::move(in_file));
}

}  // namespace

std::unique_ptr<Store> OpenSqliteStore(const std::filesystem::path& file) {
  return std::make_unique<SqliteStore>(file);
}

}  // namespace engine
