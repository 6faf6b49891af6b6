#include "platform/engine/postgresql/store.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <exception>
#include <iterator>
#include <limits>
#include <span>
#include <thread>
#include <utility>

#include "platform/postgresql/postgresql.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace engine {

namespace {

using postgresql::Cause;
using postgresql::Identifier;
using postgresql::Parameter;
using postgresql::Result;
using postgresql::Statement;

constexpr std::pair<Cause, ErrorNumber> kNumbers[] = {{Cause::kBusy, kLocked},
                                                      {Cause::kReadOnly, kReadOnly},
                                                      {Cause::kFull, kDiskFull},
                                                      {Cause::kNoTable, kNoTable},
                                                      {Cause::kNoColumn, kNoColumn},
                                                      {Cause::kUri, kNotADatabase},
                                                      {Cause::kPassword, kIo},
                                                      {Cause::kUnreachable, kIo},
                                                      {Cause::kRefused, kIo},
                                                      {Cause::kNoDatabase, kIo},
                                                      {Cause::kTls, kIo},
                                                      {Cause::kLost, kIo},
                                                      {Cause::kInterrupted, kIo},
                                                      {Cause::kDuplicateKey, kDuplicateKey}};

Error Translated(const postgresql::Error& error) {
  const auto* const found =
      std::ranges::find(kNumbers, error.Cause(), &std::pair<Cause, ErrorNumber>::first);
  if (found == std::end(kNumbers)) {
    return {kOther, error.Text()};
  }
  return {found->second, error.Text()};
}

// ---- What the server has

struct ServerIndex {
  std::u16string name;  // in upper case, without the table's
  int column;
  bool unique;  // by that column alone
};

struct ServerTable {
  std::string name;
  std::string number;  // the column of the rows' number; empty where there is none
  std::vector<std::string> columns{""}, types{""};  // from 1 on
  std::vector<ServerIndex> indexes;
  bool writable = false;
};

const Statement kFacts = {
    "SELECT pg_is_in_recovery(), c.system_identifier::text, CASE WHEN pg_is_in_recovery() THEN ''"
    " ELSE substr(pg_walfile_name(pg_current_wal_lsn()), 1, 8) END, a.pid, a.backend_start::text"
    " FROM pg_control_system() AS c, pg_stat_activity AS a WHERE a.pid = pg_backend_pid()",
    {}};
// The session before, where the server hasn't noticed yet that it is lost: its locks would hold up
// the next one. A commit that has begun is let alone.
constexpr char kEndSession[] =
    "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE pid = $1"
    " AND backend_start::text = $2 AND query <> 'COMMIT'";
const Statement kColumns = {
    "SELECT c.relname, a.attname, t.typname, a.attidentity <> '',"
    " has_table_privilege(c.oid, 'INSERT') AND has_table_privilege(c.oid, 'UPDATE')"
    " AND has_table_privilege(c.oid, 'DELETE')"
    " FROM pg_class c JOIN pg_attribute a ON a.attrelid = c.oid JOIN pg_type t ON t.oid = "
    "a.atttypid"
    " WHERE c.relnamespace = 'public'::regnamespace AND c.relkind IN ('r', 'p')"
    " AND a.attnum > 0 AND NOT a.attisdropped ORDER BY c.relname, a.attnum",
    {}};
const Statement kIndexes = {
    "SELECT c.relname, i.relname, a.attname, x.indisunique AND x.indnkeyatts = 1"
    " FROM pg_index x JOIN pg_class c ON c.oid = x.indrelid JOIN pg_class i ON i.oid = x.indexrelid"
    " JOIN pg_attribute a ON a.attrelid = c.oid AND a.attnum = x.indkey[0]"
    " WHERE c.relnamespace = 'public'::regnamespace AND x.indisvalid AND x.indpred IS NULL",
    {}};
const Statement kTriggers = {
    "SELECT t.tgname, c.relname FROM pg_trigger t JOIN pg_class c ON c.oid = t.tgrelid"
    " WHERE c.relnamespace = 'public'::regnamespace AND NOT t.tgisinternal ORDER BY 2, 1",
    {}};

std::vector<ServerTable> Described(const Result& columns, const Result& indexes) {
  std::vector<ServerTable> tables;
  for (int row = 0; row < columns.Rows(); ++row) {
    if (tables.empty() || tables.back().name != columns.Bytes(row, 0)) {
      tables.push_back({std::string(columns.Bytes(row, 0))});
      tables.back().writable = columns.True(row, 4);
    }
    ServerTable& table = tables.back();
    if (columns.True(row, 3) && table.number.empty()) {
      table.number = columns.Bytes(row, 1);
    } else {
      table.columns.emplace_back(columns.Bytes(row, 1));
      table.types.emplace_back(columns.Bytes(row, 2));
    }
  }
  for (int row = 0; row < indexes.Rows(); ++row) {
    const auto table = std::ranges::find(tables, indexes.Bytes(row, 0), &ServerTable::name);
    const std::string_view name = indexes.Bytes(row, 1);
    if (table == tables.end() || !name.starts_with(table->name + "_")) {
      continue;
    }
    const auto column =
        std::find(table->columns.begin() + 1, table->columns.end(), indexes.Bytes(row, 2));
    if (column != table->columns.end()) {
      table->indexes.push_back({text::Upper(text::FromUtf8(name.substr(table->name.size() + 1))),
                                static_cast<int>(column - table->columns.begin()),
                                indexes.True(row, 3)});
    }
  }
  return tables;
}

// ---- Writes

// One that the server hasn't been sent yet.
struct Write {
  const ServerTable* table;
  std::u16string name;  // the table's, in messages
  Rows rows;
  Statement statement;
  // Of an update: the columns, the rows, and row by row the values of each column. The next row
  // that sets the same columns joins it, so that a loop over thousands is one statement.
  std::vector<int> columns = {};
  std::vector<std::int64_t> numbers = {};
  std::vector<std::vector<Parameter>> values = {};
};

Parameter Bytes(const Value& value) {
  if (!value) {
    return std::nullopt;
  }
  return text::ToUtf8(*value);
}

std::string Array(const std::vector<std::int64_t>& numbers) {
  std::string elements;
  for (const std::int64_t number : numbers) {
    text::AppendItem(elements, std::to_string(number));
  }
  return "{" + elements + "}";
}

std::string Array(const std::vector<Parameter>& texts) {
  std::string array = "{";
  for (const Parameter& text : texts) {
    if (array.size() > 1) {
      array += ',';
    }
    postgresql::AppendElement(array, text);
  }
  return array + '}';
}

Statement UpdateOfOne(const Write& write) {
  const ServerTable& table = *write.table;
  Statement update = {{}, {}, true};
  std::string set;
  for (std::size_t i = 0; i < write.columns.size(); ++i) {
    update.parameters.push_back(write.values[i].front());
    text::AppendItem(set, Identifier(table.columns[static_cast<std::size_t>(write.columns[i])]) +
                              " = $" + std::to_string(i + 1));
  }
  update.parameters.emplace_back(std::to_string(write.numbers.front()));
  update.sql = "UPDATE " + Identifier(table.name) + " SET " + set + " WHERE " +
               Identifier(table.number) + " = $" + std::to_string(update.parameters.size());
  return update;
}

Statement UpdateOf(const Write& write) {
  if (write.numbers.size() == 1) {
    return UpdateOfOne(write);
  }
  const ServerTable& table = *write.table;
  Statement update = {{}, {}, true};
  std::string set, arrays, names;
  for (std::size_t i = 0; i < write.columns.size(); ++i) {
    const auto column = static_cast<std::size_t>(write.columns[i]);
    const std::string number = std::to_string(i + 1);
    text::AppendItem(set, Identifier(table.columns[column]) + " = v.c" + number);
    arrays += "$" + number + "::" + Identifier(table.types[column]) + "[], ";
    names += "c" + number + ", ";
    update.parameters.emplace_back(Array(write.values[i]));
  }
  update.parameters.emplace_back(Array(write.numbers));
  update.sql = "UPDATE " + Identifier(table.name) + " AS t SET " + set + " FROM unnest(" + arrays +
               "$" + std::to_string(update.parameters.size()) + "::bigint[]) AS v(" + names +
               "n) WHERE t." + Identifier(table.number) + " = v.n";
  return update;
}

// ---- The store

class PostgresTable;

// Whatever asks the server sends along what has been put off: the beginning of a transaction, and
// its writes. So each of these costs no round trip of its own.
class PostgresStore final : public Store {
 public:
  PostgresStore(const std::filesystem::path& file, std::string address);

