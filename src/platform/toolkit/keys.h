// The keys that the form's controls know.
#pragma once

#include <cstdint>
#include <string_view>

namespace toolkit {

// All keys but those of characters, once: the name, in Key, in scripts and, but for Enter,
// in Qt, and the key code. A further key is a line here.
#define TOOLKIT_KEYS(KEY) \
  KEY(Backspace, 8)       \
  KEY(Tab, 9)             \
  KEY(Enter, 13)          \
  KEY(Escape, 27)         \
  KEY(PageUp, 33)         \
  KEY(PageDown, 34)       \
  KEY(End, 35)            \
  KEY(Home, 36)           \
  KEY(Left, 37)           \
  KEY(Up, 38)             \
  KEY(Right, 39)          \
  KEY(Down, 40)           \
  KEY(Delete, 46)         \
  KEY(F1, 112)            \
  KEY(F3, 114)            \
  KEY(F4, 115)            \
  KEY(F5, 116)            \
  KEY(F6, 117)

#define TOOLKIT_KEY(name, code) name = code,
// The value is the code that KeyDown gets.
enum class Key : std::int16_t { Character, TOOLKIT_KEYS(TOOLKIT_KEY) };
#undef TOOLKIT_KEY

struct NamedKey {
  std::u16string_view name;
  Key key;
};
#define TOOLKIT_KEY(name, code) {u## #name, Key::name},
inline constexpr NamedKey kNamedKeys[] = {TOOLKIT_KEYS(TOOLKIT_KEY)};
#undef TOOLKIT_KEY

struct KeyStroke {
  Key key = Key::Character;
  std::u16string_view text = {};  // of Key::Character: one character, maybe two units
  bool shift = false;
  bool control = false;  // with Left, Right: by words; Home, End as without
};

// What KeyDown gets in `shift`, added up.
constexpr std::int16_t kShift = 1, kControl = 2;

// What KeyDown gets in `keyCode`: of a character the digit, the capital or the
// blank that its key bears, 0 where other keys bear it.
std::int16_t CodeOf(const KeyStroke& stroke);
constexpr std::int16_t CodeOf(Key key) { return static_cast<std::int16_t>(key); }

}  // namespace toolkit
