#include "archivio/server_connection.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "archivio/archivio.h"
#include "archivio/interruption.h"
#include "platform/text/text.h"

namespace archivio {

namespace {

constexpr std::chrono::seconds kCommitLimit{30};
// Until a server that has lost a connection has ended what ran there, or runs again.
constexpr int kAttempts = 10;
constexpr std::chrono::milliseconds kPause{500};

// By the name on the server; null for a table of another program.
const Table* KnownTable(std::string_view name) {
  const auto tables = Tables();
  const auto found =
      std::ranges::find(tables, name, [](const Table& table) { return ServerName(table.name); });
  return found == tables.end() ? nullptr : &*found;
}

constexpr char kColumns[] =
    "SELECT attname, attidentity <> '', atttypid = 'bpchar'::regtype, attnum FROM pg_attribute "
    "WHERE attrelid = $1::oid AND attnum > 0 AND NOT attisdropped ORDER BY attnum";
// Each with the columns of its key, without the row's number.
constexpr char kIndexes[] =
    "SELECT c.relname, i.indisunique, i.indpred IS NOT NULL OR i.indexprs IS NOT NULL, (SELECT "
    "string_agg(a.attnum::text, ' ' ORDER BY k.place) FROM unnest(i.indkey) WITH ORDINALITY AS k "
    "(number, place) JOIN pg_attribute AS a ON a.attrelid = i.indrelid AND a.attnum = k.number "
    "WHERE a.attidentity = '' AND k.place <= i.indnkeyatts) FROM pg_index AS i JOIN pg_class AS c "
    "ON c.oid = i.indexrelid WHERE i.indrelid = $1::oid AND NOT i.indisprimary ORDER BY "
    "i.indexrelid";

// The tables, columns and indexes of the archive as the server's catalogue has them.
class Reader {
 public:
  Reader(postgresql::Connection& connection, std::vector<std::string>& left_out)
      : connection_(connection), left_out_(left_out) {}

  std::vector<ServerTable> Run() {
    const postgresql::Result names = connection_.Run(
        "SELECT oid, relname FROM pg_class WHERE relnamespace = 'public'::regnamespace AND relkind "
        "IN ('r', 'p') AND NOT relispartition ORDER BY oid");
    std::vector<postgresql::Statement> statements;
    for (int row = 0; row < names.Rows(); ++row) {
      const std::string oid(names.Bytes(row, 0));
      statements.push_back({kColumns, {oid}});
      statements.push_back({kIndexes, {oid}});
    }
    const std::vector<postgresql::Result> results = connection_.Run(statements);
    std::vector<ServerTable> tables;
    for (int row = 0; row < names.Rows(); ++row) {
      const std::size_t place = 2 * static_cast<std::size_t>(row);
      name_ = std::string(names.Bytes(row, 1));
      known_ = KnownTable(name_);
      ServerTable found = {{name_}, {}};
      if (known_ != nullptr) {
        found.table.name = known_->name;
      }
      ReadColumns(results[place], found);
      ReadIndexes(results[place + 1], found.table);
      AddOrders(found.table);
      tables.push_back(std::move(found));
    }
    return tables;
  }

 private:
  std::string KnownColumn(const std::string& name) const {
    if (known_ != nullptr) {
      for (const Column& column : Columns(*known_)) {
        if (ServerName(column.name) == name) {
          return std::string(column.name);
        }
      }
    }
    return name;
  }

  void ReadColumns(const postgresql::Result& columns, ServerTable& found) {
    std::string names;
    std::string number;
    places_.clear();
    for (int row = 0; row < columns.Rows(); ++row) {
      const std::string name(columns.Bytes(row, 0));
      if (columns.True(row, 1)) {
        number = postgresql::Identifier(name);
        continue;
      }
      text::AppendItem(names, postgresql::Identifier(name));
      places_.push_back(columns.Number(row, 3));
      found.table.columns.push_back({KnownColumn(name), "TEXT", columns.True(row, 2)});
    }
    found.select = "SELECT " + names + " FROM " + postgresql::Identifier(name_);
    if (!number.empty()) {
      found.select += " ORDER BY " + number;
    }
  }

