#include "platform/engine/recordset.h"

#include <algorithm>
#include <iterator>

#include "platform/engine/name_order.h"
#include "platform/text/text.h"

namespace engine {

namespace {

// The recordsets with a live statement. Never destroyed: recordsets in static
// variables may outlive every other static object.
std::vector<RecordsetState*>& Running() {
  static auto& running = *new std::vector<RecordsetState*>;
  return running;
}

void Decode(std::string_view bytes, std::u16string& out) {
  out.resize(bytes.size());
  unsigned seen = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    seen |= byte;
    out[i] = byte;
  }
  if (seen >= 0x80) {
    out = text::FromUtf8(bytes);
  }
}

}  // namespace

void Rest() noexcept {
  while (!Running().empty()) {
    Running().back()->Suspend();
  }
}

void DatabaseState::Close() noexcept {
  while (!recordsets_.empty()) {
    recordsets_.back()->Close();
  }
  connection_.reset();
}

RecordsetState::RecordsetState(std::shared_ptr<DatabaseState> database, std::string table)
    : table_(std::move(table)), database_(std::move(database)) {
  const sqlite::Statement all = Use().Prepare("SELECT * FROM " + Identifier(table_));
  columns_.emplace_back();
  for (int i = 0; i < all.ColumnCount(); ++i) {
    columns_.push_back(text::FromUtf8(all.ColumnName(i)));
  }
  texts_.resize(columns_.size());
  number_ = Use().RowNumber(table_, all);
  if (number_.empty()) {
    FailForTable(kNoRowNumber,
                 u"le righe non hanno un numero che le distingua, perché rowid, oid e _rowid_ "
                 u"sono nomi di colonne, o perché la tabella è WITHOUT ROWID");
  }
  from_ = "SELECT " + number_ + ", * FROM " + Identifier(table_);
  database_->Add(this);
}

void RecordsetState::Close() noexcept {
  if (!closed_) {
    EndLive();
    statements_.clear();
    writing_ = {};
    database_->Remove(this);
    closed_ = true;
  }
}

sqlite::Statement* RecordsetState::Prepared(const std::string& sql) {
  sqlite::Statement& statement = statements_[sql];
  if (!statement) {
    statement = Use().Prepare(sql);
  }
  return &statement;
}

bool RecordsetState::StepLive(sqlite::Statement& statement) {
  if (live_ != &statement) {
    EndLive();
    if (Running().empty()) {
      Use().CheckPlace();
    }
    Running().push_back(this);
    live_ = &statement;
  }
  bool row = false;
  try {
    row = Use().Step(statement);
  } catch (...) {
    EndLive();
    throw;
  }
  if (!row) {
    EndLive();
  }
  return row;
}

void RecordsetState::EndLive() noexcept {
  if (live_ != nullptr) {
    live_->Reset();
    live_ = nullptr;
    std::erase(Running(), this);
  }
}

void RecordsetState::Stand(Place place, std::int64_t row) noexcept {
  place_ = place;
  row_ = row;
  pending_ = Pending::kNone;
}

void RecordsetState::CheckMove(Direction direction) {
  const Place past = direction == Direction::kNext ? Place::kEof : Place::kBof;
  if (place_ == past || place_ == Place::kEmpty) {
    FailForTable(kNoCurrentRow, u"nessuna riga corrente da cui spostarsi");
  }
}

RecordsetState::Place RecordsetState::PastEnd(Direction direction, Place from) {
  if (from == Place::kBof || from == Place::kEof) {
    return Place::kEmpty;
  }
  return direction == Direction::kNext ? Place::kEof : Place::kBof;
}

void RecordsetState::Index(std::u16string_view /*name*/) {
  FailForTable(kOther, u"un elenco di righe da SELECT non ha indici");
}

void RecordsetState::Seek(const Value& /*key*/) {
  FailForTable(kOther, u"un elenco di righe da SELECT non ha indici");
}

bool RecordsetState::Bof() {
  Settle();
  return place_ == Place::kBof || place_ == Place::kEmpty;
}

