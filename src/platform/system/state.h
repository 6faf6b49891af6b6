// Texts that one session of the user's leaves to the next: a file each in the folder
// $XDG_STATE_HOME/morvenna (default ~/.local/state), for its owner alone.
#pragma once

#include <string>
#include <string_view>

namespace sys {

enum class Note {
  kWarning,  // file "avviso": what the user should be told
  kWindow,   // file "finestra": how large the window was
};

// The text left; empty where there is none or it can't be read.
std::u16string LeftNote(Note note);

// Leaves a text in place of the one before; the empty text leaves none. What fails is
// passed over: there is nobody left to tell.
void LeaveNote(Note note, std::u16string_view text) noexcept;

}  // namespace sys
