// PostgreSQL: a connection, results, and failures with an Italian text. The only code that
// includes libpq's own header is this folder's, which loads the library with the first connection.
//
// A connection is for one thread. None of its calls waits without an end: a server that is
// silent for longer than the limit counts as lost, unless it says on another connection that it
// is at work on what it was asked. What fails throws Error, and std::bad_alloc
// where memory is exhausted.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/text/error.h"

struct pg_conn;
struct pg_result;

namespace postgresql {

enum class Cause {
  kNoLibrary,    // libpq isn't there, or is too old
  kUri,          // the address isn't one that libpq understands
  kPassword,     // there is a password in it
  kUnreachable,  // nobody answers there, or no server that can be written to
  kRefused,      // the server doesn't let this user in
  kNoDatabase,   // the server has no database of that name
  kTls,          // the server isn't the one that it should be, or doesn't encrypt
  kLost,         // the connection broke, or the server was silent for too long
  kBusy,         // somebody else held a lock for too long
  kReadOnly,     // this user, or nobody on this server, may write there
  kFull,         // the server's disk has no room left
  kDuplicateKey,
  kNoTable,
  kNoColumn,
  kInvalid,      // a value that the server can't take
  kInterrupted,  // see SetWatch
  kOther,
};

// Its text names the archive as the connection does.
class Error : public text::Error {
 public:
  Error(postgresql::Cause cause, std::u16string text, std::string table = {})
      : text::Error(std::move(text)), cause_(cause), table_(std::move(table)) {}
  postgresql::Cause Cause() const { return cause_; }
  // Of kDuplicateKey the table that has the key.
  const std::string& Table() const { return table_; }

 private:
  postgresql::Cause cause_;
  std::string table_;
};

// How long a server may be silent: longer than it waits for a lock.
inline constexpr std::chrono::milliseconds kSilence{5500};

// The address without what follows the database's name: what a message may show.
std::u16string ShortUri(std::string_view uri);

// A text in UTF-8 without NUL, or Null.
using Parameter = std::optional<std::string>;

struct Statement {
  std::string sql;                    // $1, $2, ... mean the parameters,
  std::vector<Parameter> parameters;  // whose types the server finds out
  bool kept = false;  // the server keeps it prepared, for further runs of the same text
};

// What a statement has returned. Rows and columns count from 0; texts live as long as it does.
class Result {
 public:
  Result() = default;
  explicit Result(pg_result* handle) : handle_(handle) {}

  int Rows() const;
  int Columns() const;
  // Nothing for Null.
  std::optional<std::string_view> Text(int row, int column) const;
  std::string_view Bytes(int row, int column) const {
    return Text(row, column).value_or(std::string_view());
  }
  std::int64_t Number(int row, int column) const;
  bool True(int row, int column) const { return Bytes(row, column) == "t"; }
  // The rows that an INSERT, UPDATE, DELETE or COPY has touched.
  std::int64_t Changed() const;
  // What was done: "COMMIT", say.
  std::string_view Tag() const;

 private:
  friend class Connection;
  struct Clear {
    void operator()(pg_result* handle) const;
  };
  std::unique_ptr<pg_result, Clear> handle_;
};

// Rows, one after the other in large pieces of memory. Rows and columns count from 0; texts live
// until Clear.
class Rows {
 public:
  Rows() = default;
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;
  Rows(Rows&&) = default;
  Rows& operator=(Rows&&) = default;

  std::size_t Count() const { return begins_.size(); }
  // Nothing for Null.
  std::optional<std::string_view> Text(std::size_t row, int column) const;
  // Of texts that are numbers; 0 for anything else.
  std::int64_t Number(std::size_t row, int column) const;
  void Clear();

 private:
  friend class Connection;
  // A row's columns, each after its length.
  void Add(std::string_view cells);

