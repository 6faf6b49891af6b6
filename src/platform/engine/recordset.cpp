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

// The databases open. Never destroyed, either.
std::vector<DatabaseState*>& Open() {
  static auto& open = *new std::vector<DatabaseState*>;
  return open;
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

// Never destroyed either: what closes late calls it.
std::function<void()>& Look() {
  static auto& look = *new std::function<void()>;
  return look;
}
std::function<void()>& LookWaiting() {
  static auto& look = *new std::function<void()>;
  return look;
}

}  // namespace

void EndRuns() noexcept {
  while (!Running().empty()) {
    Running().back()->Suspend();
  }
}

void Rest() noexcept {
  EndRuns();
  for (DatabaseState* const database : Open()) {
    database->Use().Rest();
  }
}

DatabaseState::DatabaseState(std::unique_ptr<Store> store) : store_(std::move(store)) {
  Open().push_back(this);
}

void WhileWorking(std::function<void()> look) { Look() = std::move(look); }
void WhileWaiting(std::function<void()> look) { LookWaiting() = std::move(look); }

bool StillWorking() {
  if (Look()) {
    Look()();
  }
  return true;
}

void StillWaiting() {
  if (LookWaiting()) {
    LookWaiting()();
  }
}

void DatabaseState::Close() noexcept {
  while (!recordsets_.empty()) {
    recordsets_.back()->Close();
  }
  std::erase(Open(), this);
  store_.reset();
}

RecordsetState::RecordsetState(std::shared_ptr<DatabaseState> database,
                               std::unique_ptr<Table> table)
    : table_(std::move(table)),
      database_(std::move(database)),
      texts_(static_cast<std::size_t>(table_->Columns()) + 1) {
  database_->Add(this);
}

void RecordsetState::Close() noexcept {
  if (!Closed()) {
    EndRun();
    table_.reset();
    database_->Remove(this);
  }
}

bool RecordsetState::Begin(Run run) {
  Running().push_back(this);
  run_ = run;
  return Next();
}

bool RecordsetState::Next() {
  bool row = false;
  try {
    row = table_->Next();
  } catch (...) {
    EndRun();
    throw;
  }
  if (!row) {
    EndRun();
  }
  return row;
}

void RecordsetState::EndRun() noexcept {
  if (run_ != Run::kNone) {
    table_->End();
    run_ = Run::kNone;
    std::erase(Running(), this);
  }
}

void RecordsetState::Stand(Place place, std::int64_t row) noexcept {
  place_ = place;
  row_ = row;
  pending_ = Pending::kNone;
}

void RecordsetState::CheckMove(Direction direction) {
  if (place_ == Place::kEmpty || place_ == PastEnd(direction, Place::kRow)) {
    table_->Fail(kNoCurrentRow, u"nessuna riga corrente da cui spostarsi");
  }
}

RecordsetState::Place RecordsetState::PastEnd(Direction direction, Place from) {
  if (from == Place::kBof || from == Place::kEof) {
    return Place::kEmpty;
  }
  return direction == Direction::kNext ? Place::kEof : Place::kBof;
}

void RecordsetState::Index(std::u16string_view /*name*/) {
  table_->Fail(kOther, u"un elenco di righe da SELECT non ha indici");
}

void RecordsetState::Seek(const StoredValue& /*key*/) {
  table_->Fail(kOther, u"un elenco di righe da SELECT non ha indici");
}

void RecordsetState::Seek(std::span<const std::u16string> keys) {
  std::vector<StoredValue> stored;
  stored.reserve(keys.size());
  for (const std::u16string& key : keys) {
    stored.push_back(StoredValue::Of(key));
  }
  if (keys.size() > 1) {
    table_->Expect(index_, stored);
  }
  for (const StoredValue& key : stored) {
    Seek(key);
    if (!NoMatch()) {
      return;
    }
  }
  key_ = std::move(stored.front());
}

bool RecordsetState::Bof() {
  Settle();
  return place_ == Place::kBof || place_ == Place::kEmpty;
}

bool RecordsetState::Eof() {
  Settle();
  return place_ == Place::kEof || place_ == Place::kEmpty;
}

