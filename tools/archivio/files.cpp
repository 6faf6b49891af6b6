#include "archivio/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "archivio/archivio.h"
#include "archivio/interruption.h"
#include "platform/engine/engine.h"
#include "platform/system/errors.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

namespace fs = std::filesystem;

std::string NameOf(const fs::path& path) { return text::ToUtf8(sys::PathText(path)); }

void RefuseExisting(const fs::path& file) {
  const fs::path found = sys::ResolvePath(sys::PathText(file));
  std::error_code ignored;
  if (fs::symlink_status(found, ignored).type() != fs::file_type::not_found) {
    throw Failure("Il file " + NameOf(found) + " esiste già e resta com'è.");
  }
}

std::string ReadInput(const fs::path& file) {
  constexpr std::size_t kMost = std::size_t{1} << 30;
  // A pipe waits for who writes; a device may never end.
  std::error_code error;
  const fs::file_type type = fs::status(file, error).type();
  if (type == fs::file_type::directory || type == fs::file_type::character ||
      type == fs::file_type::block) {
    sys::FailReading(file, type == fs::file_type::directory ? EISDIR : ENXIO);
  }
  const sys::Fd descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  if (!descriptor) {
    sys::FailReading(file, errno);
  }
  std::string bytes;
  std::size_t size = 0;
  for (;;) {
    constexpr std::size_t kStep = std::size_t{1} << 20;
    bytes.resize(size + kStep);
    CheckInterrupted();
    const ssize_t got = read(descriptor.Get(), bytes.data() + size, kStep);
    if (got < 0 && errno != EINTR) {
      sys::FailReading(file, errno);
    }
    size += got > 0 ? static_cast<std::size_t>(got) : 0;
    if (size > kMost) {
      sys::FailReading(file, EFBIG);
    }
    if (got == 0) {
      bytes.resize(size);
      return bytes;
    }
  }
}

void CheckReadable(const fs::path& file) {
  if (!sys::OpenPlainFile(file)) {
    sys::FailReading(file, errno);
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
    RefuseExisting(file.native() + side);
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
  fs::path place = folder.has_filename() ? folder : folder.parent_path();
  for (; !place.empty() && !fs::exists(place, error); place = place.parent_path()) {
    missing.push_back(place);
  }
  if (!place.empty() && !fs::is_directory(place, error)) {
    throw Failure("Impossibile creare la cartella " + NameOf(folder) + ": " + NameOf(place) +
                  " non è una cartella.");
  }
  for (; !missing.empty(); missing.pop_back()) {
    if (mkdir(missing.back().c_str(), 0777) != 0) {
      throw Failure("Impossibile creare la cartella " + NameOf(missing.back()) + ": " +
                    text::ToUtf8(sys::CauseOf(missing.back(), errno)) + ".");
    }
    made_.push_back(missing.back());
  }
}

NewFolders::~NewFolders() {
  for (; !made_.empty(); made_.pop_back()) {
    rmdir(made_.back().c_str());
  }
}

}  // namespace archivio