  void ReadIndexes(const postgresql::Result& indexes, NewTable& table) {
    std::vector<std::string> unique;
    for (int row = 0; row < indexes.Rows(); ++row) {
      const std::string name(indexes.Bytes(row, 0));
      if (std::ranges::any_of(unique, [&](const std::string& of) { return name == of + kOrder; })) {
        continue;  // goes along with the unique one
      }
      NewIndex index = {FileName(table, name), indexes.True(row, 1), {}};
      if (indexes.True(row, 2) || !ReadKey(indexes.Bytes(row, 3), index)) {
        left_out_.push_back("L'indice " + name + " resta fuori: in un file non si può fare.");
        continue;
      }
      if (index.unique) {
        unique.push_back(name);
      }
      table.indexes.push_back(std::move(index));
    }
  }

  bool ReadKey(std::string_view numbers, NewIndex& index) const {
    for (const std::string_view word : Words(numbers)) {
      const auto place = std::ranges::find(places_, std::stol(std::string(word)));
      index.columns.push_back(static_cast<std::size_t>(place - places_.begin()));
    }
    return !index.columns.empty();
  }

  std::string FileName(const NewTable& table, const std::string& name) const {
    if (known_ != nullptr) {
      for (const Index& index : known_->indexes) {
        std::string file_name = table.name + "." + std::string(index.name);
        if (ServerName(file_name) == name) {
          return file_name;
        }
      }
    }
    if (name.starts_with(name_ + "_")) {
      return name_ + "." + name.substr(name_.size() + 1);
    }
    return name;
  }

  // The indexes of the program that a server does without.
  void AddOrders(NewTable& table) const {
    if (known_ == nullptr) {
      return;
    }
    for (const Index& index : known_->indexes) {
      NewIndex order = {table.name + "." + std::string(index.name), false,
                        Places(table, index.columns)};
      if (index.use == Use::kOrder && order.columns.size() == Words(index.columns).size()) {
        table.indexes.push_back(std::move(order));
      }
    }
  }

  static constexpr char kOrder[] = "_ordine";

  postgresql::Connection& connection_;
  std::vector<std::string>& left_out_;
  std::string name_;                  // of the table in hand
  const Table* known_ = nullptr;      // the program's table
  std::vector<std::int64_t> places_;  // of its columns, as the server counts them
};

}  // namespace

ServerConnection::ServerConnection(const Place& place)
    : Connection(place.uri, text::FromUtf8(place.Name()), [] { return CaughtSignal() == 0; }),
      place_(place) {
  SetLimit({});
}

void ServerConnection::BeginReading() { Run("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY"); }

void ServerConnection::Commit(const std::string& look) {
  const postgresql::Result number = Run("SELECT pg_current_xact_id()");
  CheckInterrupted();
  SetWatch({});
  SetLimit(kCommitLimit);
  try {
    Run("COMMIT");
  } catch (const postgresql::Error& failure) {
    if (failure.Cause() != postgresql::Cause::kLost) {
      throw;
    }
    const std::string outcome = Outcome(std::string(number.Bytes(0, 0)));
    if (outcome == "aborted") {
      throw;
    }
    if (outcome != "committed") {
      throw Failure(
          "Non si sa se i dati sono stati scritti: la connessione si è interrotta proprio alla "
          "fine, e il server non risponde. " +
          look);
    }
  }
}

std::string ServerConnection::Outcome(const std::string& transaction) const {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    try {
      Connection again(place_.uri, Name());
      std::string outcome(again.Run("SELECT pg_xact_status($1::xid8)", {transaction}).Bytes(0, 0));
      if (outcome != "in progress") {
        return outcome;
      }
    } catch (const postgresql::Error& failure) {
      if (failure.Cause() != postgresql::Cause::kLost &&
          failure.Cause() != postgresql::Cause::kUnreachable) {
        return {};
      }
    }
    std::this_thread::sleep_for(kPause);
  }
  return {};
}

std::string OnServer(std::string_view name) { return postgresql::Identifier(ServerName(name)); }

std::vector<ServerTable> ReadTables(postgresql::Connection& connection,
                                    std::vector<std::string>& left_out) {
  return Reader(connection, left_out).Run();
}

void AppendCopied(std::string& line, std::optional<std::string_view> value) {
  if (!value) {
    line += "\\N";
    return;
  }
  for (const char c : *value) {
    switch (c) {
      case '\\':
        line += "\\\\";
        break;
      case '\t':
        line += "\\t";
        break;
      case '\n':
        line += "\\n";
        break;
      case '\r':
        line += "\\r";
        break;
      default:
        line += c;
    }
  }
}

}  // namespace archivio