int RecordsetState::Column(std::u16string_view name) {
  // A loop asks for the same names in the same order, row by row.
  for (std::size_t tried = 0; tried < asked_.size(); ++tried) {
    if (next_asked_ == asked_.size()) {
      next_asked_ = 0;
    }
    const auto& [asked, column] = asked_[next_asked_++];
    if (asked == name) {
      return column;
    }
  }
  const int column = table_->Column(name);
  asked_.emplace_back(name, column);
  return column;
}

void RecordsetState::CheckRow(std::u16string_view purpose) {
  Settle();
  if (place_ != Place::kRow) {
    table_->Fail(kNoCurrentRow, u"nessuna riga corrente" + std::u16string(purpose));
  }
}

void RecordsetState::NeedRow() {
  CheckRow();
  if (run_ == Run::kNone) {
    table_->Find(row_);
    if (!Begin(Run::kRow)) {
      table_->Fail(kRowGone, u"la riga corrente è stata cancellata");
    }
  }
}

std::optional<std::u16string_view> RecordsetState::Read(int column) {
  if (pending_ != Pending::kNone) {
    const auto set = std::ranges::find(values_, column, &ColumnValue::first);
    if (set != values_.end() && set->second) {
      return *set->second;
    }
    if (set != values_.end() || pending_ == Pending::kAdd) {
      return std::nullopt;
    }
  }
  NeedRow();
  const std::optional<std::string_view> bytes = table_->Text(column);
  if (!bytes) {
    return std::nullopt;
  }
  std::u16string& out = texts_[static_cast<std::size_t>(column)];
  Decode(*bytes, out);
  return out;
}

void RecordsetState::Set(int column, Value value) {
  if (pending_ == Pending::kNone) {
    table_->Fail(kNotEditing, u"valore assegnato fuori da una modifica");
  }
  const auto set = std::ranges::find(values_, column, &ColumnValue::first);
  if (set == values_.end()) {
    values_.emplace_back(column, std::move(value));
  } else {
    set->second = std::move(value);
  }
}

void RecordsetState::AddNew() {
  Settle();
  pending_ = Pending::kAdd;
  values_.clear();
}

void RecordsetState::Edit() {
  CheckRow(u" da modificare");
  pending_ = Pending::kEdit;
  values_.clear();
}

void RecordsetState::Update() {
  if (pending_ == Pending::kNone) {
    table_->Fail(kNotEditing, u"nessuna modifica da scrivere");
  }
  // A reader of this process, be it on another database variable, would hold up the writer.
  EndRuns();
  if (pending_ == Pending::kAdd) {
    table_->Insert(values_);
  } else if (!values_.empty()) {
    const auto key = std::ranges::find(values_, index_.column, &ColumnValue::first);
    StoredValue new_key = key_;
    if (key != values_.end()) {
      new_key = StoredValue::Of(key->second);
    }
    table_->Update(row_, values_);
    key_ = std::move(new_key);
  }
  pending_ = Pending::kNone;
}

void RecordsetState::Delete() {
  CheckRow(u" da cancellare");
  EndRuns();
  table_->Delete(row_);
  Stand(Place::kGap, row_);
  RowDeleted();
}

// ---- Tables

void TableState::Index(std::u16string_view name) {
  const std::optional<engine::Index> index = table_->FindIndex(name);
  if (!index) {
    table_->Fail(kNoIndex, u"manca l'indice " + std::u16string(name));
  }
  EndRun();
  index_ = *index;
  Stand(Place::kFresh);
}

void TableState::Seek(const StoredValue& key) {
  if (index_.column == 0) {
    table_->Fail(kNoIndex, u"nessun indice impostato per la ricerca");
  }
  EndRun();
  table_->Find(index_, key);
  if (Begin(Run::kRow)) {
    Arrive();
  } else {
    key_ = key;
    Stand(Place::kNoMatch);
  }
}

bool TableState::Advance(Direction direction) {
  if (run_ == Run::kWalk && walking_ == direction) {
    return Next();
  }
  EndRun();
  From from = From::kRow;
  if (place_ == Place::kBof || place_ == Place::kEof) {
    from = From::kEnd;
  } else if (index_.unique && place_ == Place::kRow && key_.kind != StoredValue::Kind::kNull) {
    // Where a row is deleted, another may bear its key by now.
    from = From::kKey;
  }
  walking_ = direction;
  table_->Walk(index_, direction, from, key_, row_);
  return Begin(Run::kWalk);
}