  std::unique_ptr<Table> OpenTable(std::u16string_view name) override;
  std::vector<Database::Trigger> Triggers() override { return triggers_; }

  void Begin() override {
    Forget();
    inside_ = true;
    ++moment_;  // under the lock everything is looked at anew
  }
  void Commit() override;
  void Rollback() noexcept override;
  void Rest() noexcept override {
    failure_ = nullptr;
    ++moment_;
  }

  bool Written() const override { return written_; }
  void CopyTo(const std::filesystem::path& to, const std::filesystem::path& name) override;

  // --- For the tables

  const std::u16string& Name() const { return name_; }
  // Another number after each rest, beginning and write: what was read before may have changed.
  int Moment() const { return moment_; }

  std::vector<Result> Ask(const std::vector<Statement>& statements);
  // Rows one at a time, up to the last one or EndRows. When something else is asked before, the
  // reader keeps the rows that are still to come.
  void AskRows(const Statement& statement, PostgresTable& reader);
  bool NextRow(postgresql::Rows& rows);
  void EndRows() noexcept;

  void Put(Write write);

 private:
  void Connect();
  void Describe(const Result& columns, const Result& indexes, const Result& triggers);
  bool Watch();
  postgresql::Connection& Use();
  template <typename Work>
  auto Guarded(Work work);
  void Sent(std::span<const Result> results);
  void SendCommit();
  std::optional<bool> Stands();
  void Forget() noexcept;
  void Abort(const std::exception_ptr& failure) noexcept;
  void LetReaderKeep();

  const std::u16string name_;
  const std::string address_;
  std::unique_ptr<postgresql::Connection> connection_;
  std::vector<ServerTable> tables_;
  std::vector<Database::Trigger> triggers_;
  std::string cluster_, timeline_;  // which server it is, and since which promotion
  // The server's process for this connection, and since when; none at first.
  std::pair<Parameter, Parameter> session_;
  std::string lock_;  // the statement that keeps other writers out
  PostgresTable* reader_ = nullptr;
  int moment_ = 0;
  std::chrono::steady_clock::time_point watched_, waiting_since_;
  // Why the server can't be reached. Up to the next rest nothing tries again, so that an
  // operation waits only once.
  std::exception_ptr failure_;

