// A text that one session of the user's leaves to the next: in the file
// $XDG_STATE_HOME/morvenna/avviso (default ~/.local/state), for its owner alone.
#pragma once

#include <string>
#include <string_view>

namespace sys {

// The text left; empty where there is none or it can't be read.
std::u16string LeftNote();

// Leaves a text in place of the one before; the empty text leaves none. What fails is
// passed over: there is nobody left to tell.
void LeaveNote(std::u16string_view text) noexcept;

}  // namespace sys
