// Reading an archive of the old database engine, of Jet 3 or Jet 4, with libmdb.
#pragma once

#include <filesystem>

#include "archivio/jet/stream.h"

namespace archivio::jet {

// Sends all tables of the user. The library trusts what a file says of itself, and may crash, hang
// or ask for any amount of memory: to be run as a Process. Throws Damaged when the file as a whole
// can't be read; a row that can't be read is sent as such.
void ReadArchive(const std::filesystem::path& file, Sender& sender);

}  // namespace archivio::jet
