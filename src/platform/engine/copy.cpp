#include "platform/engine/connection.h"
#include "platform/engine/engine.h"
#include "platform/system/new_file.h"
#include "platform/system/paths.h"

namespace engine {

void CopyDatabase(std::u16string_view from, std::u16string_view to) {
  try {
    sys::NewFile file(to, sys::Access::kAsFolder, sys::NewFile::Existing::kReplaced);
    // Left there by whoever has written to the copy before, it would be played into the new one.
    std::error_code ignored;
    if (std::filesystem::exists(file.Name().native() + "-journal", ignored)) {
      throw Error(kIo, u"Il file " + sys::PathText(file.Name()) +
                           u"-journal appartiene alla copia di prima: spostarlo.");
    }
    Connection source(sys::ResolvePath(from));
    source.CopyTo(file.Growing(), file.Name());
    file.Place();
  } catch (const sys::FileError& error) {
    throw Error(kIo, error.Text());
  }
}

}  // namespace engine
