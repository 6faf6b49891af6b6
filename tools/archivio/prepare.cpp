#include <algorithm>
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

std::u16string RegistryFolder() {
  using namespace MOD770BAS;
  return LEGGIVALOREREGISTRO(kRadice, kChiave, kValoreArchivi);
}

std::string RegistryText(const fs::path& folder) {
  std::string quoted;
  for (const char c : folder.native()) {
    quoted += c == '"' ? "\\\"" : std::string(1, c);
  }
  return "Windows Registry Editor Version 5.00\r\n\r\n[" + text::ToUtf8(MOD770BAS::kRadice) + "\\" +
         text::ToUtf8(MOD770BAS::kChiave) + "]\r\n\"" + text::ToUtf8(MOD770BAS::kValoreArchivi) +
         "\"=\"" + quoted + "\"\r\n";
}

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

}  // namespace

void Prepare(const fs::path& wanted, std::ostream& out) {
  const fs::path registry = sys::RegistryFile();
  if (registry.empty()) {
    throw Failure("L'utente non ha una cartella per il file di registro.");
  }
  const fs::path folder = WholePath(wanted);
  std::error_code error;
  const bool registered = fs::symlink_status(registry, error).type() != fs::file_type::not_found;
  const auto names_folder = [&folder] {
    const std::u16string named = RegistryFolder();
    return !named.empty() && (sys::ResolvePath(named) / "").lexically_normal() == folder / "";
  };
  if (registered && !names_folder()) {
    throw Failure("Il file di registro " + NameOf(registry) +
                  " esiste già e non indica questa cartella; resta com'è.");
  }
  NewFolders folders(folder);
  MakeTemplate(folder, out, folders);
  if (registered) {
    out << "Il file di registro " << NameOf(registry) << " indica già questa cartella.\n";
    return;
  }
  CheckInterrupted();
  NewFolders parents(registry.parent_path());
  sys::NewFile file(sys::PathText(registry), sys::Access::kOwner);
  file.Write(RegistryText(folder));
  file.Place();
  parents.Keep();
  out << "Scritto il file di registro " << NameOf(registry) << ".\n";
}

}  // namespace archivio
