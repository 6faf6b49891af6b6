// The keys that the form's controls know.
#pragma once

#include <string_view>

namespace toolkit {

enum class Key {
  Character,
  Backspace,
  Delete,
  Left,
  Right,
  Home,
  End,
  Up,
  Down,
  PageUp,
  PageDown,
  Enter,
  Escape,
  Tab,
  F3,
  F4,
  F5,
  F6,
};

struct KeyStroke {
  Key key = Key::Character;
  std::u16string_view text = {};  // of Key::Character: one character, maybe two units
  bool shift = false;
  bool control = false;  // with Left, Right: by words; Home, End as without
};

}  // namespace toolkit
