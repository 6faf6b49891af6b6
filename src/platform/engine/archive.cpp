// An archive as a thing on disk.
#include <fstream>

#include "platform/engine/engine.h"
#include "platform/engine/sqlite/store.h"
#include "platform/system/files.h"
#include "platform/system/new_file.h"
#include "platform/system/old_format.h"
#include "platform/system/paths.h"

namespace engine {

namespace fs = std::filesystem;

namespace {

// The rollback journal, the file in which SQLite keeps what it needs to undo a write that was
// cut off.
fs::path JournalOf(fs::path file) { return file += "-journal"; }

void RefuseOldFormat(const fs::path& file) {
  if (const std::u16string advice = sys::OldFormatAdvice(sys::PathText(file)); !advice.empty()) {
    throw Error(kOldFormat, advice);
  }
}

}  // namespace

std::unique_ptr<Store> OpenStore(const fs::path& file) {
  std::error_code ignored;
  if (file.empty() || !fs::exists(file, ignored)) {
    throw Error(kNotFound, u"Il file " + sys::PathText(file) + u" non esiste.");
  }
  RefuseOldFormat(file);
  return OpenSqliteStore(file);
}

void CreateDatabase(std::u16string_view model, std::u16string_view name) {
  // SQLite would play the rest of an interrupted write into the new file.
  if (WriteCutOff(name)) {
    const std::u16string file(name);
    throw sys::FileError(u"Manca l'archivio " + file +
                         u", ma è rimasto il suo file di una scrittura interrotta: " + file +
                         u"-journal");
  }
  try {
    sys::RefuseUnreadable(name);
  } catch (const sys::FileError& obstacle) {
    throw sys::FileError(obstacle.Text() +
                         u"\r\rÈ l'archivio dell'anno: non va cancellato né "
                         u"sostituito con il modello.");
  }
  RefuseOldFormat(sys::ResolvePath(model));
  sys::FileCopy(model, name);
}

void RemoveDatabase(std::u16string_view name) { sys::RemoveFile(name); }

void CopyDatabase(std::u16string_view from, std::u16string_view to) {
  sys::NewFile file(to, sys::Access::kAsFolder, sys::NewFile::Existing::kReplaced);
  // Left there by whoever has written to the copy before, it would be played into the new one.
  const fs::path journal = JournalOf(file.Name());
  std::error_code ignored;
  if (fs::exists(journal, ignored)) {
    throw sys::FileError(u"Il file " + sys::PathText(journal) +
                         u" appartiene alla copia di prima: spostarlo.");
  }
  OpenStore(sys::ResolvePath(from))->CopyTo(file.Growing(), file.Name());
  file.Place();
}

bool WriteCutOff(std::u16string_view name) {
  // SQLite keeps it where the database itself lies, not beside a link to it.
  std::error_code missing, ignored;
  const fs::path file = fs::canonical(sys::ResolvePath(name), missing);
  const fs::path path =
      missing ? sys::ResolvePath(std::u16string(name) + u"-journal") : JournalOf(file);
  if (!fs::is_regular_file(path, ignored)) {
    return fs::exists(path, ignored);  // odd: nothing to build on
  }
  // SQLite's own test: a journal that isn't good yet, or any more, begins with 0.
  std::ifstream journal(path, std::ios::binary);
  char first = 0;
  return !journal || (journal.get(first) && first != 0);
}

bool HasOtherNames(std::u16string_view name) { return sys::NamesOf(name) > 1; }

}  // namespace engine
