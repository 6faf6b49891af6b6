// An archive as a thing on disk.
#include <fstream>

#include "platform/engine/engine.h"
#include "platform/engine/postgresql/store.h"
#include "platform/engine/sqlite/store.h"
#include "platform/system/files.h"
#include "platform/system/new_file.h"
#include "platform/system/old_format.h"
#include "platform/system/paths.h"

namespace engine {

namespace fs = std::filesystem;

namespace {

// SQLite's rollback journal: the file with what is needed to undo a write that was cut off.
fs::path JournalOf(fs::path file) { return file += "-journal"; }

void RefuseOldFormat(const fs::path& file) {
  if (const std::u16string advice = sys::OldFormatAdvice(sys::PathText(file)); !advice.empty()) {
    throw Error(kOldFormat, advice);
  }
}

std::string AddressIn(const fs::path& file) {
  constexpr std::size_t kLongest = 4096;
  std::error_code ignored;
  if (!fs::is_regular_file(file, ignored)) {
    return {};
  }
  std::ifstream in(file, std::ios::binary);
  std::string text(kLongest, '\0');
  in.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(in.gcount()));
  if (!IsServerAddress(text)) {
    return {};
  }
  text.resize(text.find_last_not_of(" \t\r\n") + 1);
  return text;
}

}  // namespace

std::unique_ptr<Store> OpenStore(const fs::path& file) {
  std::error_code ignored;
  if (file.empty() || !fs::exists(file, ignored)) {
    throw Error(kNotFound, u"Il file " + sys::PathText(file) + u" non esiste.");
  }
  RefuseOldFormat(file);
  if (const std::string address = AddressIn(file); !address.empty()) {
#ifdef ANAGPARC_SERVER
    return OpenServerStore(file, address);
#else
    throw Error(kOther, u"L'archivio " + sys::PathText(file) +
                            u" sta su un server PostgreSQL, e questo programma è stato costruito "
                            u"senza libpq, che serve per usarlo.");
#endif
  }
  return OpenSqliteStore(file);
}

bool IsServerAddress(std::string_view text) {
  return text.starts_with("postgresql://") || text.starts_with("postgres://");
}

std::string ServerAddress(std::u16string_view name) { return AddressIn(sys::ResolvePath(name)); }

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
  fs::path path = JournalOf(fs::canonical(sys::ResolvePath(name), missing));
  if (missing) {
    path = sys::ResolvePath(std::u16string(name) + u"-journal");
  }
  if (!fs::is_regular_file(path, ignored)) {
    return fs::exists(path, ignored);  // whatever it is, it isn't safe to go on
  }
  // SQLite's own test: a journal that isn't valid yet, or no longer, begins with 0.
  std::ifstream journal(path, std::ios::binary);
  char first = 0;
  return !journal || (journal.get(first) && first != 0);
}

bool HasOtherNames(std::u16string_view name) { return sys::NamesOf(name) > 1; }

}  // namespace engine