bool RecordsetState::Eof() {
  Settle();
  return place_ == Place::kEof || place_ == Place::kEmpty;
}

std::vector<std::u16string>::const_iterator RecordsetState::FindColumn(
    std::u16string_view name) const {
  const std::u16string upper = text::Upper(name);
  return std::find_if(columns_.begin() + 1, columns_.end(),
                      [&](const auto& column) { return text::Upper(column) == upper; });
}

int RecordsetState::Column(std::u16string_view name) {
  // A loop asks for the same names in the same order, row by row.
  for (std::size_t tried = 0; tried < asked_.size(); ++tried) {
    next_asked_ = next_asked_ < asked_.size() ? next_asked_ : 0;
    const auto& [asked, column] = asked_[next_asked_++];
    if (asked == name) {
      return column;
    }
  }
  const auto found = FindColumn(name);
  if (found == columns_.end()) {
    FailForTable(kNoColumn, u"manca la colonna " + std::u16string(name));
  }
  const int column = static_cast<int>(found - columns_.begin());
  asked_.emplace_back(name, column);
  return column;
}

sqlite::Statement* RecordsetState::Row() {
  Settle();
  if (place_ != Place::kRow) {
    FailForTable(kNoCurrentRow, u"nessuna riga corrente");
  }
  if (live_ == nullptr) {
    sqlite::Statement* const statement = Prepared(from_ + " WHERE " + number_ + " = ?1");
    Use().Bind(*statement, 1, row_);
    if (!StepLive(*statement)) {
      FailForTable(kRowGone, u"la riga corrente è stata cancellata");
    }
  }
  return live_;
}

std::optional<std::u16string_view> RecordsetState::Read(int column) {
  if (pending_ != Pending::kNone) {
    for (const auto& [set, value] : values_) {
      if (set == column) {
        return value ? std::optional<std::u16string_view>(*value) : std::nullopt;
      }
    }
    if (pending_ == Pending::kAdd) {
      return std::nullopt;
    }
  }
  const std::optional<std::string_view> bytes = Row()->Text(column);
  if (!bytes) {
    return std::nullopt;
  }
  std::u16string& out = texts_[static_cast<std::size_t>(column)];
  Decode(*bytes, out);
  return out;
}

void RecordsetState::Set(int column, Value value) {
  if (pending_ == Pending::kNone) {
    FailForTable(kNotEditing, u"valore assegnato fuori da una modifica");
  }
  for (auto& [set, old] : values_) {
    if (set == column) {
      old = std::move(value);
      return;
    }
  }
  values_.emplace_back(column, std::move(value));
}

void RecordsetState::AddNew() {
  Settle();
  pending_ = Pending::kAdd;
  values_.clear();
}

void RecordsetState::Edit() {
  Settle();
  if (place_ != Place::kRow) {
    FailForTable(kNoCurrentRow, u"nessuna riga corrente da modificare");
  }
  pending_ = Pending::kEdit;
  values_.clear();
}

// OR ABORT: a table that was declared to replace or leave out rows in conflict would lose them
// without a word.
std::string RecordsetState::WritingText() const {
  const bool add = pending_ == Pending::kAdd;
  if (add && values_.empty()) {
    return "INSERT OR ABORT INTO " + Identifier(table_) + " DEFAULT VALUES";
  }
  std::string names;
  std::string marks;
  for (const auto& [column, value] : values_) {
    const char* const comma = names.empty() ? "" : ", ";
    names += comma + Identifier(text::ToUtf8(columns_[static_cast<std::size_t>(column)]));
    names += add ? "" : " = ?";
    marks += comma;
    marks += "?";
  }
  return add ? "INSERT OR ABORT INTO " + Identifier(table_) + " (" + names + ") VALUES (" + marks +
                   ")"
             : "UPDATE OR ABORT " + Identifier(table_) + " SET " + names + " WHERE " + number_ +
                   " = ?";
}