  bool inside_ = false;  // between Begin and Commit or Rollback
  bool begun_ = false;   // the server knows of it
  // What failed inside. It stops every write up to the next Begin or Rollback: they would stand
  // each on its own.
  std::exception_ptr lost_;
  std::vector<Write> writes_;  // put off
  std::string transaction_;    // its number on the server, once something has been written in it
  bool pending_ = false, written_ = false;
};

// ---- Tables

class PostgresTable final : public Table {
 public:
  PostgresTable(PostgresStore& store, const ServerTable& table, std::u16string_view name);
  ~PostgresTable() override { End(); }

  std::optional<Index> FindIndex(std::u16string_view name) override {
    const auto found = std::ranges::find(table_.indexes, text::Upper(name), &ServerIndex::name);
    if (found == table_.indexes.end()) {
      return std::nullopt;
    }
    return Index{found->column, found->unique, 0};
  }

  bool IsKey(int column) override {
    return table_.types[static_cast<std::size_t>(column)] == "bpchar";
  }

  void Find(std::int64_t row) override;
  void Expect(const Index& index, const std::vector<StoredValue>& keys) override;
  void Find(const Index& index, const StoredValue& key) override;
  void Walk(const Index& index, Direction direction, From from, const StoredValue& key,
            std::int64_t row) override;
  void Select(const Condition& condition, const std::vector<int>& order) override;
  void Scan(const Condition& condition, const std::vector<int>& columns) override;
  void List(const std::vector<std::int64_t>& rows) override;

  bool Next() override {
    bool row = false;
    try {
      row = NextOfRun();
    } catch (...) {
      End();
      throw;
    }
    if (!row) {
      End();
    }
    return row;
  }

  void End() noexcept override {
    if (streaming_) {
      store_.EndRows();
    }
    if (kind_ == Kind::kList) {
      scanned_ = {};
    }
    Begin(Kind::kNone);
  }

  std::int64_t Number() const override { return NumberIn(Cell(0)); }
  std::optional<std::string_view> Text(int column) const override { return Cell(column); }
  StoredValue Stored(int column) const override {
    const std::optional<std::string_view> text = Cell(column);
    if (!text) {
      return {};
    }
    return {StoredValue::Kind::kText, std::string(*text)};
  }

  // See PostgresStore::AskRows. After a failure, which the next row throws, there are none.
  void KeepRows();
  void DropRows(const std::exception_ptr& failure) noexcept {
    streaming_ = false;
    dropped_ = failure;
  }

  void Insert(const std::vector<ColumnValue>& values) override;
  void Update(std::int64_t row, const std::vector<ColumnValue>& values) override;
  void Delete(std::int64_t row) override;
  void Delete(const Condition& condition) override;

 private:
  enum class Kind {
    kNone,
    kRow,   // one row
    kKey,   // the rows of a key, page by page
    kWalk,  // along an index, page by page
    kRows,  // those of one statement, one by one
    kScan,  // the same, all of them kept
    kList,  // those kept by a scan, in another order
  };

  // Rows of a page: the first one is small, since most runs want one row. Whoever wants more wants
  // many.
  static constexpr int kOne = 1, kFew = 64, kMany = 16384;

  struct Page {
    std::vector<Result> results;
    int rows = 0;       // of the results', from the first one on
    bool last = false;  // no page comes after it
  };

  // Rows by number.
  struct Scanned {
    postgresql::Rows rows;
    std::vector<std::int64_t> numbers;
    int moment = -1;  // at which they were all there
  };

  static std::int64_t NumberIn(std::optional<std::string_view> text) {
    std::int64_t number = 0;
    if (text) {
      std::from_chars(text->data(), text->data() + text->size(), number);
    }
    return number;
  }

  std::string ColumnName(int column) const {
    return "t." + Identifier(table_.columns[static_cast<std::size_t>(column)]);
  }
  Parameter Bound(int column, const Value& value) const;
  Statement Conditioned(const std::string& head, const Condition& condition) const;

  void Begin(Kind kind) noexcept {
    kind_ = kind;
    asked_ = streaming_ = false;
    dropped_ = nullptr;
    rows_.Clear();
    page_ = nullptr;
  }
  bool NextOfRun();
  bool NextOfRows();
  bool NextOfScan();
  bool NextOfList();
  bool NextOfPages();
  void FetchPage();
  std::vector<Statement> PieceStatements(int limit) const;
  std::vector<Statement> KeyStatements(const std::string& limit) const;
  std::vector<Statement> WalkStatements(const std::string& limit) const;
  std::optional<std::string_view> Cell(int column) const;

  PostgresStore& store_;
  const ServerTable& table_;
  std::string number_, list_, from_;  // "t.number", "SELECT t.number, t.column, ...", " FROM ..."

  Kind kind_ = Kind::kNone;
  bool asked_ = false;

  Statement statement_;  // of kRow, kRows and kScan
  bool streaming_ = false;
  std::exception_ptr dropped_;  // why the rows to come can't be had
  postgresql::Rows rows_;       // the row that stands, and those kept after it
  Scanned scanned_;
  std::vector<int> scan_columns_;  // as the scan counts them, from 0 on
  std::vector<std::int64_t> list_numbers_;
  std::size_t at_row_number_ = 0;  // in list_numbers_
  std::size_t at_kept_ = 0;        // the row that stands, of rows_ or scanned_

