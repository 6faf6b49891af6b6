#include "platform/engine/engine.h"

#include <algorithm>

#include "platform/engine/recordset.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace engine {

namespace {

// Takes an SQL text apart, as far as the texts understood are fixed.
class Scanner {
 public:
  explicit Scanner(std::u16string_view text) : rest_(text) {}

  // Passes over the word, in any letter case, if it comes next.
  bool Word(std::u16string_view upper) {
    const Scanner before = *this;
    const bool same = std::ranges::equal(Name(), upper, {}, UpperLetter);
    if (!same) {
      *this = before;
    }
    return same;
  }

  bool Sign(char16_t sign) {
    SkipBlanks();
    const bool next = rest_.starts_with(sign);
    if (next) {
      rest_.remove_prefix(1);
    }
    return next;
  }

  // A bare name; empty when something else comes next.
  std::u16string_view Name() {
    SkipBlanks();
    const auto end = std::ranges::find_if_not(rest_, InName);
    const std::u16string_view name(rest_.begin(), end);
    rest_.remove_prefix(name.size());
    return name;
  }

  // A text between apostrophes, each one within it doubled; nothing when something else comes next.
  std::optional<std::u16string> Text() {
    if (!Sign(u'\'')) {
      return std::nullopt;
    }
    std::u16string text;
    for (;;) {
      const std::size_t end = rest_.find(u'\'');
      if (end == rest_.npos) {
        return std::nullopt;
      }
      text += rest_.substr(0, end);
      rest_.remove_prefix(end + 1);
      if (!rest_.starts_with(u'\'')) {
        return text;
      }
      text += u'\'';
      rest_.remove_prefix(1);
    }
  }

  bool AtEnd() {
    SkipBlanks();
    return rest_.empty();
  }

 private:
  static char16_t UpperLetter(char16_t c) {
    if (c >= u'a' && c <= u'z') {
      return static_cast<char16_t>(c - u'a' + u'A');
    }
    return c;
  }
  static bool InName(char16_t c) {
    const char16_t upper = UpperLetter(c);
    return (upper >= u'A' && upper <= u'Z') || (c >= u'0' && c <= u'9') || c == u'_' || c >= 0x80;
  }
  void SkipBlanks() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(u" \t\r\n"), rest_.size()));
  }

  std::u16string_view rest_;
};

[[noreturn]] void FailSyntax(std::u16string_view sql) {
  throw Error(kSyntax, u"Comando non riconosciuto: " + std::u16string(sql));
}

// What an SQL text asks of a table.
struct Command {
  std::unique_ptr<Table> table;
  Condition condition;
  std::vector<int> order;
};

enum class Form { kTable, kDelete, kSelect };

// Reads on from the table's name to the end of the text.
Command Understood(Scanner scanner, Form form, std::u16string_view sql, Store& store) {
  const std::u16string_view name = scanner.Name();
  std::vector<std::pair<std::u16string_view, std::u16string>> condition;
  std::vector<std::u16string_view> order;
  bool understood = !name.empty();
  if (form != Form::kTable && scanner.Word(u"WHERE")) {
    do {
      const std::u16string_view column = scanner.Name();
      const bool equals = scanner.Sign(u'=');
      std::optional<std::u16string> text = scanner.Text();
      understood &= !column.empty() && equals && text;
      condition.emplace_back(column, std::move(text).value_or(u""));
    } while (scanner.Word(u"OR"));
  }
  if (form == Form::kSelect && scanner.Word(u"ORDER")) {
    understood &= scanner.Word(u"BY");
    do {
      order.push_back(scanner.Name());
      understood &= !order.back().empty();
    } while (scanner.Sign(u','));
  }
  if (!understood || !scanner.AtEnd()) {
    FailSyntax(sql);
  }

  Command command = {store.OpenTable(name), {}, {}};
  for (auto& [column, text] : condition) {
    command.condition.emplace_back(command.table->Column(column), std::move(text));
  }
  for (const std::u16string_view column : order) {
    command.order.push_back(command.table->Column(column));
  }
  return command;
}

void CheckComparison(std::u16string_view comparison) {
  if (comparison != u"=") {
    throw Error(kOther, u"Confronto non previsto nella ricerca: " + std::u16string(comparison));
  }
}

}  // namespace

