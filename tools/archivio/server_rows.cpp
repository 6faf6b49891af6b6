// The rows of an archive on a server.
#include <vector>

#include "archivio/server.h"
#include "archivio/server_connection.h"
#include "platform/text/text.h"

namespace archivio {

namespace {

constexpr std::string_view kRecipients = "PERCPARCELLE";
constexpr std::size_t kAtOnce = 500;

class ServerRows : public Rows {
 public:
  ServerRows(postgresql::Connection& connection, const std::string& sql) : connection_(connection) {
    connection_.BeginRows({sql, {}});
  }
  ~ServerRows() override { connection_.EndRows(); }
  ServerRows(const ServerRows&) = delete;
  ServerRows& operator=(const ServerRows&) = delete;

  bool Next() override {
    row_.Clear();
    return connection_.NextRow(row_);
  }
  std::int64_t Number() const override { return row_.Number(0, 0); }
  std::optional<std::string_view> Text(std::size_t column) const override {
    return row_.Text(0, static_cast<int>(column) + 1);
  }
  bool Binary(std::size_t /*column*/) const override { return false; }

 private:
  postgresql::Connection& connection_;
  postgresql::Rows row_;
};

// Rows on their way to the server, by columns: the texts of arrays.
class Batch {
 public:
  explicit Batch(std::size_t columns = 0) : arrays_(columns) {}

  std::size_t Rows() const { return rows_; }
  void Add(std::size_t column, std::optional<std::string_view> value) {
    std::string& array = arrays_[column];
    if (rows_ > 0) {
      array += ',';
    }
    postgresql::AppendElement(array, value);
  }
  void EndRow() { ++rows_; }

  // The arrays as parameters; empties the batch.
  std::vector<postgresql::Parameter> Take() {
    std::vector<postgresql::Parameter> parameters;
    parameters.reserve(arrays_.size());
    for (std::string& array : arrays_) {
      parameters.emplace_back("{" + array + "}");
      array.clear();
    }
    rows_ = 0;
    return parameters;
  }

 private:
  std::vector<std::string> arrays_;
  std::size_t rows_ = 0;
};

class ServerArchive : public AnyArchive {
 public:
  ServerArchive(const Place& place, Access access) : connection_(place), name_(place.Name()) {
    if (access == Access::kRead) {
      connection_.BeginReading();
    } else {
      const postgresql::Statement begin[] = {
          {"BEGIN", {}},
          {"LOCK TABLE " + OnServer(kRecipients) + " IN SHARE ROW EXCLUSIVE MODE", {}}};
      connection_.Run(begin);
    }
    std::vector<std::string> ignored;
    tables_ = ReadTables(connection_, ignored);
  }

  std::vector<std::string> Columns(std::string_view table) override {
    std::vector<std::string> columns;
    for (const ServerTable& found : tables_) {
      if (SameName(found.table.name, table)) {
        for (const NewColumn& column : found.table.columns) {
          columns.push_back(column.name);
        }
      }
    }
    return columns;
  }

  std::unique_ptr<Rows> Read(std::string_view table, const std::vector<std::string>& columns,
                             Order order) override {
    const std::string number = NumberOf(table);
    std::string sql = "SELECT " + number;
    for (const std::string& column : columns) {
      text::AppendItem(sql, column.empty() ? "''" : OnServer(column));
    }
    sql += " FROM " + OnServer(table) + " ORDER BY ";
    if (order == Order::kFirstColumn) {
      sql += OnServer(columns.front()) + " NULLS FIRST, ";
    }
    return std::make_unique<ServerRows>(connection_, sql + number);
  }

  void Prepare(const std::vector<std::string>& columns, std::size_t code) override {
    std::string names;
    std::string arrays;
    std::string values;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const std::string column = OnServer(columns[i]);
      text::AppendItem(names, column);
      text::AppendItem(arrays, "$" + std::to_string(i + 1) + "::text[]");
      if (i != code) {
        text::AppendItem(values, column + " = v." + column);
      }
    }
    const std::string number = NumberOf(kRecipients);
    inserts_ = Batch(columns.size());
    updates_ = Batch(columns.size() + 1);
    insert_ = "INSERT INTO " + OnServer(kRecipients) + " (" + names + ") SELECT * FROM unnest(" +
              arrays + ")";
    update_ = "UPDATE " + OnServer(kRecipients) + " AS t SET " + values + " FROM unnest(" + arrays +
              ", $" + std::to_string(columns.size() + 1) + "::bigint[]) AS v (" + names +
              ", v_numero) WHERE t." + number + " = v_numero";
  }

  int Insert(Values values) override { return Write(insert_, inserts_, values, std::nullopt); }
  int Update(std::int64_t row, Values values) override {
    return Write(update_, updates_, values, std::to_string(row));
  }

  void Commit() override {
    Send(insert_, inserts_);
    Send(update_, updates_);
    connection_.Commit("Guardare nell'archivio se i percettori ci sono.");
  }

 private:
  std::string NumberOf(std::string_view table) const {
    for (const ServerTable& found : tables_) {
      if (SameName(found.table.name, table)) {
        return postgresql::Identifier(ServerNumber(found.table));
      }
    }
    throw Failure("Sul server, nell'archivio " + name_ + ", manca la tabella " +
                  std::string(table) + ".");
  }

  int Write(const std::string& sql, Batch& batch, Values values,
            const std::optional<std::string>& row) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      batch.Add(i, values[i]);
    }
    if (row) {
      batch.Add(values.size(), *row);
    }
    batch.EndRow();
    if (batch.Rows() == kAtOnce) {
      Send(sql, batch);
    }
    return 1;
  }

  void Send(const std::string& sql, Batch& batch) {
    if (batch.Rows() == 0) {
      return;
    }
    const auto rows = static_cast<std::int64_t>(batch.Rows());
    const std::int64_t changed = connection_.Run({sql, batch.Take(), true}).Changed();
    if (changed != rows) {
      throw Failure(std::to_string(rows) + " righe avrebbero cambiato " + std::to_string(changed) +
                    " percettori. L'archivio resta com'era.");
    }
  }

  ServerConnection connection_;
  std::string name_;
  std::vector<ServerTable> tables_;
  std::string insert_, update_;
  Batch inserts_, updates_;
};

}  // namespace

std::unique_ptr<AnyArchive> OpenServer(const Place& place, AnyArchive::Access access) {
  return std::make_unique<ServerArchive>(place, access);
}

}  // namespace archivio