  std::vector<std::string> blocks_;  // never moved
  std::vector<const char*> begins_;
};

class Connection {
 public:
  // Connects within a few seconds, whatever the network does. `name` is what messages call the
  // archive. Whatever the server's and the user's defaults are, the session speaks UTF-8, looks
  // for names in the schema public, commits safely, and waits for a lock up to 5 seconds; the
  // server ends it, and what it has begun, when this side is gone. Throws kNoLibrary, kUri,
  // kPassword, kUnreachable, kRefused, kNoDatabase, kTls, kInterrupted.
  Connection(const std::string& uri, std::u16string name, std::function<bool()> goes_on = {});
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  // `goes_on` is called several times a second while the server is waited for. When it returns
  // false, the call fails with kInterrupted, and the connection is lost.
  void SetWatch(std::function<bool()> goes_on) { goes_on_ = std::move(goes_on); }
  // How long the server may be silent: kSilence at first, and then longer while it is at work; for
  // ever where it is 0.
  void SetLimit(std::chrono::milliseconds limit) { limit_ = limit; }

  const std::u16string& Name() const { return name_; }
  // Nothing can be run any more.
  bool Lost() const { return handle_ == nullptr; }
  // The same, after a look whether the server has ended the connection meanwhile; costs no round
  // trip. To be called when nothing runs.
  bool Alive() noexcept;

  // Sends the statements in one go, before the first answer, and returns the results of all.
  // Where one fails the ones after it don't run, and its failure is thrown. Outside of a
  // transaction they are one: all of them stand, or none does.
  std::vector<Result> Run(std::span<const Statement> statements);
  Result Run(const Statement& statement);
  Result Run(std::string sql, std::vector<Parameter> parameters = {}) {
    return Run(Statement{std::move(sql), std::move(parameters)});
  }

  // Runs a statement whose rows come one at a time, so that there can be any number of them. Until
  // NextRow has returned false nothing else may run. EndRows drops the rows to come. Without
  // parameters the rows cost hardly more than their bytes.
  void BeginRows(const Statement& statement);
  // Adds a row to `rows`.
  bool NextRow(Rows& rows);
  void EndRows() noexcept;

  // Runs "COPY ... FROM STDIN". `next` puts the next bytes, whole lines of COPY's text form, into
  // its argument, or returns false after the last ones; what it throws ends the copy, which then
  // hasn't taken place. Returns the number of rows.
  std::int64_t CopyIn(const std::string& sql, const std::function<bool(std::string&)>& next);

 private:
  struct Close {
    void operator()(pg_conn* handle) const;
  };

  // The same within `limit`, and to the very server of the connection `like`, if there is one.
  Connection(const std::string& uri, std::u16string name, std::function<bool()> goes_on,
             std::chrono::milliseconds limit, pg_conn* like);

  void Prepare(const std::string& sql, const std::string& kept_name);
  // What is prepared under that name; where it is empty, the statement's own text.
  void Send(const Statement& statement, const std::string& kept_name);
  void Sync();
  void EndPipeline();
  // All that is to be sent is on its way.
  void Flush();
  // The next result; null where there is none.
  Result Get();
  void Await(bool write);
  bool Works();
  // A row alone in a result, a line of COPY, into cells_. False where that was the last one.
  bool NextSingle();
  bool NextCopied();
  // Throws what the result says where it is a failure.
  void Check(const Result& result);
  // The same, when the results after it have been dropped.
  void Finish(const Result& result);
  [[noreturn]] void FailLost(Cause cause = Cause::kLost);

  const std::string uri_;
  std::u16string name_;
  std::function<bool()> goes_on_;
  std::chrono::milliseconds limit_ = kSilence;
  std::unique_ptr<pg_conn, Close> handle_;
  std::map<std::string, std::string> kept_;  // names of the prepared statements, by their texts
  int last_kept_ = 0;
  // What is between BeginRows and the last row.
  enum class Running { kNothing, kSingle, kCopyBegun, kCopy } running_ = Running::kNothing;
  std::string cells_;  // of the row at hand, as Rows has them
};

// A name for an SQL text, in double quotes.
std::string Identifier(std::string_view name);
// Appends a text, or Null, to the elements of an array as the server reads it: "{...}" around them
// is the caller's, and so are the commas between.
void AppendElement(std::string& array, std::optional<std::string_view> text);

}  // namespace postgresql