  int column_ = 0;  // of kKey and kWalk: the index's key, and where the next page begins
  Direction direction_ = Direction::kNext;
  From from_place_ = From::kEnd;
  StoredValue key_;
  std::int64_t row_ = 0;
  std::shared_ptr<const Page> page_;
  int at_ = 0;                 // the row in the page,
  std::size_t at_result_ = 0;  // in this result,
  int at_row_ = 0;             // and there
  bool grown_ = false;         // the first page is used up
  // The first page of the table by the index of `first_column_`, at that moment: whether there is
  // a row at all is often asked before the rows are.
  std::shared_ptr<const Page> first_page_;
  int first_column_ = 0, first_moment_ = -1;
  // The first pages of the keys expected in this column, at that moment.
  std::vector<std::pair<std::string, std::shared_ptr<const Page>>> expected_;
  int expected_column_ = 0, expected_moment_ = -1;
};

PostgresTable::PostgresTable(PostgresStore& store, const ServerTable& table,
                             std::u16string_view name)
    : Table(std::u16string(name), store.Name()), store_(store), table_(table) {
  if (table_.number.empty()) {
    Fail(kNoRowNumber,
         u"le righe non hanno un numero che le distingua: manca una colonna "
         u"GENERATED AS IDENTITY");
  }
  number_ = "t." + Identifier(table_.number);
  list_ = "SELECT " + number_;
  for (int column = 1; column < static_cast<int>(table_.columns.size()); ++column) {
    columns_.push_back(text::FromUtf8(table_.columns[static_cast<std::size_t>(column)]));
    list_ += ", " + ColumnName(column);
  }
  from_ = " FROM " + Identifier(table_.name) + " AS t";
}

// ---- Runs

void PostgresTable::Find(std::int64_t row) {
  End();
  Begin(Kind::kRow);
  statement_ = {list_ + from_ + " WHERE " + number_ + " = $1", {std::to_string(row)}, true};
}

void PostgresTable::Expect(const Index& index, const std::vector<StoredValue>& keys) {
  std::vector<Statement> statements;
  for (const StoredValue& key : keys) {
    Find(index, key);
    const std::vector<Statement> one = PieceStatements(kOne);
    statements.insert(statements.end(), one.begin(), one.end());
  }
  End();
  std::vector<Result> results = store_.Ask(statements);
  expected_.clear();
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const auto page = std::make_shared<Page>();
    page->rows = results[i].Rows();
    page->last = page->rows == 0;
    page->results.push_back(std::move(results[i]));
    expected_.emplace_back(keys[i].bytes, page);
  }
  expected_column_ = index.column;
  expected_moment_ = store_.Moment();
}

void PostgresTable::Find(const Index& index, const StoredValue& key) {
  End();
  Begin(Kind::kKey);
  column_ = index.column;
  key_ = key;
  row_ = std::numeric_limits<std::int64_t>::min();
  grown_ = false;
}

void PostgresTable::Walk(const Index& index, Direction direction, From from, const StoredValue& key,
                         std::int64_t row) {
  End();
  Begin(Kind::kWalk);
  column_ = index.column;
  direction_ = direction;
  from_place_ = from;
  key_ = key;
  row_ = row;
  grown_ = false;
}

void PostgresTable::Select(const Condition& condition, const std::vector<int>& order) {
  End();
  Begin(Kind::kRows);
  statement_ = Conditioned(list_, condition);
  statement_.sql += " ORDER BY ";
  for (const int column : order) {
    statement_.sql += ColumnName(column) + " NULLS FIRST, ";
  }
  statement_.sql += number_;
}

// In the order of insertion, in which names that are equal come from a file. The rows are kept
// whole: to ask for them once more, in their order by name, would take the server longer than all
// the rest.
void PostgresTable::Scan(const Condition& condition, const std::vector<int>& columns) {
  End();
  Begin(Kind::kScan);
  scanned_ = {};
  scan_columns_ = columns;
  scan_columns_.insert(scan_columns_.begin(), 0);
  statement_ = Conditioned(list_, condition);
  statement_.sql += " ORDER BY " + number_;
}

// The subquery is one that only a loop over the numbers can run: the rows come in their order, the
// first ones at once, without a sort.
void PostgresTable::List(const std::vector<std::int64_t>& rows) {
  End();
  if (scanned_.moment == store_.Moment()) {
    Begin(Kind::kList);
    list_numbers_ = rows;
    return;
  }
  scanned_ = {};
  Begin(Kind::kRows);
  statement_ = {"SELECT f.* FROM unnest($1::bigint[]) AS o(n) CROSS JOIN LATERAL (" + list_ +
                    from_ + " WHERE " + number_ + " = o.n LIMIT 1) AS f",
                {Array(rows)}};
}

bool PostgresTable::NextOfRun() {
  switch (kind_) {
    case Kind::kRows:
      return NextOfRows();
    case Kind::kScan:
      return NextOfScan();
    case Kind::kList:
      return NextOfList();
    default:
      return NextOfPages();
  }
}

bool PostgresTable::NextOfRows() {
  if (!asked_) {
    asked_ = true;
    store_.AskRows(statement_, *this);
    streaming_ = true;
  }
  if (dropped_ != nullptr) {
    std::rethrow_exception(dropped_);
  }
  if (streaming_) {
    rows_.Clear();
    at_kept_ = 0;
    streaming_ = store_.NextRow(rows_);
    return streaming_;
  }
  return ++at_kept_ < rows_.Count();
}

