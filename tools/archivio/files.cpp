#include "archivio/files.h"

#include <string>
#include <system_error>

#include "archivio/archivio.h"
#include "archivio/interruption.h"
#include "platform/engine/engine.h"
#include "platform/system/errors.h"
#include "platform/system/input_file.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

namespace fs = std::filesystem;

std::string NameOf(const fs::path& path) { return text::ToUtf8(sys::PathText(path)); }

fs::path TargetOf(const fs::path& to, const fs::path& source) {
  fs::path target = sys::ResolvePath(sys::PathText(to));
  if (fs::is_directory(target)) {
    target /= source.filename();
  }
  return target;
}

void RefuseExisting(const fs::path& file) {
  const fs::path found = sys::ResolvePath(sys::PathText(file));
  std::error_code ignored;
  if (fs::symlink_status(found, ignored).type() != fs::file_type::not_found) {
    throw Failure("Il file " + NameOf(found) + " esiste già e resta com'è.");
  }
}

std::string ReadInput(const fs::path& file) {
  constexpr std::size_t kMost = std::size_t{1} << 30;
  sys::InputFile input;
  if (const std::error_code error = input.Open(file, sys::InputFile::Kind::kPlainOrPipe)) {
    sys::FailReading(file, error);
  }
  std::string bytes;
  std::size_t size = 0;
  for (;;) {
    constexpr std::size_t kStep = std::size_t{1} << 20;
    bytes.resize(size + kStep);
    CheckInterrupted();
    std::error_code error;
    const std::size_t got = input.Read(bytes.data() + size, kStep, error);
    if (error && error != std::errc::interrupted) {
      sys::FailReading(file, error);
    }
    size += got;
    if (size > kMost) {
      sys::FailReading(file, std::make_error_code(std::errc::file_too_large));
    }
    if (got == 0 && !error) {
      bytes.resize(size);
      return bytes;
    }
  }
}

void CheckReadable(const fs::path& file) {
  if (const std::error_code error = sys::InputFile().Open(file)) {
    sys::FailReading(file, error);
  }
}

OpenArchive::OpenArchive(const fs::path& file, sqlite::Mode mode, const fs::path& name)
    : sqlite::Connection(file, mode, name) {
  SetWatch([] { return CaughtSignal() == 0; });
  Run("PRAGMA temp_store = MEMORY");  // no recipient's data in temporary files
}

namespace {

std::u16string Refused(const fs::path& file) {
  RefuseExisting(file);
  for (const char* const side : {"-journal", "-wal"}) {
    RefuseExisting(sys::Beside(file, side));
  }
  return sys::PathText(file);
}

}  // namespace

NewArchiveFile::NewArchiveFile(const fs::path& file)
    : sys::NewFile(Refused(file), sys::Access::kAsFolder) {}

bool UndoCutOffWrite(const fs::path& archive) {
  if (!engine::WriteCutOff(sys::PathText(archive))) {
    return false;
  }
  // SQLite does it before it reads anything.
  sqlite::Connection(archive, sqlite::Mode::kWrite).Number("SELECT count(*) FROM sqlite_schema");
  return !engine::WriteCutOff(sys::PathText(archive));
}

NewFolders::NewFolders(const fs::path& folder) {
  std::error_code error;
  std::vector<fs::path> missing;
  fs::path place = folder;
  if (!place.has_filename()) {
    place = place.parent_path();
  }
  for (; !place.empty() && !fs::exists(place, error); place = place.parent_path()) {
    missing.push_back(place);
  }
  if (!place.empty() && !fs::is_directory(place, error)) {
    throw Failure("Impossibile creare la cartella " + NameOf(folder) + ": " + NameOf(place) +
                  " non è una cartella.");
  }
  for (; !missing.empty(); missing.pop_back()) {
    if (!fs::create_directory(missing.back(), error)) {
      if (!error) {
        error = std::make_error_code(std::errc::file_exists);
      }
      throw Failure("Impossibile creare la cartella " + NameOf(missing.back()) + ": " +
                    text::ToUtf8(sys::CauseOf(missing.back(), error)) + ".");
    }
    made_.push_back(missing.back());
  }
}

NewFolders::~NewFolders() {
  for (; !made_.empty(); made_.pop_back()) {
    std::error_code ignored;
    fs::remove(made_.back(), ignored);
  }
}

}  // namespace archivio