// A loop writes the same columns row by row.
sqlite::Statement& RecordsetState::Writing() {
  const auto column = &std::pair<int, Value>::first;
  if (writes_ != pending_ || !std::ranges::equal(values_, written_, {}, column)) {
    writing_ = Use().Prepare(WritingText());
    writes_ = pending_;
    written_.clear();
    std::ranges::transform(values_, std::back_inserter(written_), column);
  }
  return writing_;
}

void RecordsetState::Update() {
  if (pending_ == Pending::kNone) {
    FailForTable(kNotEditing, u"nessuna modifica da scrivere");
  }
  const bool edit = pending_ == Pending::kEdit;
  if (!edit || !values_.empty()) {
    sqlite::Statement& statement = Writing();
    std::vector<std::pair<int, StoredValue>> stored;
    stored.reserve(values_.size());  // what is bound stays where it is
    for (const auto& [column, value] : values_) {
      stored.emplace_back(column, StoredValue::Of(value));
      Use().BindInPlace(statement, static_cast<int>(stored.size()), stored.back().second);
    }
    if (edit) {
      Use().Bind(statement, static_cast<int>(stored.size()) + 1, row_);
    }
    // A reader of this process, be it on another database variable, would hold
    // up the writer.
    Rest();
    Use().Write(statement, table_, edit ? Connection::Rows::kCurrent : Connection::Rows::kNew);
    if (edit) {
      for (auto& [column, value] : stored) {
        ColumnWritten(column, std::move(value));
      }
    }
  }
  pending_ = Pending::kNone;
}

void RecordsetState::Delete() {
  Settle();
  if (place_ != Place::kRow) {
    FailForTable(kNoCurrentRow, u"nessuna riga corrente da cancellare");
  }
  sqlite::Statement* const statement =
      Prepared("DELETE FROM " + Identifier(table_) + " WHERE " + number_ + " = ?");
  Use().Bind(*statement, 1, row_);
  Rest();
  Use().Write(*statement, table_, Connection::Rows::kCurrent);
  Stand(Place::kGap, row_);
  RowDeleted();
}

// ---- Tables

TableState::TableState(std::shared_ptr<DatabaseState> database, std::string table)
    : RecordsetState(std::move(database), std::move(table)) {
  paths_.push_back(std::make_unique<Path>());
  path_ = paths_.back().get();
}

void TableState::Index(std::u16string_view name) {
  const std::u16string upper = text::Upper(name);
  auto found = std::find_if(paths_.begin() + 1, paths_.end(),
                            [&](const auto& path) { return path->name == upper; });
  if (found == paths_.end()) {
    const auto index = Use().FindIndex(table_, text::ToUtf8(name));
    if (!index) {
      FailForTable(kNoIndex, u"manca l'indice " + std::u16string(name));
    }
    auto path = std::make_unique<Path>();
    path->name = upper;
    path->index = *index;
    path->column = Column(text::FromUtf8(index->column));
    paths_.push_back(std::move(path));
    found = paths_.end() - 1;
  }
  EndLive();
  path_ = found->get();
  Stand(Place::kFresh);
}

void TableState::Seek(const Value& key) {
  if (path_->column == 0) {
    FailForTable(kNoIndex, u"nessun indice impostato per la ricerca");
  }
  if (path_->seek == nullptr) {
    path_->seek = Prepared(from_ + " INDEXED BY " + Identifier(path_->index.index) + " WHERE " +
                           Identifier(path_->index.column) + " IS ?1 ORDER BY " + number_);
  }
  const StoredValue sought = StoredValue::Of(key);
  EndLive();
  Use().Bind(*path_->seek, 1, sought);
  if (StepLive(*path_->seek)) {
    Arrive();
  } else {
    key_ = sought;
    Stand(Place::kNoMatch);
  }
}

