#include "platform/postgresql/postgresql.h"

#include <algorithm>
#include <charconv>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

#include "platform/postgresql/libpq.h"
#include "platform/system/network.h"
#include "platform/text/text.h"

namespace postgresql {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// What is waited for at a stretch: the watch is asked in between.
constexpr milliseconds kSlice{50};
constexpr milliseconds kConnectLimit{4200};

// A sort or a scan can keep the server silent for longer than anybody should wait for a line that
// is dead, and on the connection itself the two look alike. So after kAskAfter the server is asked
// on another connection, whose answer comes before kSilence is over. A process that hangs is at
// work, too, as far as the server knows: kLongest ends that.
constexpr milliseconds kAskAfter{3000};
constexpr milliseconds kAskLimit{1500};
constexpr milliseconds kAnswerLimit{1000};
static_assert(kAskAfter + kAskLimit + kAnswerLimit <= kSilence);
constexpr std::chrono::minutes kLongest{2};
// Not at work is whoever waits to be read from, or for another server's word.
constexpr char kWorks[] =
    "SELECT FROM pg_stat_activity WHERE pid = $1 AND state = 'active'"
    " AND coalesce(wait_event_type, '') NOT IN ('Client', 'IPC')";

// What the session sets whatever the defaults are. A server notices on its own within seconds that
// this side has gone, and gives its locks back.
constexpr char kOptions[] =
    " -c search_path=public,pg_temp -c standard_conforming_strings=on"
    " -c default_transaction_isolation=read\\ committed -c default_transaction_read_only=off"
    " -c default_transaction_deferrable=off -c synchronous_commit=on"
    " -c lock_timeout=5s -c statement_timeout=0 -c idle_in_transaction_session_timeout=20s"
    " -c client_connection_check_interval=2s -c tcp_keepalives_idle=5"
    " -c tcp_keepalives_interval=2 -c tcp_keepalives_count=3 -c tcp_user_timeout=10s"
    " -c max_parallel_workers_per_gather=0 -c synchronize_seqscans=off -c work_mem=32MB"
    " -c jit=off -c row_security=off";

// Overridden by what the address says.
constexpr std::pair<const char*, const char*> kDefaults[] = {
    {"connect_timeout", "2"},  {"tcp_user_timeout", "8000"},
    {"keepalives_idle", "5"},  {"keepalives_interval", "2"},
    {"keepalives_count", "3"}, {"fallback_application_name", "anagparc"},
    {"gssencmode", "disable"}};

struct FreeOptions {
  void operator()(PQconninfoOption* options) const { PQconninfoFree(options); }
};
using Options = std::unique_ptr<PQconninfoOption, FreeOptions>;

// The message of libpq or the server in one line, without a point at its end.
std::u16string Detail(const char* message) {
  std::string text;
  if (message != nullptr) {
    text = message;
  }
  if (const std::size_t location = text.find("\nLOCATION:"); location != text.npos) {
    text.resize(location);
  }
  std::ranges::replace_if(
      text, [](char c) { return c == '\n' || c == '\t'; }, ' ');
  const auto doubled = [](char a, char b) { return a == ' ' && b == ' '; };
  text.erase(std::unique(text.begin(), text.end(), doubled), text.end());
  text.resize(text.find_last_not_of(" .") + 1);
  if (text.empty()) {
    return {};
  }
  return u" (" + text::FromUtf8(text) + u")";
}

Options Parsed(const std::string& uri, const std::u16string& name) {
  char* message = nullptr;
  Options options(PQconninfoParse(uri.c_str(), &message));
  const std::u16string detail = Detail(message);
  PQfreemem(message);
  if (options == nullptr || uri.find('\n') != uri.npos) {
    throw Error(Cause::kUri, u"L'indirizzo del server in " + name + u" non si capisce" + detail +
                                 u". Dev'essere una riga sola, come "
                                 u"postgresql://server.ufficio/s7702015");
  }
  return options;
}

std::string OptionOf(const Options& options, std::string_view keyword) {
  for (const PQconninfoOption* option = options.get(); option->keyword != nullptr; ++option) {
    if (keyword == option->keyword && option->val != nullptr) {
      return option->val;
    }
  }
  return {};
}

constexpr std::pair<std::string_view, Cause> kStates[] = {
    {"23505", Cause::kDuplicateKey}, {"55P03", Cause::kBusy},       {"40P01", Cause::kBusy},
    {"40001", Cause::kBusy},         {"25006", Cause::kReadOnly},   {"42501", Cause::kReadOnly},
    {"53100", Cause::kFull},         {"42P01", Cause::kNoTable},    {"42703", Cause::kNoColumn},
    {"22023", Cause::kInvalid},      {"3D000", Cause::kNoDatabase}, {"28", Cause::kRefused},
    {"57P", Cause::kLost},           {"08", Cause::kLost},          {"25P03", Cause::kLost},
    {"25P04", Cause::kLost}};

Cause CauseOf(std::string_view state) {
  const auto* const found = std::ranges::find_if(
      kStates, [&](const auto& known) { return state.starts_with(known.first); });
  if (found == std::end(kStates)) {
    return Cause::kOther;
  }
  return found->second;
}

std::u16string TextOf(Cause cause, const std::u16string& name, const std::u16string& detail) {
  const std::u16string of = u" dell'archivio " + name;
  switch (cause) {
    case Cause::kUnreachable:
      return u"Il server" + of + u" non è raggiungibile" + detail +
             u". Controllare che il server sia acceso e che la rete funzioni.";
    case Cause::kRefused:
      return u"Il server" + of + u" non ammette questo utente" + detail +
             u". Il nome dell'utente sta nell'indirizzo del server, la sua password nel file "
             u"~/.pgpass; chi amministra il server stabilisce chi vi è ammesso.";
    case Cause::kNoDatabase:
      return u"Sul server" + of + u" manca il database" + detail +
             u". Controllarne il nome nell'indirizzo del server.";
    case Cause::kTls:
      return u"La connessione cifrata con il server" + of + u" non riesce" + detail +
             u". Controllare il certificato del server.";
    case Cause::kLost:
      return u"La connessione con il server" + of + u" si è interrotta" + detail +
             u". Riprovare tra poco; se non basta, controllare la rete e il server.";
    case Cause::kBusy:
      return u"L'archivio " + name + u" è occupato da un altro programma. Riprovare tra poco.";
    case Cause::kReadOnly:
      return u"L'archivio " + name +
             u" non può essere scritto: il server è in sola lettura, "
             u"oppure a questo utente mancano i permessi" +
             detail + u".";
    case Cause::kFull:
      return u"Disco pieno sul server" + of + u".";
    case Cause::kDuplicateKey:
      return u"L'archivio " + name + u" contiene già una riga con la stessa chiave.";
    case Cause::kInterrupted:
      return u"Operazione interrotta sull'archivio " + name + u".";
    default:
      return u"Operazione non riuscita sull'archivio " + name + detail + u".";
  }
}

// SQLSTATE as it stands in a verbose message, "FATAL:  28P01: ...".
std::string_view StateIn(std::string_view message) {
  constexpr std::size_t kLength = 5;
  for (std::size_t at = message.find(":  "); at != message.npos; at = message.find(":  ", at + 1)) {
    const std::string_view state = message.substr(std::min(at + 3, message.size()), kLength);
    if (state.size() == kLength && message.substr(at + 3 + kLength).starts_with(": ") &&
        std::ranges::all_of(
            state, [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z'); })) {
      return state;
    }
  }
  return {};
}

// Why there is no connection. libpq tells of TLS in words alone, and in the user's language.
Cause ConnectCause(PGconn* connection) {
  const std::string_view message = PQerrorMessage(connection);
  if (PQconnectionNeedsPassword(connection) != 0) {
    return Cause::kRefused;
  }
  if (const std::string_view state = StateIn(message); !state.empty()) {
    const Cause cause = CauseOf(state);
    if (state == "42501") {
      return Cause::kRefused;
    }
    if (cause == Cause::kLost || cause == Cause::kOther) {
      return Cause::kUnreachable;
    }
    return cause;
  }
  if (message.find("SSL") != message.npos || message.find("ertific") != message.npos) {
    return Cause::kTls;
  }
  return Cause::kUnreachable;
}

// Made on a thread of its own, since looking up the server's name can hang, and nothing ends it.
struct Attempt {
  std::mutex mutex;
  std::condition_variable ended;
  bool done = false, given_up = false;
  PGconn* connection = nullptr;
};

struct Parameters {
  std::vector<std::string> keywords, values;
};

PGconn* Connected(const Parameters& parameters) {
  std::vector<const char*> keywords, values;
  for (std::size_t i = 0; i < parameters.keywords.size(); ++i) {
    keywords.push_back(parameters.keywords[i].c_str());
    values.push_back(parameters.values[i].c_str());
  }
  keywords.push_back(nullptr);
  values.push_back(nullptr);
  constexpr int kExpandUri = 1;
  const Clock::time_point begun = Clock::now();
  PGconn* const connection = PQconnectdbParams(keywords.data(), values.data(), kExpandUri);
  // Once more, for the numbers of what the server says. What took longer was nobody's answer.
  if (connection != nullptr && PQstatus(connection) != CONNECTION_OK &&
      Clock::now() - begun < std::chrono::seconds(1)) {
    PQsetErrorVerbosity(connection, PQERRORS_VERBOSE);
    PQreset(connection);
    PQsetErrorVerbosity(connection, PQERRORS_DEFAULT);
  }
  return connection;
}

void Work(const std::shared_ptr<Attempt>& attempt, const Parameters& parameters) {
  PGconn* const connection = Connected(parameters);
  const std::lock_guard lock(attempt->mutex);
  if (attempt->given_up) {
    PQfinish(connection);
    return;
  }
  attempt->connection = connection;
  attempt->done = true;
  attempt->ended.notify_one();
}

}  // namespace

std::u16string ShortUri(std::string_view uri) {
  return text::FromUtf8(uri.substr(0, uri.find('?')));
}

// ---- Results

void Result::Clear::operator()(pg_result* handle) const { PQclear(handle); }

int Result::Rows() const { return PQntuples(handle_.get()); }
int Result::Columns() const { return PQnfields(handle_.get()); }

std::optional<std::string_view> Result::Text(int row, int column) const {
  if (PQgetisnull(handle_.get(), row, column) != 0) {
    return std::nullopt;
  }
  return std::string_view(PQgetvalue(handle_.get(), row, column),
                          static_cast<std::size_t>(PQgetlength(handle_.get(), row, column)));
}

namespace {

std::int64_t NumberIn(std::string_view text) {
  std::int64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

}  // namespace

std::int64_t Result::Number(int row, int column) const { return NumberIn(Bytes(row, column)); }
std::int64_t Result::Changed() const { return NumberIn(PQcmdTuples(handle_.get())); }
std::string_view Result::Tag() const { return PQcmdStatus(handle_.get()); }

// ---- Rows

namespace {

// A cell begins with the length of its text, or one of these.
constexpr unsigned char kLong = 254;  // the length follows, in four bytes
constexpr unsigned char kNull = 255;
constexpr std::size_t kBlock = std::size_t{1} << 20;

std::string_view TextOfCell(const char* cell) {
  std::uint32_t length = static_cast<unsigned char>(*cell++);
  if (length == kNull) {
    length = 0;
  } else if (length == kLong) {
    std::memcpy(&length, cell, sizeof length);
    cell += sizeof length;
  }
  return {cell, length};
}

void AppendCell(std::string& cells, std::optional<std::string_view> text) {
  if (!text) {
    cells += static_cast<char>(kNull);
    return;
  }
  if (text->size() < kLong) {
    cells += static_cast<char>(text->size());
  } else {
    cells += static_cast<char>(kLong);
    const auto length = static_cast<std::uint32_t>(text->size());
    cells.append(reinterpret_cast<const char*>(&length), sizeof length);
  }
  cells += *text;
}

// Of a letter after a backslash in COPY's text form.
char Meaning(char letter) {
  constexpr std::string_view kLetters = "bfnrtv";
  constexpr std::string_view kMeanings = "\b\f\n\r\t\v";
  const std::size_t known = kLetters.find(letter);
  if (known == kLetters.npos) {
    return letter;
  }
  return kMeanings[known];
}

void AppendEscaped(std::string& cells, std::string_view text) {
  if (text == "\\N") {
    AppendCell(cells, std::nullopt);
    return;
  }
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) {
      plain += Meaning(text[++i]);
    } else {
      plain += text[i];
    }
  }
  AppendCell(cells, plain);
}

// A line of COPY's text form, without its end.
void AppendCopied(std::string& cells, std::string_view line) {
  const bool plain = line.find('\\') == line.npos;
  for (bool more = true; more;) {
    const std::size_t tab = line.find('\t');
    const std::string_view text = line.substr(0, tab);
    if (plain || text.find('\\') == text.npos) {
      AppendCell(cells, text);
    } else {
      AppendEscaped(cells, text);
    }
    more = tab != line.npos;
    if (more) {
      line.remove_prefix(tab + 1);
    }
  }
}

}  // namespace

void Rows::Add(std::string_view cells) {
  if (blocks_.empty() || blocks_.back().capacity() - blocks_.back().size() < cells.size()) {
    blocks_.emplace_back().reserve(std::max(kBlock, cells.size()));
  }
  std::string& block = blocks_.back();
  const std::size_t begin = block.size();
  block += cells;
  begins_.push_back(block.data() + begin);
}

void Rows::Clear() {
  if (blocks_.size() > 1) {
    blocks_.erase(blocks_.begin(), blocks_.end() - 1);
  }
  if (!blocks_.empty()) {
    blocks_.back().clear();
  }
  begins_.clear();
}

std::optional<std::string_view> Rows::Text(std::size_t row, int column) const {
  const char* cell = begins_[row];
  for (; column > 0; --column) {
    const std::string_view text = TextOfCell(cell);
    cell = text.data() + text.size();
  }
  if (static_cast<unsigned char>(*cell) == kNull) {
    return std::nullopt;
  }
  return TextOfCell(cell);
}

std::int64_t Rows::Number(std::size_t row, int column) const {
  return NumberIn(Text(row, column).value_or(std::string_view()));
}

// ---- Connections

void Connection::Close::operator()(pg_conn* handle) const { PQfinish(handle); }

namespace {

void RequireLibrary(const std::u16string& name) {
  if (const std::string failure = LoadLibpq(); !failure.empty()) {
    throw Error(Cause::kNoLibrary, u"L'archivio " + name +
                                       u" sta su un server, e su questo computer manca quel che "
                                       u"serve per usarlo, la libreria libpq dalla versione 14 in "
                                       u"poi" +
                                       Detail(failure.c_str()) + u".");
  }
}

Parameters ParametersOf(const std::string& uri, const std::u16string& name, PGconn* like) {
  const Options options = Parsed(uri, name);
  if (!OptionOf(options, "password").empty() || !OptionOf(options, "sslpassword").empty()) {
    throw Error(Cause::kPassword,
                u"Nell'indirizzo del server in " + name +
                    u" c'è una password, che può leggere chiunque legga l'indirizzo. Toglierla, e "
                    u"metterla nel file ~/.pgpass di ogni utente.");
  }
  Parameters parameters;
  const auto add = [&](std::string keyword, std::string value) {
    parameters.keywords.push_back(std::move(keyword));
    parameters.values.push_back(std::move(value));
  };
  for (const auto& [keyword, value] : kDefaults) {
    add(keyword, value);
  }
  add("dbname", uri);
  add("client_encoding", "UTF8");
  add("options", OptionOf(options, "options") + kOptions);
  if (like != nullptr) {
    add("host", PQhost(like));
    add("hostaddr", PQhostaddr(like));
    add("port", PQport(like));
  }
  return parameters;
}

// The connection as it has become, good or bad. Throws where that isn't known within the limit.
PGconn* Attempted(const Parameters& parameters, const std::u16string& name, milliseconds limit,
                  const std::function<bool()>& goes_on) {
  const auto attempt = std::make_shared<Attempt>();
  std::thread([attempt, parameters] { Work(attempt, parameters); }).detach();
  const Clock::time_point end = Clock::now() + limit;
  std::unique_lock lock(attempt->mutex);
  while (!attempt->done) {
    attempt->ended.wait_for(lock, kSlice);
    const bool late = Clock::now() >= end;
    if (attempt->done) {
      break;
    }
    Cause cause = Cause::kUnreachable;
    if (!late) {
      if (!goes_on || goes_on()) {
        continue;
      }
      cause = Cause::kInterrupted;
    }
    attempt->given_up = true;
    throw Error(cause, TextOf(cause, name, u""));
  }
  return attempt->connection;
}

}  // namespace

Connection::Connection(const std::string& uri, std::u16string name, std::function<bool()> goes_on)
    : Connection(uri, std::move(name), std::move(goes_on), kConnectLimit, nullptr) {}

Connection::Connection(const std::string& uri, std::u16string name, std::function<bool()> goes_on,
                       milliseconds limit, pg_conn* like)
    : uri_(uri), name_(std::move(name)), goes_on_(std::move(goes_on)) {
  RequireLibrary(name_);
  handle_.reset(Attempted(ParametersOf(uri, name_, like), name_, limit, goes_on_));
  if (handle_ == nullptr) {
    throw std::bad_alloc();
  }
  if (PQstatus(handle_.get()) != CONNECTION_OK) {
    const Cause cause = ConnectCause(handle_.get());
    throw Error(cause, TextOf(cause, name_, Detail(PQerrorMessage(handle_.get()))));
  }
  PQsetnonblocking(handle_.get(), 1);
  PQsetNoticeProcessor(
      handle_.get(), [](void*, const char*) {}, nullptr);
}

Connection::~Connection() = default;

void Connection::FailLost(Cause cause) {
  std::u16string detail;
  if (cause == Cause::kLost && !Lost()) {
    detail = Detail(PQerrorMessage(handle_.get()));
  }
  handle_.reset();
  kept_.clear();
  running_ = Running::kNothing;
  throw Error(cause, TextOf(cause, name_, detail));
}

bool Connection::Alive() noexcept {
  while (!Lost() && sys::AwaitSocket(PQsocket(handle_.get()), false, milliseconds(0))) {
    if (PQconsumeInput(handle_.get()) == 0) {
      handle_.reset();
      kept_.clear();
    }
  }
  return !Lost();
}

void Connection::Await(bool write) {
  const Clock::time_point longest = Clock::now() + kLongest;
  Clock::time_point begun = Clock::now();
  bool ask = limit_ == kSilence;
  while (!sys::AwaitSocket(PQsocket(handle_.get()), write, kSlice)) {
    if (goes_on_ && !goes_on_()) {
      FailLost(Cause::kInterrupted);
    }
    if (ask && Clock::now() - begun >= kAskAfter) {
      ask = Works() && Clock::now() < longest;
      if (ask) {
        begun = Clock::now();
      }
    }
    if (limit_.count() != 0 && Clock::now() - begun >= limit_) {
      handle_.reset();
      FailLost();
    }
  }
}

// Whether the server is at work on what was asked here, as far as it says.
bool Connection::Works() {
  try {
    Connection other(uri_, name_, goes_on_, kAskLimit, handle_.get());
    other.SetLimit(kAnswerLimit);
    return other.Run(kWorks, {std::to_string(PQbackendPID(handle_.get()))}).Rows() == 1;
  } catch (const std::exception& /*failure*/) {  // no thread for the connection, say
    return false;
  }
}

void Connection::Flush() {
  for (;;) {
    const int left = PQflush(handle_.get());
    if (left == 0) {
      return;
    }
    if (left < 0) {
      FailLost();
    }
    Await(true);
    // The server may be waiting for its answers to be taken.
    if (PQconsumeInput(handle_.get()) == 0) {
      FailLost();
    }
  }
}

Result Connection::Get() {
  while (PQisBusy(handle_.get()) != 0) {
    Await(false);
    if (PQconsumeInput(handle_.get()) == 0) {
      FailLost();
    }
  }
  Result result(PQgetResult(handle_.get()));
  if (PQstatus(handle_.get()) == CONNECTION_BAD) {
    FailLost();
  }
  return result;
}

namespace {

// What the result says of its failure; `otherwise` where it says nothing.
const char* Field(const pg_result* result, int code, const char* otherwise) {
  const char* const field = PQresultErrorField(result, code);
  if (field == nullptr) {
    return otherwise;
  }
  return field;
}

}  // namespace

void Connection::Check(const Result& result) {
  if (PQresultStatus(result.handle_.get()) != PGRES_FATAL_ERROR) {
    return;
  }
  const Cause cause = CauseOf(Field(result.handle_.get(), PG_DIAG_SQLSTATE, "08"));
  if (cause == Cause::kLost) {
    FailLost();
  }
  throw Error(cause,
              TextOf(cause, name_,
                     Detail(PQresultErrorField(result.handle_.get(), PG_DIAG_MESSAGE_PRIMARY))),
              Field(result.handle_.get(), PG_DIAG_TABLE_NAME, ""));
}

void Connection::Prepare(const std::string& sql, const std::string& kept_name) {
  if (PQsendPrepare(handle_.get(), kept_name.c_str(), sql.c_str(), 0, nullptr) == 0) {
    FailLost();
  }
}

void Connection::Send(const Statement& statement, const std::string& kept_name) {
  std::vector<const char*> values;
  values.reserve(statement.parameters.size());
  for (const Parameter& parameter : statement.parameters) {
    values.push_back(nullptr);
    if (parameter) {
      values.back() = parameter->c_str();
    }
  }
  const int count = static_cast<int>(values.size());
  int sent = 0;
  if (kept_name.empty()) {
    sent = PQsendQueryParams(handle_.get(), statement.sql.c_str(), count, nullptr, values.data(),
                             nullptr, nullptr, 0);
  } else {
    sent = PQsendQueryPrepared(handle_.get(), kept_name.c_str(), count, values.data(), nullptr,
                               nullptr, 0);
  }
  if (sent == 0) {
    FailLost();
  }
}

void Connection::Finish(const Result& result) {
  while (Get().handle_ != nullptr) {
  }
  Check(result);
}

void Connection::Sync() {
  if (PQpipelineSync(handle_.get()) == 0) {
    FailLost();
  }
}

void Connection::EndPipeline() {
  Get();  // what the server says to Sync
  PQexitPipelineMode(handle_.get());
}

Result Connection::Run(const Statement& statement) {
  return std::move(Run(std::span(&statement, 1)).front());
}

std::vector<Result> Connection::Run(std::span<const Statement> statements) {
  if (Lost()) {
    FailLost();
  }
  EndRows();
  PQenterPipelineMode(handle_.get());
  // For each result to come the text that it has prepared, or null for a statement's own.
  std::vector<const std::string*> prepared;
  for (const Statement& statement : statements) {
    if (!statement.kept) {
      Send(statement, "");
    } else {
      const auto [known, added] = kept_.try_emplace(statement.sql);
      if (added) {
        known->second = "k" + std::to_string(++last_kept_);
        Prepare(known->first, known->second);
        prepared.push_back(&statement.sql);
      }
      Send(statement, known->second);
    }
    prepared.push_back(nullptr);
  }
  Sync();
  Flush();
  std::vector<Result> results;
  Result failure;
  for (const std::string* text : prepared) {
    Result result = Get();
    Get();  // the null after it
    const ExecStatusType status = PQresultStatus(result.handle_.get());
    const bool failed = status == PGRES_FATAL_ERROR || status == PGRES_PIPELINE_ABORTED;
    if (failed && text != nullptr) {
      kept_.erase(*text);
    }
    if (status == PGRES_FATAL_ERROR && failure.handle_ == nullptr) {
      failure = std::move(result);
    } else if (text == nullptr) {
      results.push_back(std::move(result));
    }
  }
  EndPipeline();
  if (failure.handle_ != nullptr) {
    Check(failure);
  }
  return results;
}

// Rows that the server copies come as plain lines, where a result of one row brings the names of
// all columns along; but a copy takes no parameters. Single rows are read in pipeline mode, too:
// outside of it libpq would go on with them in the next pipeline.
void Connection::BeginRows(const Statement& statement) {
  if (Lost()) {
    FailLost();
  }
  EndRows();
  if (statement.parameters.empty()) {
    Send({"COPY (" + statement.sql + ") TO STDOUT", {}}, "");
    Flush();
    running_ = Running::kCopyBegun;
    return;
  }
  PQenterPipelineMode(handle_.get());
  Send(statement, "");
  PQsetSingleRowMode(handle_.get());
  Sync();
  Flush();
  running_ = Running::kSingle;
}

bool Connection::NextRow(Rows& rows) {
  if (running_ == Running::kNothing) {
    return false;
  }
  cells_.clear();
  const bool row = running_ == Running::kSingle ? NextSingle() : NextCopied();
  if (row) {
    rows.Add(cells_);
  }
  return row;
}

bool Connection::NextSingle() {
  const Result row = Get();
  if (PQresultStatus(row.handle_.get()) == PGRES_SINGLE_TUPLE) {
    for (int column = 0; column < row.Columns(); ++column) {
      AppendCell(cells_, row.Text(0, column));
    }
    return true;
  }
  running_ = Running::kNothing;
  Get();  // the null after it
  EndPipeline();
  Check(row);
  return false;
}

bool Connection::NextCopied() {
  if (running_ == Running::kCopyBegun) {
    running_ = Running::kCopy;
    if (const Result begun = Get(); PQresultStatus(begun.handle_.get()) != PGRES_COPY_OUT) {
      running_ = Running::kNothing;
      Finish(begun);
    }
  }
  for (;;) {
    char* buffer = nullptr;
    const int length = PQgetCopyData(handle_.get(), &buffer, 1);
    const std::unique_ptr<char, void (*)(void*)> line(buffer, PQfreemem);
    if (length > 0) {
      AppendCopied(cells_, {buffer, static_cast<std::size_t>(length) - 1});
      return true;
    }
    if (length < 0) {
      break;
    }
    Await(false);
    if (PQconsumeInput(handle_.get()) == 0) {
      FailLost();
    }
  }
  running_ = Running::kNothing;
  Finish(Get());
  return false;
}

void Connection::EndRows() noexcept {
  if (running_ == Running::kNothing) {
    return;
  }
  try {
    while (running_ == Running::kSingle ? NextSingle() : NextCopied()) {
      cells_.clear();
    }
  } catch (const std::exception&) {
    // Whoever runs something next learns of it.
  }
  running_ = Running::kNothing;
}

std::int64_t Connection::CopyIn(const std::string& sql,
                                const std::function<bool(std::string&)>& next) {
  if (Lost()) {
    FailLost();
  }
  EndRows();
  Send({sql, {}}, "");
  Flush();
  if (Result begun = Get(); PQresultStatus(begun.handle_.get()) != PGRES_COPY_IN) {
    Finish(begun);
  }
  std::string bytes;
  const auto put = [&](auto call) {
    for (int done = call(); done != 1; done = call()) {
      if (done < 0) {
        FailLost();
      }
      Await(true);
    }
  };
  try {
    while (next(bytes)) {
      put([&] {
        return PQputCopyData(handle_.get(), bytes.data(), static_cast<int>(bytes.size()));
      });
    }
  } catch (...) {
    if (!Lost()) {
      put([&] { return PQputCopyEnd(handle_.get(), "broken off"); });
      Flush();
      while (Get().handle_ != nullptr) {
      }
    }
    throw;
  }
  put([&] { return PQputCopyEnd(handle_.get(), nullptr); });
  Flush();
  Result result = Get();
  Finish(result);
  return result.Changed();
}

void AppendElement(std::string& array, std::optional<std::string_view> text) {
  if (!text) {
    array += "NULL";
    return;
  }
  array += '"';
  for (const char c : *text) {
    if (c == '"' || c == '\\') {
      array += '\\';
    }
    array += c;
  }
  array += '"';
}

std::string Identifier(std::string_view name) {
  std::string quoted = "\"";
  for (const char c : name) {
    quoted += c;
    if (c == '"') {
      quoted += c;
    }
  }
  return quoted + '"';
}

}  // namespace postgresql
