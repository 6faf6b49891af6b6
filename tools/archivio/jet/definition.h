// What the library loses, or doesn't look at, of a table's description.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

// After the standard ones: it includes GLib's as C.
#include <mdbtools.h>

#include "archivio/jet/stream.h"

namespace archivio::jet {

// The bytes of a page, until the next call. Throws Damaged where the file has no such page.
std::string_view PageBytes(MdbHandle* mdb, std::uint32_t page);

// A text of the file as UTF-8.
std::string Decoded(MdbHandle* mdb, std::string_view bytes);

struct Definition {
  bool of_user = false;            // no table of the engine
  int most_columns = 0;            // of a row; those deleted since count
  int variable_count = 0;          // of columns of variable width; those deleted since count
  std::vector<std::string> names;  // of the columns, by number
  std::vector<OldIndex> indexes;
};

// Of the table at `page`, whose columns the library has read. Throws Damaged
// where the description contradicts itself.
Definition ReadDefinition(const MdbTableDef& table, std::uint32_t page);

// A name that the old engine refuses, or that mixes Latin letters with others, as a
// damaged one does.
bool IsOdd(std::string_view name);

// Of an exact decimal number; the library has the names of its two fields the wrong way round.
int DecimalsOf(const MdbColumn& column);

// The pages that should hold the table's rows, as its map has them. False where
// that is no map. Throws Damaged where a part of it isn't in the file.
bool DataPages(const MdbTableDef& table, std::vector<std::uint32_t>& pages);

}  // namespace archivio::jet
