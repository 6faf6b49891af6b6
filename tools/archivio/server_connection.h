// What the commands on a server have in common.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archivio/new_table.h"
#include "archivio/place.h"
#include "platform/postgresql/postgresql.h"

namespace archivio {

// A signal that ends the tool ends the waiting for the server, which may otherwise take the time
// that it needs.
class ServerConnection : public postgresql::Connection {
 public:
  explicit ServerConnection(const Place& place);

  // From here on nobody else's writes are seen.
  void BeginReading();
  // What was begun stands. Where the answer is lost, the server is asked anew; where that can't be
  // learnt, throws a Failure that begins with "Non si sa se" and ends with `look`. A signal doesn't
  // stop it half way.
  void Commit(const std::string& look);

 private:
  // What has become of a transaction, in the server's word; empty where nobody says.
  std::string Outcome(const std::string& transaction) const;

  Place place_;
};

// A table, a column on the server by any spelling of its name, for an SQL text.
std::string OnServer(std::string_view name);

// All tables of the archive as a file has them: the program's under the names that it knows, keys
// with blanks at their ends aside, without the number of the row.
struct ServerTable {
  NewTable table;
  std::string select;  // its rows in their order, "SELECT ..."
};
// `left_out`: indexes that a file can't have, a sentence each.
std::vector<ServerTable> ReadTables(postgresql::Connection& connection,
                                    std::vector<std::string>& left_out);

// A value on a line of COPY's text form.
void AppendCopied(std::string& line, std::optional<std::string_view> value);

}  // namespace archivio