bool Error::DatabaseUnfit() const {
  return number_ == kNotADatabase || number_ == kNoTable || number_ == kNoIndex ||
         number_ == kNoColumn || number_ == kNoRowNumber;
}

std::u16string Quoted(std::u16string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (const char16_t c : text) {
    out.append(c == u'\'' ? 2 : 1, c);
  }
  return out;
}

Value Field::Get() const { return Value(recordset_->Read(column_)); }

std::u16string Field::Text() const { return std::u16string(View()); }

std::u16string_view Field::View() const {
  return recordset_->Read(column_).value_or(std::u16string_view());
}

void Field::Set(Value value) { recordset_->Set(column_, std::move(value)); }

RecordsetState& Recordset::State() const {
  if (state_ == nullptr) {
    throw Error(kNoObject, u"Tabella non aperta.");
  }
  if (state_->Closed()) {
    throw Error(kClosed, u"Tabella già chiusa.");
  }
  return *state_;
}

void Recordset::Index(std::u16string_view name) { State().Index(name); }

void Recordset::Seek(std::u16string_view comparison, const Value& key) {
  RecordsetState& state = State();
  CheckComparison(comparison);
  state.Seek(StoredValue::Of(key));
}

void Recordset::Seek(std::u16string_view comparison, std::span<const std::u16string> keys) {
  RecordsetState& state = State();
  CheckComparison(comparison);
  state.Seek(keys);
}

bool Recordset::NoMatch() const { return State().NoMatch(); }
void Recordset::MoveFirst() { State().MoveFirst(); }
void Recordset::MoveNext() { State().Move(Direction::kNext); }
void Recordset::MovePrevious() { State().Move(Direction::kPrevious); }
bool Recordset::Bof() { return State().Bof(); }
bool Recordset::Eof() { return State().Eof(); }
long Recordset::RecordCount() { return State().HasRows() ? 1 : 0; }

Field Recordset::Fields(std::u16string_view name) {
  RecordsetState& state = State();
  return Field(state, state.Column(name));
}

void Recordset::AddNew() { State().AddNew(); }
void Recordset::Edit() { State().Edit(); }
void Recordset::Update() { State().Update(); }
void Recordset::Delete() { State().Delete(); }
void Recordset::Close() { State().Close(); }

DatabaseState& Database::State() const {
  if (state_ == nullptr) {
    throw Error(kNoObject, u"Database non aperto.");
  }
  if (state_->Closed()) {
    throw Error(kClosed, u"Database già chiuso.");
  }
  return *state_;
}

Recordset Database::OpenRecordset(std::u16string_view source) {
  Store& store = State().Use();
  Scanner query(source);
  if (query.Word(u"SELECT") && query.Sign(u'*') && query.Word(u"FROM")) {
    Command command = Understood(query, Form::kSelect, source, store);
    return Recordset(std::make_shared<QueryState>(
        state_, std::move(command.table), std::move(command.condition), std::move(command.order)));
  }
  return Recordset(std::make_shared<TableState>(
      state_, Understood(Scanner(source), Form::kTable, source, store).table));
}

void Database::Execute(std::u16string_view sql) {
  Store& store = State().Use();
  Scanner scanner(sql);
  if (!scanner.Word(u"DELETE") || !scanner.Sign(u'*') || !scanner.Word(u"FROM")) {
    FailSyntax(sql);
  }
  const Command command = Understood(scanner, Form::kDelete, sql, store);
  EndRuns();
  command.table->Delete(command.condition);
}

bool Database::Written() { return State().Use().Written(); }

std::vector<Database::Trigger> Database::Triggers() { return State().Use().Triggers(); }

void Database::BeginTrans() {
  Store& store = State().Use();
  EndRuns();
  store.Begin();
}

void Database::CommitTrans() { State().Use().Commit(); }

void Database::Rollback() noexcept {
  if (state_ != nullptr && !state_->Closed()) {
    EndRuns();
    state_->Use().Rollback();
  }
}

void Database::Close() { State().Close(); }

Database OpenDatabase(std::u16string_view name) {
  return Database(std::make_shared<DatabaseState>(OpenStore(sys::ResolvePath(name))));
}

}  // namespace engine
