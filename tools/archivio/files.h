// Files as the tool names, looks for and opens them. What fails throws Failure,
// sys::FileError or sqlite::Error.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/sqlite/sqlite.h"
#include "platform/system/new_file.h"

namespace archivio {

// What messages call a file, in UTF-8.
std::string NameOf(const std::filesystem::path& path);

// The file that a copy or a conversion of `source` makes: `to`, or, in a folder of that name, the
// file with the name of `source`.
std::filesystem::path TargetOf(const std::filesystem::path& to,
                               const std::filesystem::path& source);

// Refuses a name under which there is a file, whatever the case of its letters.
void RefuseExisting(const std::filesystem::path& file);

// All bytes of a file, which may be a pipe; more than 1 GB are refused. A signal ends the wait.
std::string ReadInput(const std::filesystem::path& file);

// Refuses what isn't a file that can be read, with the system's own cause.
void CheckReadable(const std::filesystem::path& file);

// An open archive; a signal that ends the tool ends its statements.
class OpenArchive : public sqlite::Connection {
 public:
  OpenArchive(const std::filesystem::path& file, sqlite::Mode mode,
              const std::filesystem::path& name);
  OpenArchive(const std::filesystem::path& file, sqlite::Mode mode)
      : OpenArchive(file, mode, file) {}
};

// An archive that is being made: no file of its name exists, nor any that SQLite
// would take for its own.
class NewArchiveFile : public sys::NewFile {
 public:
  explicit NewArchiveFile(const std::filesystem::path& file);
};

// Undoes a write to the archive that was cut off, if there is one. True when it has undone one.
bool UndoCutOffWrite(const std::filesystem::path& archive);

// Makes a folder and those above it where they are missing. Unless Keep is called, those that
// stay empty are removed again.
class NewFolders {
 public:
  explicit NewFolders(const std::filesystem::path& folder);
  ~NewFolders();
  NewFolders(const NewFolders&) = delete;
  NewFolders& operator=(const NewFolders&) = delete;

  bool Any() const { return !made_.empty(); }
  void Keep() { made_.clear(); }

 private:
  std::vector<std::filesystem::path> made_;
};

}  // namespace archivio
