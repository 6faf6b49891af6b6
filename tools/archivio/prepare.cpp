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
  for (const char c : sys::PathBytes(folder)) {
    quoted += c == '"' ? "\\\"" : std::string(1, c);
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

// A folder not made here: where its disk isn't there, one in its place would be on another.
fs::path CopiesFolder(const fs::path& wanted) {
  fs::path folder = WholePath(wanted);
  std::error_code error;
  if (!fs::is_directory(folder, error)) {
    throw Failure("La cartella delle copie " + NameOf(folder) +
                  " non esiste: se sta su un altro disco, collegarlo, altrimenti crearla.");
  }
  // Fails where none can be made.
  const sys::NewFile trial(sys::PathText(folder / "S7702015-prova"), sys::Access::kOwner,
                           sys::NewFile::Existing::kReplaced);
  return folder;
}

// A later section counts more than an earlier one, so it goes to the end, in the file's own
// form. Where that can't be, the file is as it was.
void AddCopies(const fs::path& registry, const fs::path& copies) {
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

void TellCopies(const fs::path& copies, std::ostream& out) {
  if (!copies.empty()) {
    out << "Le copie dell'archivio vanno nella cartella " << NameOf(copies) << ".\n";
  }
}

}  // namespace

void Prepare(const fs::path& wanted, const std::optional<fs::path>& wanted_copies,
             std::ostream& out) {
  const fs::path registry = sys::RegistryFile();
  if (registry.empty()) {
    throw Failure("L'utente non ha una cartella per il file di registro.");
  }
  const fs::path folder = WholePath(wanted);
  std::error_code error;
  const bool registered = fs::symlink_status(registry, error).type() != fs::file_type::not_found;
  if (registered && !Names(MOD770BAS::kValoreArchivi, folder)) {
    throw Failure("Il file di registro " + NameOf(registry) +
                  " esiste già e non indica questa cartella; resta com'è.");
  }
  const fs::path copies = wanted_copies ? CopiesFolder(*wanted_copies) : fs::path();
  NewFolders folders(folder);
  MakeTemplate(folder, out, folders);
  CheckInterrupted();
  if (registered) {
    out << "Il file di registro " << NameOf(registry) << " indica già questa cartella.\n";
    if (wanted_copies && !Names(MOD770BAS::kValoreCopie, copies)) {
      AddCopies(registry, copies);
    }
    TellCopies(copies, out);
    return;
  }
  NewFolders parents(registry.parent_path());
  sys::NewFile file(sys::PathText(registry), sys::Access::kOwner);
  file.Write("Windows Registry Editor Version 5.00\r\n");
  file.Write(Section(MOD770BAS::kValoreArchivi, folder));
  if (wanted_copies) {
    file.Write(Section(MOD770BAS::kValoreCopie, copies));
  }
  file.Place();
  parents.Keep();
  out << "Scritto il file di registro " << NameOf(registry) << ".\n";
  TellCopies(copies, out);
}

}  // namespace archivio
