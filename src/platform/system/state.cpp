#include "platform/system/state.h"

#include <filesystem>
#include <fstream>

#include "platform/system/new_file.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace sys {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMost = 4096;  // bytes of a note

// Empty where the user has no home.
fs::path NoteFile(Note note) {
  const fs::path folder = StateFolder();
  if (folder.empty()) {
    return {};
  }
  return folder / "morvenna" / (note == Note::kWindow ? "finestra" : "avviso");
}

}  // namespace

std::u16string LeftNote(Note which) {
  const fs::path file = NoteFile(which);
  std::error_code ignored;
  if (!fs::is_regular_file(file, ignored)) {
    return {};
  }
  std::string bytes(kMost, '\0');
  std::ifstream stream(file, std::ios::binary);
  stream.read(bytes.data(), kMost);
  bytes.resize(static_cast<std::size_t>(stream.gcount()));
  return text::FromUtf8(bytes);
}

void LeaveNote(Note which, std::u16string_view text) noexcept {
  try {
    const fs::path file = NoteFile(which);
    std::error_code ignored;
    if (text.empty()) {
      fs::remove(file, ignored);
    } else if (!file.empty()) {
      fs::create_directories(file.parent_path(), ignored);
      NewFile note(PathText(file), Access::kOwner, NewFile::Existing::kReplaced);
      note.Write(text::ToUtf8(text).substr(0, kMost));
      note.Place();
    }
  } catch (const std::exception&) {
  }
}

}  // namespace sys