// The statement for one piece of the path; it runs through the
// index alone, in the order of key and row number.
sqlite::Statement* TableState::Run(Direction direction, Piece piece) {
  const bool next = direction == Direction::kNext;
  sqlite::Statement*& run = path_->runs[next ? 0 : 1][piece];
  if (run != nullptr) {
    return run;
  }
  const std::string beyond = next ? " > " : " < ";
  const std::string down = next ? "" : " DESC";
  std::string sql = from_;
  if (path_->column == 0) {
    sql += piece == kAll ? "" : " WHERE " + number_ + beyond + "?2";
    sql += " ORDER BY " + number_ + down;
  } else {
    const std::string key = Identifier(path_->index.column);
    sql += " INDEXED BY " + Identifier(path_->index.index);
    switch (piece) {
      case kAll:
      case kBeyondRow:
        break;
      case kSameKey:
        sql += " WHERE " + key + " IS ?1 AND " + number_ + beyond + "?2";
        break;
      case kBeyondKey:
        sql += " WHERE " + key + beyond + "?1";
        break;
      case kNullKeys:
        sql += " WHERE " + key + " IS NULL";
        break;
      case kOtherKeys:
        sql += " WHERE " + key + " IS NOT NULL";
        break;
    }
    sql += " ORDER BY " + key + down + ", " + number_ + down;
  }
  return run = Prepared(sql);
}

bool TableState::Begin(Direction direction, Piece piece) {
  sqlite::Statement* const run = Run(direction, piece);
  EndLive();
  if (piece == kSameKey || piece == kBeyondKey) {
    Use().Bind(*run, 1, key_);
  }
  if (piece == kSameKey || piece == kBeyondRow) {
    Use().Bind(*run, 2, row_);
  }
  piece_ = piece;
  return StepLive(*run);
}

// The piece after the one begun last, if there is one.
std::optional<TableState::Piece> TableState::NextPiece(Direction direction) const {
  const bool next = direction == Direction::kNext;
  if (piece_ == kSameKey) {
    if (key_.type != sqlite::Type::kNull) {
      return kBeyondKey;
    }
    // Null is the first key of all.
    return next ? std::optional(kOtherKeys) : std::nullopt;
  }
  return piece_ == kBeyondKey && !next ? std::optional(kNullKeys) : std::nullopt;
}

bool TableState::Advance(Direction direction) {
  const std::size_t runs = direction == Direction::kNext ? 0 : 1;
  bool row = false;
  if (live_ != nullptr && live_ == path_->runs[runs][piece_]) {
    row = StepLive(*live_);
  } else if (place_ == Place::kBof || place_ == Place::kEof) {
    row = Begin(direction, kAll);
  } else if (path_->column == 0) {
    row = Begin(direction, kBeyondRow);
  } else {
    // Where a row is deleted, another may bear its key by now.
    const bool alone =
        path_->index.unique && place_ == Place::kRow && key_.type != sqlite::Type::kNull;
    row = Begin(direction, alone ? kBeyondKey : kSameKey);
  }
  for (auto piece = NextPiece(direction); !row && piece; piece = NextPiece(direction)) {
    row = Begin(direction, *piece);
  }
  return row;
}

void TableState::Arrive() {
  if (path_->column != 0) {
    key_.Read(*live_, path_->column);
  }
  Stand(Place::kRow, live_->Number(0));
}

void TableState::MoveFirst() {
  if (Begin(Direction::kNext, kAll)) {
    Arrive();
  } else {
    Stand(Place::kEmpty);
  }
}

void TableState::Move(Direction direction) {
  Settle();
  CheckMove(direction);
  if (Advance(direction)) {
    Arrive();
  } else {
    Stand(PastEnd(direction, place_));
  }
}

bool TableState::HasRows() {
  Settle();
  if (live_ != nullptr) {
    return true;
  }
  const bool rows = Begin(Direction::kNext, kAll);
  EndLive();
  return rows;
}

void TableState::ColumnWritten(int column, StoredValue&& value) noexcept {
  if (column == path_->column) {
    key_ = std::move(value);
  }
}

// ---- Queries

QueryState::QueryState(std::shared_ptr<DatabaseState> database, std::string table,
                       const std::string& rest, std::vector<std::string> order)
    : RecordsetState(std::move(database), std::move(table)) {
  if (!order.empty() && std::ranges::all_of(order, [this](const std::string& column) {
        return FindColumn(text::FromUtf8(column)) != columns_.end() && !Use().IsKey(table_, column);
      })) {
    names_ = std::move(order);
  } else {
    query_ = Prepared(from_ + rest);
  }
}

