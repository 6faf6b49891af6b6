// From a server into a file.
#include <ostream>

#include "archivio/interruption.h"
#include "archivio/progress.h"
#include "archivio/server.h"
#include "archivio/server_connection.h"
#include "platform/text/text.h"

namespace archivio {

namespace {

void FillTable(ServerConnection& connection, const ServerTable& from, sqlite::Connection& to,
               std::uint64_t& rows, Progress& progress) {
  std::string places;
  for (std::size_t i = 0; i < from.table.columns.size(); ++i) {
    text::AppendItem(places, "?");
  }
  sqlite::Statement insert(
      to, "INSERT INTO " + sqlite::Identifier(from.table.name) + " VALUES (" + places + ")");
  connection.BeginRows({from.select, {}});
  for (postgresql::Rows row; connection.NextRow(row); row.Clear()) {
    CheckInterrupted();
    for (int i = 0; i < static_cast<int>(from.table.columns.size()); ++i) {
      if (const std::optional<std::string_view> text = row.Text(0, i)) {
        insert.Bind(i + 1, *text);
      } else {
        insert.BindNull(i + 1);
      }
    }
    insert.Next();
    progress.Show(++rows, 0);
  }
}

}  // namespace

void CopyFromServer(const Place& place, sqlite::Connection& to, std::ostream& out,
                    std::ostream* progress) {
  ServerConnection connection(place);
  connection.BeginReading();
  std::vector<std::string> left_out;
  const std::vector<ServerTable> tables = ReadTables(connection, left_out);
  Progress shown(progress, "Righe copiate");
  std::uint64_t rows = 0;
  for (const ServerTable& from : tables) {
    to.Run(CreateText(from.table));
    FillTable(connection, from, to, rows, shown);
  }
  for (const ServerTable& from : tables) {
    for (const NewIndex& index : from.table.indexes) {
      to.Run(CreateText(from.table, index));
    }
  }
  shown.Clear();
  for (const std::string& sentence : left_out) {
    out << sentence << '\n';
  }
}

}  // namespace archivio