void TableState::Arrive() {
  if (index_.column != 0) {
    key_ = table_->Stored(index_.column);
  }
  Stand(Place::kRow, table_->Number());
}

bool TableState::BeginAtFirst() {
  EndRun();
  walking_ = Direction::kNext;
  table_->Walk(index_, walking_, From::kEnd, {}, 0);
  return Begin(Run::kWalk);
}

void TableState::MoveFirst() {
  if (BeginAtFirst()) {
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
  if (run_ != Run::kNone) {
    return true;
  }
  const bool rows = BeginAtFirst();
  EndRun();
  return rows;
}

// ---- Queries

QueryState::QueryState(std::shared_ptr<DatabaseState> database, std::unique_ptr<Table> table,
                       Condition condition, std::vector<int> order)
    : RecordsetState(std::move(database), std::move(table)),
      condition_(std::move(condition)),
      order_(std::move(order)),
      names_(!order_.empty() &&
             std::ranges::none_of(order_, [this](int column) { return table_->IsKey(column); })) {}

// A row that goes before the walk comes to it is left out.
bool QueryState::BeginQuery() {
  if (names_) {
    table_->List(SortedByNames());
  } else {
    table_->Select(condition_, order_);
  }
  return Begin(Run::kQuery);
}

std::vector<std::int64_t> QueryState::SortedByNames() {
  NameOrder names;
  const int columns = static_cast<int>(order_.size());
  table_->Scan(condition_, order_);
  for (bool row = Begin(Run::kScan); row; row = Next()) {
    names.AddRow(table_->Number());
    for (int column = 1; column <= columns; ++column) {
      names.AddText(table_->Text(column).value_or(std::string_view()));
    }
  }
  return names.Sorted();
}

// Meets one more row; false when there is none.
bool QueryState::Fetch() {
  if (failure_ != nullptr) {
    std::rethrow_exception(failure_);
  }
  if (complete_) {
    return false;
  }
  const bool begun = !rows_.empty();
  try {
    if (rows_.size() == rows_.capacity()) {
      rows_.reserve(std::max<std::size_t>(64, rows_.size() * 2));
      deleted_.reserve(rows_.capacity());  // RowDeleted can't fail
    }
    if (begun) {
      complete_ = !Next();
    } else {
      complete_ = !BeginQuery();
    }
  } catch (...) {
    EndRun();
    if (begun) {
      failure_ = std::current_exception();
    }
    throw;
  }
  if (!complete_) {
    rows_.push_back(table_->Number());
  }
  return !complete_;
}

void QueryState::Suspend() noexcept {
  if (run_ == Run::kQuery) {
    try {
      while (Fetch()) {
      }
    } catch (...) {
      // Fetch keeps the failure; the move that needs the missing rows throws it.
    }
  }
  EndRun();
}

void QueryState::Arrive(std::size_t at) {
  // The running query stands on the last row met, where a move goes while it runs.
  if (run_ != Run::kQuery) {
    EndRun();
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
  if (!ArriveFrom(0)) {
    Stand(Place::kEmpty);
  }
}

// Goes to the first row from `at` on that isn't deleted; false when there is none.
bool QueryState::ArriveFrom(std::size_t at) {
  for (; at < rows_.size() || Fetch(); ++at) {
    if (!Deleted(at)) {
      Arrive(at);
      return true;
    }
  }
  return false;
}

bool QueryState::Advance(Direction direction) {
  if (direction == Direction::kNext) {
    return ArriveFrom(place_ == Place::kBof ? 0 : at_ + 1);
  }
  Suspend();
  std::size_t at = place_ == Place::kEof ? rows_.size() : at_;
  while (at-- > 0) {
    if (!Deleted(at)) {
      Arrive(at);
      return true;
    }
  }
  return false;
}

void QueryState::Move(Direction direction) {
  Settle();
  CheckMove(direction);
  if (!Advance(direction)) {
    EndRun();
    Stand(PastEnd(direction, place_));
  }
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