void PostgresTable::KeepRows() {
  while (store_.NextRow(rows_)) {
  }
  streaming_ = false;
}

bool PostgresTable::NextOfScan() {
  constexpr std::size_t kLook = 1024;  // rows
  if (asked_) {
    ++at_kept_;
    return at_kept_ < scanned_.rows.Count();
  }
  asked_ = true;
  store_.AskRows(statement_, *this);
  streaming_ = true;
  while (store_.NextRow(scanned_.rows)) {
    scanned_.numbers.push_back(scanned_.rows.Number(scanned_.numbers.size(), 0));
    if (scanned_.numbers.size() % kLook == 0) {
      StillWorking();
    }
  }
  streaming_ = false;
  scanned_.moment = store_.Moment();
  at_kept_ = 0;
  return !scanned_.numbers.empty();
}

bool PostgresTable::NextOfList() {
  if (asked_) {
    ++at_row_number_;
  } else {
    asked_ = true;
    at_row_number_ = 0;
  }
  for (; at_row_number_ < list_numbers_.size(); ++at_row_number_) {
    const std::int64_t number = list_numbers_[at_row_number_];
    const auto found = std::ranges::lower_bound(scanned_.numbers, number);
    if (found != scanned_.numbers.end() && *found == number) {
      at_kept_ = static_cast<std::size_t>(found - scanned_.numbers.begin());
      return true;
    }
  }
  return false;
}

bool PostgresTable::NextOfPages() {
  if (!asked_) {
    asked_ = true;
    FetchPage();
  } else {
    ++at_;
    ++at_row_;
  }
  while (at_ >= page_->rows) {
    if (page_->last) {
      return false;
    }
    --at_row_;  // from the last row on
    if (column_ != 0) {
      key_ = Stored(column_);
    }
    row_ = Number();
    from_place_ = From::kRow;
    FetchPage();
  }
  while (at_row_ >= page_->results[at_result_].Rows()) {
    ++at_result_;
    at_row_ = 0;
  }
  return true;
}

void PostgresTable::FetchPage() {
  const bool first = kind_ == Kind::kWalk && from_place_ == From::kEnd;
  const bool cached = first && direction_ == Direction::kNext;
  const bool further = std::exchange(grown_, true);
  int limit = kMany;
  if (!further && first) {
    limit = kFew;
  } else if (!further) {
    limit = kOne;
  }
  at_ = at_row_ = 0;
  at_result_ = 0;
  if (kind_ == Kind::kKey && !further && expected_column_ == column_ &&
      expected_moment_ == store_.Moment()) {
    for (const auto& [key, page] : expected_) {
      if (key == key_.bytes && key_.kind == StoredValue::Kind::kText) {
        page_ = page;
        return;
      }
    }
  }
  if (cached && first_page_ != nullptr && first_column_ == column_ &&
      first_moment_ == store_.Moment()) {
    page_ = first_page_;
    return;
  }
  const auto page = std::make_shared<Page>();
  page->results = store_.Ask(PieceStatements(limit));
  for (const Result& result : page->results) {
    page->rows += result.Rows();
  }
  page->last = kind_ == Kind::kRow || page->rows < limit;
  page->rows = std::min(page->rows, limit);
  page_ = page;
  if (cached) {
    first_page_ = page;
    first_column_ = column_;
    first_moment_ = store_.Moment();
  }
}

std::vector<Statement> PostgresTable::PieceStatements(int limit) const {
  const std::string rows = " LIMIT " + std::to_string(limit);
  if (kind_ == Kind::kRow) {
    return {statement_};
  }
  if (kind_ == Kind::kKey) {
    return KeyStatements(rows);
  }
  return WalkStatements(rows);
}

// A text with NUL equals none that a server has.
std::vector<Statement> PostgresTable::KeyStatements(const std::string& limit) const {
  Statement statement = {list_ + from_ + " WHERE " + number_ + " > $1 AND " + ColumnName(column_),
                         {std::to_string(row_)},
                         true};
  if (key_.kind == StoredValue::Kind::kNull) {
    statement.sql += " IS NULL";
  } else {
    statement.sql += " = $2";
    statement.parameters.emplace_back(key_.bytes);
  }
  if (key_.bytes.find('\0') != key_.bytes.npos) {
    statement.sql += " AND false";
  }
  statement.sql += " ORDER BY " + number_ + limit;
  return {statement};
}

