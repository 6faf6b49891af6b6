// Invented recipients for archives to look at and to test with.
#pragma once

#include <iosfwd>

#include "platform/sqlite/sqlite.h"

namespace archivio {

// Fills PERCPARCELLE and QUADROLAUT of an archive that has the tables. Nothing depends on the
// machine, the library or the time: equal numbers, equal rows. All codes differ, and the first rows
// of a longer run are those of a shorter. `progress`: see archivio.h.
void AddRecipients(sqlite::Connection& database, long recipients, std::ostream* progress);

}  // namespace archivio
