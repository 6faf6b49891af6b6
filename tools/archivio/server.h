// Archives on a PostgreSQL server. In a build without libpq each of these throws a Failure that
// says so.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "archivio/archivio.h"
#include "archivio/place.h"
#include "archivio/rows.h"
#include "platform/sqlite/sqlite.h"

namespace archivio {

std::unique_ptr<AnyArchive> OpenServer(const Place& place, AnyArchive::Access access);
// The archive wherever it is; in a file with any build.
std::unique_ptr<AnyArchive> OpenAny(const Place& place, AnyArchive::Access access);

// See Check. Reads every row where `depth` is more than kTables.
std::vector<std::string> CheckServer(const Place& place, Depth depth, std::ostream* progress);

// Fills an empty database with all tables of the archive, as they are at one moment. `out` gets a
// line for what a file can't take.
void CopyFromServer(const Place& place, sqlite::Connection& to, std::ostream& out,
                    std::ostream* progress);

}  // namespace archivio