// A walk is made of ranges of the index. Null keys come first, and no comparison finds them, so
// they are a range of their own; where a page may need two ranges, both are asked for at once.
std::vector<Statement> PostgresTable::WalkStatements(const std::string& limit) const {
  const bool next = direction_ == Direction::kNext;
  std::string beyond = " > ", down, nulls_first = " NULLS FIRST, ";
  if (!next) {
    beyond = " < ";
    down = " DESC";
    nulls_first = " DESC NULLS LAST, ";
  }
  const std::string by_number = " ORDER BY " + number_ + down + limit;
  const std::string row = std::to_string(row_);
  if (column_ == 0) {
    if (from_place_ == From::kEnd) {
      return {{list_ + from_ + by_number, {}, true}};
    }
    return {{list_ + from_ + " WHERE " + number_ + beyond + "$1" + by_number, {row}, true}};
  }
  const std::string key = ColumnName(column_);
  const std::string by_key = " ORDER BY " + key + nulls_first + number_ + down + limit;
  const std::string where = list_ + from_ + " WHERE " + key;
  if (from_place_ == From::kEnd) {
    return {{list_ + from_ + by_key, {}, true}};
  }
  if (key_.kind == StoredValue::Kind::kNull) {
    std::vector<Statement> both = {
        {where + " IS NULL AND " + number_ + beyond + "$1" + by_number, {row}, true}};
    if (next) {
      both.push_back({where + " IS NOT NULL" + by_key, {}, true});
    }
    return both;
  }
  std::vector<Statement> both;
  if (from_place_ == From::kKey) {
    both.push_back({where + beyond + "$1" + by_key, {key_.bytes}, true});
  } else {
    both.push_back(
        {list_ + from_ + " WHERE (" + key + ", " + number_ + ")" + beyond + "($1, $2)" + by_key,
         {key_.bytes, row},
         true});
  }
  if (!next) {
    both.push_back({where + " IS NULL" + by_number, {}, true});
  }
  return both;
}

std::optional<std::string_view> PostgresTable::Cell(int column) const {
  switch (kind_) {
    case Kind::kRows:
      return rows_.Text(at_kept_, column);
    case Kind::kScan:
      return scanned_.rows.Text(at_kept_, scan_columns_[static_cast<std::size_t>(column)]);
    case Kind::kList:
      return scanned_.rows.Text(at_kept_, column);
    default:
      return page_->results[at_result_].Text(at_row_, column);
  }
}

Statement PostgresTable::Conditioned(const std::string& head, const Condition& condition) const {
  Statement statement = {head + from_, {}};
  const char* word = " WHERE ";
  for (const auto& [column, value] : condition) {
    statement.sql += word;
    word = " OR ";
    if (value && value->find(u'\0') != value->npos) {
      statement.sql += "false";  // as in KeyStatements
    } else {
      statement.parameters.push_back(Bytes(value));
      statement.sql += ColumnName(column) + " = $" + std::to_string(statement.parameters.size());
    }
  }
  return statement;
}

// ---- Writes of a table

Parameter PostgresTable::Bound(int column, const Value& value) const {
  if (value && value->find(u'\0') != value->npos) {
    Fail(kOther, u"il testo per la colonna " + columns_[static_cast<std::size_t>(column)] +
                     u" contiene il carattere NUL, che un server non conserva");
  }
  return Bytes(value);
}

void PostgresTable::Insert(const std::vector<ColumnValue>& values) {
  Statement statement = {"INSERT INTO " + Identifier(table_.name), {}, true};
  std::string names, marks;
  for (const auto& [column, value] : values) {
    statement.parameters.push_back(Bound(column, value));
    text::AppendItem(names, Identifier(table_.columns[static_cast<std::size_t>(column)]));
    text::AppendItem(marks, "$" + std::to_string(statement.parameters.size()));
  }
  if (values.empty()) {
    statement.sql += " DEFAULT VALUES";
  } else {
    statement.sql += " (" + names + ") VALUES (" + marks + ")";
  }
  store_.Put({&table_, Name(), Rows::kNew, std::move(statement)});
}

void PostgresTable::Update(std::int64_t row, const std::vector<ColumnValue>& values) {
  Write write = {&table_, Name(), Rows::kCurrent, {}};
  for (const auto& [column, value] : values) {
    write.columns.push_back(column);
    write.values.push_back({Bound(column, value)});
  }
  write.numbers.push_back(row);
  store_.Put(std::move(write));
}

void PostgresTable::Delete(std::int64_t row) {
  store_.Put({&table_,
              Name(),
              Rows::kCurrent,
              {"DELETE" + from_ + " WHERE " + number_ + " = $1", {std::to_string(row)}, true}});
}

void PostgresTable::Delete(const Condition& condition) {
  Statement statement = Conditioned("DELETE", condition);
  statement.kept = true;
  store_.Put({&table_, Name(), Rows::kAny, std::move(statement)});
}

// ---- The store

// Called several times a second while the server is silent. Many short waits are a long one, too.
bool PostgresStore::Watch() {
  constexpr std::chrono::milliseconds kApart(200), kLong(450);
  const auto now = std::chrono::steady_clock::now();
  if (now - watched_ > kApart) {
    waiting_since_ = now;
  }
  watched_ = now;
  if (now - waiting_since_ >= kLong) {
    StillWaiting();
  }
  return StillWorking();
}

void PostgresStore::Connect() {
  connection_ =
      std::make_unique<postgresql::Connection>(address_, name_, [this] { return Watch(); });
  const bool first = cluster_.empty();
  std::vector<Statement> statements = {kFacts, {kEndSession, {session_.first, session_.second}}};
  if (first) {
    statements.insert(statements.end(), {kColumns, kIndexes, kTriggers});
  }
  const std::vector<Result> results = connection_->Run(statements);
  const Result& facts = results.front();
  if (facts.True(0, 0)) {
    connection_.reset();
    throw Error(kReadOnly, u"Il server dell'archivio " + name_ +
                               u" è una copia di riserva, che non può essere scritta.");
  }
  if (!first && facts.Bytes(0, 1) != cluster_) {
    connection_.reset();
    throw Error(kMoved, u"All'indirizzo dell'archivio " + name_ +
                            u" ora risponde un altro server. Annotare i dati non registrati, "
                            u"chiudere il programma e riaprirlo.");
  }
  timeline_ = facts.Bytes(0, 2);
  session_ = {std::string(facts.Bytes(0, 3)), std::string(facts.Bytes(0, 4))};
  if (!first) {
    return;
  }
  cluster_ = facts.Bytes(0, 1);
  Describe(results[2], results[3], results[4]);
}

