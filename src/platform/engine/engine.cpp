#include "platform/engine/engine.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "platform/engine/recordset.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace engine {

namespace {

// Takes an SQL text apart, as far as the texts understood are fixed.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  // Passes over the word, in any letter case, if it comes next.
  bool Word(std::string_view upper) {
    const Scanner before = *this;
    const bool same = std::ranges::equal(Name(), upper, {}, UpperLetter);
    if (!same) {
      *this = before;
    }
    return same;
  }

  bool Star() {
    SkipBlanks();
    const bool star = rest_.starts_with('*');
    rest_.remove_prefix(star ? 1 : 0);
    return star;
  }

  // A bare name; empty when something else comes next.
  std::string_view Name() {
    SkipBlanks();
    const auto end = std::find_if_not(rest_.begin(), rest_.end(), InName);
    const std::string_view name(rest_.begin(), end);
    rest_.remove_prefix(name.size());
    return name;
  }

  bool Comma() {
    SkipBlanks();
    const bool comma = rest_.starts_with(',');
    rest_.remove_prefix(comma ? 1 : 0);
    return comma;
  }

  bool AtEnd() {
    SkipBlanks();
    return rest_.empty();
  }

  std::string_view Rest() const { return rest_; }

 private:
  static char UpperLetter(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  static bool InName(char c) {
    const char upper = UpperLetter(c);
    return (upper >= 'A' && upper <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
  }
  void SkipBlanks() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size()));
  }

  std::string_view rest_;
};

// The columns of "ORDER BY column, ...", which is all that is left; none where it is
// anything else.
std::vector<std::string> OrderColumns(Scanner rest) {
  std::vector<std::string> columns;
  if (rest.Word("ORDER") && rest.Word("BY")) {
    do {
      columns.emplace_back(rest.Name());
    } while (rest.Comma());
  }
  return rest.AtEnd() ? columns : std::vector<std::string>();
}

[[noreturn]] void FailSyntax(std::string_view sql) {
  throw Error(kSyntax, u"Comando non riconosciuto: " + text::FromUtf8(sql));
}

}  // namespace

std::u16string SideFile(std::u16string_view name) { return std::u16string(name) + u"-journal"; }

bool WriteCutOff(std::u16string_view name) {
  // SQLite keeps the journal where the file itself lies, not beside a link to it.
  std::error_code missing, ignored;
  namespace fs = std::filesystem;
  const fs::path file = fs::canonical(sys::ResolvePath(name), missing);
  const fs::path path =
      missing ? sys::ResolvePath(SideFile(name)) : fs::path(file.native() + "-journal");
  if (!fs::is_regular_file(path, ignored)) {
    return fs::exists(path, ignored);  // odd: nothing to build on
  }
  // SQLite's own test: a journal that isn't good yet, or any more, begins with 0.
  std::ifstream journal(path, std::ios::binary);
  char first = 0;
  return !journal || (journal.get(first) && first != 0);
}

std::u16string Quoted(std::u16string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (const char16_t c : text) {
    if (c == u'\0') {  // the end of an SQL text, wherever it stands
      out += u"'||char(0)||'";
    } else {
      out.append(c == u'\'' ? 2 : 1, c);
    }
  }
  return out;
}

Value Field::Get() const {
  const auto value = recordset_->Read(column_);
  return value ? Value(std::u16string(*value)) : std::nullopt;
}

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
  if (comparison != u"=") {
    throw Error(kOther, u"Confronto non previsto nella ricerca: " + std::u16string(comparison));
  }
  state.Seek(key);
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
  Connection& connection = State().Use();
  const std::string sql = text::ToUtf8(source);

  Scanner query(sql);
  if (query.Word("SELECT") && query.Star() && query.Word("FROM")) {
    const std::string_view name = query.Name();
    const Scanner rest = query;
    if (name.empty() || !(query.AtEnd() || query.Word("WHERE") || query.Word("ORDER"))) {
      FailSyntax(sql);
    }
    return Recordset(std::make_shared<QueryState>(state_, connection.FindTable(name),
                                                  std::string(rest.Rest()), OrderColumns(rest)));
  }

  Scanner bare(sql);
  const std::string_view name = bare.Name();
  if (name.empty() || !bare.AtEnd()) {
    FailSyntax(sql);
  }
  return Recordset(std::make_shared<TableState>(state_, connection.FindTable(name)));
}

void Database::Execute(std::u16string_view source) {
  Connection& connection = State().Use();
  const std::string sql = text::ToUtf8(source);
  Scanner scanner(sql);
  const bool deletes = scanner.Word("DELETE") && scanner.Star() && scanner.Word("FROM");
  const std::string_view name = scanner.Name();
  const std::string rest(scanner.Rest());
  if (!deletes || name.empty() || !(scanner.AtEnd() || scanner.Word("WHERE"))) {
    FailSyntax(sql);
  }
  const std::string table = connection.FindTable(name);
  sqlite::Statement statement = connection.Prepare("DELETE FROM " + Identifier(table) + rest);
  Rest();
  connection.Write(statement, table, Connection::Rows::kAny);
}

bool Database::Written() { return State().Use().Written(); }

std::vector<Database::Trigger> Database::Triggers() {
  std::vector<Trigger> triggers;
  for (const auto& [name, table] : State().Use().Triggers()) {
    triggers.push_back({text::FromUtf8(name), text::FromUtf8(table)});
  }
  return triggers;
}

void Database::BeginTrans() {
  Connection& connection = State().Use();
  Rest();
  connection.Begin();
}

void Database::CommitTrans() { State().Use().Commit(); }

void Database::Rollback() noexcept {
  if (state_ != nullptr && !state_->Closed()) {
    Rest();
    state_->Use().Rollback();
  }
}

void Database::Close() { State().Close(); }

Database OpenDatabase(std::u16string_view name) {
  return Database(std::make_shared<DatabaseState>(sys::ResolvePath(name)));
}

}  // namespace engine
