#include <algorithm>
#include <fstream>
#include <ostream>
#include <system_error>

#include "archivio/archivio.h"
#include "archivio/files.h"
#include "archivio/interruption.h"
#include "frame/MOD770BAS.h"
#include "platform/system/new_file.h"
#include "platform/system/paths.h"
#include "platform/system/registry.h"
#include "platform/text/text.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

// The whole path, which the program finds from wherever it starts.
fs::path WholePath(const fs::path& wanted) {
  fs::path folder = fs::absolute(sys::ResolvePath(sys::PathText(wanted))).lexically_normal();
  if (!folder.has_filename()) {
    folder = folder.parent_path();
  }
  const std::u16string text = sys::PathText(folder);
  if (sys::ResolvePath(text) != folder || std::ranges::any_of(text, text::IsControl)) {
    throw Failure("Il nome della cartella " + NameOf(folder) +
                  " ha caratteri che il registro non sa scrivere.");
  }
  return folder;
}

// A section of a registry file that names the folder.
std::string Section(std::u16string_view value, const fs::path& folder) {
  std::string quoted;
  for (const char c : NameOf(folder)) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
    }
    quoted += c;
  }
  return "\r\n[" + text::ToUtf8(MOD770BAS::kRadice) + "\\" + text::ToUtf8(MOD770BAS::kChiave) +
         "]\r\n\"" + text::ToUtf8(value) + "\"=\"" + quoted + "\"\r\n";
}

// Whether the registry names this folder.
bool Names(std::u16string_view value, const fs::path& folder) {
  using namespace MOD770BAS;
  const std::u16string named = LEGGIVALOREREGISTRO(kRadice, kChiave, value);
  return !named.empty() && (sys::ResolvePath(named) / "").lexically_normal() == folder / "";
}

// The folder isn't made here: while its disk isn't there, a new one would lie on another disk.
fs::path CopiesFolder(const fs::path& wanted) {
  fs::path folder = WholePath(wanted);
  std::error_code error;
  if (!fs::is_directory(folder, error)) {
    throw Failure("La cartella delle copie " + NameOf(folder) +
                  " non esiste: se sta su un altro disco, collegarlo, altrimenti crearla.");
  }
  // Fails where no file can be made in the folder.
  const sys::NewFile trial(sys::PathText(folder / "S7702015-prova"), sys::Access::kOwner,
                           sys::NewFile::Existing::kReplaced);
  return folder;
}

// What messages call the registry. Throws Failure where there can be none.
std::string RegistryName() {
  if (sys::OwnRegistry() != nullptr) {
    return "registro, alla chiave " + text::ToUtf8(MOD770BAS::kRadice) + '\\' +
           text::ToUtf8(MOD770BAS::kChiave) + ',';
  }
  const fs::path registry = sys::RegistryFile();
  if (registry.empty()) {
    throw Failure("L'utente non ha una cartella per il file di registro.");
  }
  return "file di registro " + NameOf(registry);
}

// Whether the registry names a folder already; a file always counts, whatever it holds.
bool IsRegistered() {
  using namespace MOD770BAS;
  if (sys::OwnRegistry() != nullptr) {
    return !LEGGIVALOREREGISTRO(kRadice, kChiave, kValoreArchivi).empty();
  }
  std::error_code ignored;
  return fs::symlink_status(sys::RegistryFile(), ignored).type() != fs::file_type::not_found;
}

void Register(const fs::path& folder, const fs::path& copies) {
  using namespace MOD770BAS;
  if (sys::SystemRegistry* const own = sys::OwnRegistry()) {
    own->Write(kRadice, kChiave, kValoreArchivi, sys::PathText(folder));
    if (!copies.empty()) {
      own->Write(kRadice, kChiave, kValoreCopie, sys::PathText(copies));
    }
    return;
  }
  const fs::path registry = sys::RegistryFile();
  NewFolders parents(registry.parent_path());
  sys::NewFile file(sys::PathText(registry), sys::Access::kOwner);
  file.Write("Windows Registry Editor Version 5.00\r\n");
  file.Write(Section(kValoreArchivi, folder));
  if (!copies.empty()) {
    file.Write(Section(kValoreCopie, copies));
  }
  file.Place();
  parents.Keep();
}

// A later section counts more than an earlier one, so it is appended, in the file's own form. Where
// that fails the file stays as it was.
void AddCopies(const fs::path& copies) {
  if (sys::SystemRegistry* const own = sys::OwnRegistry()) {
    own->Write(MOD770BAS::kRadice, MOD770BAS::kChiave, MOD770BAS::kValoreCopie,
               sys::PathText(copies));
    return;
  }
  const fs::path registry = sys::RegistryFile();
  std::string section = Section(MOD770BAS::kValoreCopie, copies);
  std::ifstream read(registry, std::ios::binary);
  if (read.get() == 0xFF && read.get() == 0xFE) {
    std::string wide;
    for (const char16_t unit : text::FromUtf8(section)) {
      wide += static_cast<char>(unit & 0xFF);
      wide += static_cast<char>(unit >> 8);
    }
    section = std::move(wide);
  }
  std::error_code error;
  const std::uintmax_t size = fs::file_size(registry, error);
  std::ofstream write(registry, std::ios::binary | std::ios::app);
  write.write(section.data(), static_cast<std::streamsize>(section.size()));
  write.close();
  if (!write || !Names(MOD770BAS::kValoreCopie, copies)) {
    fs::resize_file(registry, size, error);
    throw Failure("Impossibile aggiungere " + text::ToUtf8(MOD770BAS::kValoreCopie) +
                  " al file di registro " + NameOf(registry) + ", che resta com'è.");
  }
}

void MakeTemplate(const fs::path& folder, std::ostream& out, NewFolders& folders) {
  const fs::path file = sys::ResolvePath(sys::PathText(folder / kTemplateName));
  std::error_code error;
  if (!fs::exists(file, error)) {
    WriteTemplate(file);
    if (folders.Any()) {
      folders.Keep();
      out << "Creata la cartella " << NameOf(folder) << ".\n";
    }
    out << "Scritto il modello " << NameOf(file) << ".\n";
    return;
  }
  if (const std::vector<std::string> findings = Check(file, Depth::kPages); !findings.empty()) {
    throw Failure("Il modello che c'è già non va. " + findings.front());
  }
  out << "Il modello " << NameOf(file) << " c'era già e resta com'è.\n";
}

void ReportCopies(const fs::path& copies, std::ostream& out) {
  if (!copies.empty()) {
    out << "Le copie dell'archivio vanno nella cartella " << NameOf(copies) << ".\n";
  }
}

}  // namespace

void Prepare(const fs::path& wanted, const std::optional<fs::path>& wanted_copies,
             std::ostream& out) {
  const fs::path folder = WholePath(wanted);
  const bool registered = IsRegistered();
  if (registered && !Names(MOD770BAS::kValoreArchivi, folder)) {
    throw Failure("Il " + RegistryName() +
                  " esiste già e non indica questa cartella; resta com'è.");
  }
  fs::path copies;
  if (wanted_copies) {
    copies = CopiesFolder(*wanted_copies);
  }
  NewFolders folders(folder);
  MakeTemplate(folder, out, folders);
  CheckInterrupted();
  if (registered) {
    out << "Il " << RegistryName() << " indica già questa cartella.\n";
    if (wanted_copies && !Names(MOD770BAS::kValoreCopie, copies)) {
      AddCopies(copies);
    }
  } else {
    Register(folder, copies);
    out << "Scritto il " << RegistryName() << ".\n";
  }
  ReportCopies(copies, out);
}

}  // namespace archivio