void PostgresStore::Describe(const Result& columns, const Result& indexes, const Result& triggers) {
  tables_ = Described(columns, indexes);
  for (int row = 0; row < triggers.Rows(); ++row) {
    triggers_.push_back(
        {text::FromUtf8(triggers.Bytes(row, 0)), text::FromUtf8(triggers.Bytes(row, 1))});
  }
  std::string writable;
  for (const ServerTable& table : tables_) {
    if (table.writable) {
      text::AppendItem(writable, Identifier(table.name));
    }
  }
  if (tables_.empty()) {
    throw Error(kNoTable, u"Nel database dell'archivio " + name_ +
                              u" non ci sono tabelle: l'archivio non vi è ancora stato pubblicato, "
                              u"oppure questo utente non può leggerlo.");
  }
  if (writable.empty()) {
    throw Error(kReadOnly, u"L'archivio " + name_ +
                               u" non può essere scritto: a questo utente mancano i permessi.");
  }
  // The weakest lock that keeps out whoever writes, by whatever program, and no reader.
  lock_ = "LOCK TABLE " + writable + " IN SHARE ROW EXCLUSIVE MODE";
}

postgresql::Connection& PostgresStore::Use() {
  if (failure_ != nullptr) {
    std::rethrow_exception(failure_);
  }
  // One that broke while nothing was going on is replaced without a word.
  if (connection_ == nullptr || (!begun_ && reader_ == nullptr && !connection_->Alive())) {
    connection_.reset();
    Connect();
  }
  return *connection_;
}

// Runs `work`, and keeps what follows from its failure.
template <typename Work>
auto PostgresStore::Guarded(Work work) {
  std::exception_ptr failure;
  try {
    try {
      return work();
    } catch (const postgresql::Error& error) {
      if (error.Cause() == Cause::kDuplicateKey) {
        FailDuplicate(text::Upper(text::FromUtf8(error.Table())), name_);
      }
      throw Translated(error);
    }
  } catch (...) {
    failure = std::current_exception();
  }
  if (connection_ == nullptr || connection_->Lost()) {
    failure_ = failure;
  }
  if (reader_ != nullptr) {
    std::exchange(reader_, nullptr)->DropRows(failure);
  }
  if (inside_) {
    Abort(failure);
  }
  std::rethrow_exception(failure);
}

PostgresStore::PostgresStore(const std::filesystem::path& file, std::string address)
    : name_(sys::PathText(file)), address_(std::move(address)) {
  Guarded([&] { Connect(); });
}

void PostgresStore::LetReaderKeep() {
  if (reader_ != nullptr) {
    reader_->KeepRows();
    reader_ = nullptr;
  }
}

std::vector<Result> PostgresStore::Ask(const std::vector<Statement>& statements) {
  return Guarded([&] {
    LetReaderKeep();
    postgresql::Connection& connection = Use();
    std::vector<Statement> all;
    if (inside_ && lost_ == nullptr && !std::exchange(begun_, true)) {
      all.push_back({"BEGIN", {}});
      all.push_back({lock_, {}});
    }
    for (const Write& write : writes_) {
      if (write.numbers.empty()) {
        all.push_back(write.statement);
      } else {
        all.push_back(UpdateOf(write));
      }
    }
    if (!writes_.empty() && transaction_.empty()) {
      all.push_back({"SELECT pg_current_xact_id_if_assigned()", {}, true});
    }
    const auto asked = static_cast<std::ptrdiff_t>(statements.size());
    all.insert(all.end(), statements.begin(), statements.end());
    std::vector<Result> results = connection.Run(all);
    Sent(std::span(results).first(all.size() - statements.size()));
    results.erase(results.begin(), results.end() - asked);
    return results;
  });
}

// Takes the answers to what had been put off: at the end those to the writes, and the number of the
// transaction.
void PostgresStore::Sent(std::span<const Result> results) {
  const std::vector<Write> writes = std::exchange(writes_, {});
  if (writes.empty()) {
    return;
  }
  if (transaction_.empty()) {
    transaction_ = results.back().Bytes(0, 0);
    results = results.first(results.size() - 1);
  }
  results = results.last(writes.size());
  for (std::size_t i = 0; i < writes.size(); ++i) {
    const std::int64_t changed = results[i].Changed();
    pending_ = pending_ || changed > 0;
    const auto meant =
        static_cast<std::int64_t>(std::max<std::size_t>(writes[i].numbers.size(), 1));
    CheckChanged(writes[i].rows, changed, meant, writes[i].name, name_);
  }
}

void PostgresStore::AskRows(const Statement& statement, PostgresTable& reader) {
  if (inside_ && lost_ == nullptr && (!begun_ || !writes_.empty())) {
    Ask({});
  }
  Guarded([&] {
    LetReaderKeep();
    Use().BeginRows(statement);
  });
  reader_ = &reader;
}

bool PostgresStore::NextRow(postgresql::Rows& rows) {
  return Guarded([&] {
    if (connection_->NextRow(rows)) {
      return true;
    }
    reader_ = nullptr;
    return false;
  });
}

void PostgresStore::EndRows() noexcept {
  reader_ = nullptr;
  connection_->EndRows();
}