// SQLite goes through an index on the names where there is one, which is nearly their
// order. A row that goes before the walk comes to it is left out.
void QueryState::SortByNames() {
  std::string sql = "SELECT " + number_;
  for (const std::string& name : names_) {
    sql += ", " + Identifier(name);
  }
  NameOrder order;
  sqlite::Statement* const scan = Prepared(sql + " FROM " + Identifier(table_));
  while (StepLive(*scan)) {
    order.AddRow(scan->Number(0));
    for (int column = 1; column <= static_cast<int>(names_.size()); ++column) {
      order.AddText(scan->Bytes(column));
    }
  }
  std::string rows;
  for (const std::int64_t row : order.Sorted()) {
    rows += (rows.empty() ? "[" : ",") + std::to_string(row);
  }
  sorted_ = rows.empty() ? "[]" : std::move(rows) + "]";
  query_ = Prepared("SELECT t." + number_ + ", t.* FROM json_each(?1) AS o CROSS JOIN " +
                    Identifier(table_) + " AS t ON t." + number_ + " = o.value");
  query_->Bind(1, sorted_);
}

// Meets one more row; false when there is none.
bool QueryState::Fetch() {
  if (failure_ != nullptr) {
    std::rethrow_exception(failure_);
  }
  if (complete_) {
    return false;
  }
  if (query_ == nullptr) {
    SortByNames();
  }
  const bool begun = !rows_.empty();
  try {
    if (rows_.size() == rows_.capacity()) {
      rows_.reserve(rows_.empty() ? 64 : rows_.size() * 2);
      deleted_.reserve(rows_.capacity());  // RowDeleted can't fail
    }
    complete_ = !StepLive(*query_);
  } catch (...) {
    EndLive();
    if (begun) {
      failure_ = std::current_exception();
    }
    throw;
  }
  if (!complete_) {
    rows_.push_back(query_->Number(0));
  }
  return !complete_;
}

void QueryState::Suspend() noexcept {
  if (live_ != nullptr && live_ == query_) {
    try {
      while (Fetch()) {
      }
    } catch (...) {
      // Fetch keeps the failure; the move that needs the missing rows throws it.
    }
  }
  EndLive();
}

void QueryState::Arrive(std::size_t at) {
  // The running query stands on the last row met, where a move goes while it
  // runs.
  if (live_ != query_) {
    EndLive();
  }
  at_ = at;
  Stand(Place::kRow, rows_[at]);
}

void QueryState::MoveFirst() {
  if (place_ != Place::kFresh) {
    if (place_ == Place::kRow && at_ == 0) {
      Stand(Place::kRow, row_);
      return;
    }
    Suspend();
  }
  for (std::size_t at = 0; at < rows_.size() || Fetch(); ++at) {
    if (!Deleted(at)) {
      Arrive(at);
      return;
    }
  }
  Stand(Place::kEmpty);
}

void QueryState::Move(Direction direction) {
  Settle();
  CheckMove(direction);
  if (direction == Direction::kNext) {
    for (std::size_t at = place_ == Place::kBof ? 0 : at_ + 1; at < rows_.size() || Fetch(); ++at) {
      if (!Deleted(at)) {
        Arrive(at);
        return;
      }
    }
  } else {
    Suspend();
    for (std::size_t at = place_ == Place::kEof ? rows_.size() : at_; at-- > 0;) {
      if (!Deleted(at)) {
        Arrive(at);
        return;
      }
    }
  }
  EndLive();
  Stand(PastEnd(direction, place_));
}

bool QueryState::HasRows() {
  Settle();
  return rows_.size() > deleted_count_;
}

void QueryState::RowDeleted() noexcept {
  deleted_.resize(rows_.size());
  deleted_[at_] = true;
  ++deleted_count_;
}

}  // namespace engine
