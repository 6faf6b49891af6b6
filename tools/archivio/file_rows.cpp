// The rows of an archive in a file.
#include "archivio/files.h"
#include "archivio/rows.h"
#include "platform/text/text.h"

namespace archivio {

namespace {

const std::string kRecipients = "PERCPARCELLE";

class FileRows : public Rows {
 public:
  FileRows(sqlite::Connection& database, const std::string& sql) : statement_(database, sql) {}

  bool Next() override { return statement_.Next(); }
  std::int64_t Number() const override { return statement_.Number(0); }
  std::optional<std::string_view> Text(std::size_t column) const override {
    return statement_.Text(Place(column));
  }
  bool Binary(std::size_t column) const override {
    return statement_.Type(Place(column)) == sqlite::Type::kBlob;
  }

 private:
  static int Place(std::size_t column) { return static_cast<int>(column) + 1; }

  sqlite::Statement statement_;
};

class FileArchive : public AnyArchive {
 public:
  FileArchive(const std::filesystem::path& file, Access access)
      : database_(file, access == Access::kRead ? sqlite::Mode::kRead : sqlite::Mode::kWrite) {
    if (access == Access::kRead) {
      database_.Run("BEGIN");
    } else {
      // EXTRA keeps a power cut after the commit from undoing it.
      database_.Run("PRAGMA synchronous = EXTRA; PRAGMA cache_size = -65536; BEGIN IMMEDIATE");
    }
  }

  std::vector<std::string> Columns(std::string_view table) override {
    return database_.Columns(table);
  }

  std::unique_ptr<Rows> Read(std::string_view table, const std::vector<std::string>& columns,
                             Order order) override {
    const std::string number = RowNumber(std::string(table));
    std::string list = number;
    if (number.empty()) {
      list = "0";
    }
    for (const std::string& column : columns) {
      if (column.empty()) {
        list += ", ''";
      } else {
        text::AppendItem(list, sqlite::Identifier(column));
      }
    }
    std::string sql = "SELECT " + list + " FROM " + sqlite::Identifier(table);
    if (order == Order::kFirstColumn) {
      sql += " ORDER BY " + sqlite::Identifier(columns.front());
    } else if (!number.empty()) {
      sql += " ORDER BY " + number;
    }
    return std::make_unique<FileRows>(database_, sql);
  }

  void Prepare(const std::vector<std::string>& columns, std::size_t code) override {
    std::string names;
    std::string values;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const std::string column = sqlite::Identifier(columns[i]);
      const std::string value = "?" + std::to_string(i + 1);
      text::AppendItem(names, column);
      if (i != code) {
        // Where the file has a value as it was exported, it stays in its own form, be it a number
        // or the long form of a fraction.
        text::AppendItem(values, column + " = CASE WHEN CAST(" + column +
                                     " AS TEXT) COLLATE BINARY IS " + value + " THEN " + column +
                                     " ELSE " + value + " END");
      }
    }
    row_ = static_cast<int>(columns.size()) + 1;
    insert_ = {database_, "INSERT OR ABORT INTO " + kRecipients + " (" + names + ") VALUES (" +
                              sqlite::Parameters(columns.size()) + ")"};
    update_ = {database_, "UPDATE OR ABORT " + kRecipients + " SET " + values + " WHERE " +
                              RowNumber(kRecipients) + " = ?" + std::to_string(row_)};
  }

  int Insert(Values values) override { return Write(insert_, values); }
  int Update(std::int64_t row, Values values) override {
    return Write(update_.Bind(row_, row), values);
  }
  void Commit() override { database_.Run("COMMIT"); }

 private:
  std::string RowNumber(const std::string& table) {
    return database_.RowNumber(table, {database_, "SELECT * FROM " + sqlite::Identifier(table)});
  }

  int Write(sqlite::Statement& statement, Values values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      const int parameter = static_cast<int>(i) + 1;
      if (values[i]) {
        statement.Bind(parameter, *values[i]);
      } else {
        statement.BindNull(parameter);
      }
    }
    statement.Next();
    return database_.Changes();
  }

  OpenArchive database_;
  sqlite::Statement insert_, update_;
  int row_ = 0;  // the parameter of the row's number
};

}  // namespace

std::unique_ptr<AnyArchive> OpenFile(const std::filesystem::path& file, AnyArchive::Access access) {
  return std::make_unique<FileArchive>(file, access);
}

}  // namespace archivio