// Whether both are updates of the same columns, of one row after the other.
bool Joins(const Write& last, const Write& next) {
  return !next.numbers.empty() && !last.numbers.empty() && last.table == next.table &&
         last.columns == next.columns && last.numbers.back() < next.numbers.front();
}

void PostgresStore::Put(Write write) {
  if (lost_ != nullptr) {
    std::rethrow_exception(lost_);
  }
  const bool alone = !inside_;
  if (alone) {
    Begin();
  }
  ++moment_;
  if (!writes_.empty() && Joins(writes_.back(), write)) {
    Write& last = writes_.back();
    last.numbers.push_back(write.numbers.front());
    for (std::size_t i = 0; i < write.values.size(); ++i) {
      last.values[i].push_back(std::move(write.values[i].front()));
    }
  } else {
    writes_.push_back(std::move(write));
  }
  if (alone) {
    Commit();
  }
}

void PostgresStore::Commit() {
  if (lost_ != nullptr) {
    std::rethrow_exception(lost_);
  }
  try {
    if (!writes_.empty()) {
      Ask({});
    }
    if (begun_) {
      SendCommit();
    }
  } catch (...) {
    Rollback();
    throw;
  }
  written_ = written_ || pending_;
  Forget();
}

void PostgresStore::Rollback() noexcept {
  Abort(nullptr);
  Forget();
}

// The server forgets the transaction, at the latest with the connection.
void PostgresStore::Abort(const std::exception_ptr& failure) noexcept {
  if (std::exchange(begun_, false) && connection_ != nullptr && !connection_->Lost()) {
    try {
      connection_->Run("ROLLBACK");
    } catch (const std::exception&) {
      connection_.reset();
    }
  }
  writes_.clear();
  transaction_.clear();
  pending_ = false;
  lost_ = failure;
}

void PostgresStore::Forget() noexcept {
  inside_ = begun_ = pending_ = false;
  lost_ = nullptr;
  writes_.clear();
  transaction_.clear();
}

void PostgresStore::SendCommit() {
  constexpr std::chrono::seconds kCommitLimit(4);
  std::exception_ptr failure;
  connection_->SetLimit(kCommitLimit);
  try {
    const Result result = connection_->Run("COMMIT");
    connection_->SetLimit(postgresql::kSilence);
    begun_ = false;
    if (result.Tag() != "COMMIT") {
      throw Error(kOther, u"L'archivio " + name_ + u" non ha accettato la modifica.");
    }
    return;
  } catch (const postgresql::Error& error) {
    const Error translated = Translated(error);
    if (error.Cause() != Cause::kLost && error.Cause() != Cause::kInterrupted) {
      throw translated;
    }
    failure = std::make_exception_ptr(translated);
  }
  begun_ = false;
  if (transaction_.empty()) {
    return;  // nothing was written
  }
  const std::optional<bool> stands = Stands();
  if (connection_ == nullptr || connection_->Lost()) {
    failure_ = failure;
  }
  if (!stands) {
    throw Error(kUncertain, u"La connessione con il server dell'archivio " + name_ +
                                u" si è interrotta mentre la modifica veniva confermata.");
  }
  if (!*stands) {
    std::rethrow_exception(failure);
  }
}

// Whether the transaction whose commit hasn't been answered stands; nothing where that can't be
// learnt. A server that has been promoted since may have given the number to somebody else.
std::optional<bool> PostgresStore::Stands() {
  constexpr std::chrono::seconds kLimit(5);
  constexpr std::chrono::milliseconds kPause(50);
  const auto end = std::chrono::steady_clock::now() + kLimit;
  const std::string timeline = timeline_;
  try {
    connection_.reset();
    Connect();
    do {
      const Result status = connection_->Run("SELECT pg_xact_status($1::xid8)", {transaction_});
      if (status.Bytes(0, 0) == "aborted") {
        return false;
      }
      if (status.Bytes(0, 0) == "committed") {
        if (timeline != timeline_) {
          return std::nullopt;
        }
        return true;
      }
      std::this_thread::sleep_for(kPause);
    } while (std::chrono::steady_clock::now() < end);
  } catch (const postgresql::Error& error) {
    // A number that the server hasn't come to: it was promoted before it learnt of the transaction.
    if (error.Cause() == Cause::kInvalid) {
      return false;
    }
  } catch (const std::exception&) {
    // Then it can't be learnt.
  }
  return std::nullopt;
}

void PostgresStore::CopyTo(const std::filesystem::path& /*to*/,
                           const std::filesystem::path& /*name*/) {
  throw Error(kOther,
              u"L'archivio " + name_ + u" sta su un server: si copia con anagparc-archivio copia.");
}

std::unique_ptr<Table> PostgresStore::OpenTable(std::u16string_view name) {
  const auto table = std::ranges::find(tables_, text::Upper(name), [](const ServerTable& each) {
    return text::Upper(text::FromUtf8(each.name));
  });
  if (table == tables_.end()) {
    throw Error(kNoTable,
                u"Nel file " + name_ + u" manca la tabella " + std::u16string(name) + u".");
  }
  return std::make_unique<PostgresTable>(*this, *table, name);
}

}  // namespace

std::unique_ptr<Store> OpenServerStore(const std::filesystem::path& file,
                                       const std::string& address) {
  return std::make_unique<PostgresStore>(file, address);
}

}  // namespace engine
