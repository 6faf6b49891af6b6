#include "archivio/new_file.h"

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <system_error>

#include "archivio/archivio.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

namespace fs = std::filesystem;

std::string NameOf(const fs::path& path) { return text::ToUtf8(sys::PathText(path)); }

NewFile::NewFile(const fs::path& file) : file_(sys::ResolvePath(sys::PathText(file))) {
  RefuseExisting(file_);
  std::string name = (file_.parent_path() / ".anagparc-archivio-XXXXXX").native();
  const int descriptor = mkstemp(name.data());
  if (descriptor < 0) {
    throw Failure("Impossibile scrivere nella cartella " +
                  NameOf(file_.has_parent_path() ? file_.parent_path() : ".") + ".");
  }
  close(descriptor);
  growing_ = name;
}

NewFile::~NewFile() {
  std::error_code ignored;
  fs::remove(growing_, ignored);
}

void NewFile::RefuseExisting(const fs::path& file) {
  const fs::path found = sys::ResolvePath(sys::PathText(file));
  std::error_code ignored;
  if (fs::symlink_status(found, ignored).type() != fs::file_type::not_found) {
    throw Failure("Il file " + NameOf(found) + " esiste già e resta com'è.");
  }
}

void NewFile::Write(std::string_view bytes) {
  std::ofstream stream(growing_, std::ios::binary | std::ios::app);
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush();
  if (!stream) {
    throw Failure("Impossibile scrivere il file " + NameOf(file_) + ".");
  }
}

void NewFile::Place(sys::Access access) {
  try {
    sys::FileCopy(sys::PathText(growing_), sys::PathText(file_), access);
  } catch (const sys::FileError& error) {
    throw Failure(error.what());
  }
}

}  // namespace archivio
