// Where an archive is: in a file, or on a PostgreSQL server.
#pragma once

#include <filesystem>
#include <string>

namespace archivio {

struct Place {
  std::filesystem::path file;  // empty where the server's address was named itself
  std::string uri;             // empty for an archive that is in the file

  bool OnServer() const { return !uri.empty(); }
  // What messages call it.
  std::string Name() const;
};

// What a word of the command line means: an address, a file that holds one, or the archive itself.
Place PlaceOf(const std::filesystem::path& named);

}  // namespace archivio
