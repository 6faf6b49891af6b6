// The toolkit's keys as Qt knows them.
#pragma once

#include <Qt>
#include <optional>

#include "platform/toolkit/keys.h"

namespace desktop {

// Two keys of Qt's may be one of ours; the first of them stands for it.
#define TOOLKIT_KEY(name, code) {Qt::Key_##name, toolkit::Key::name},
inline constexpr struct {
  int qt;
  toolkit::Key key;
} kQtKeys[] = {{Qt::Key_Return, toolkit::Key::Enter},
               TOOLKIT_KEYS(TOOLKIT_KEY){Qt::Key_Backtab, toolkit::Key::Tab}};
#undef TOOLKIT_KEY

// Nothing for a key that the toolkit doesn't know, or that bears a character.
inline std::optional<toolkit::Key> KeyOf(int qt) {
  for (const auto& row : kQtKeys) {
    if (row.qt == qt) {
      return row.key;
    }
  }
  return std::nullopt;
}

// Not for Key::Character.
inline Qt::Key QtKeyOf(toolkit::Key key) {
  for (const auto& row : kQtKeys) {
    if (row.key == key) {
      return static_cast<Qt::Key>(row.qt);
    }
  }
  return Qt::Key_unknown;
}

}  // namespace desktop
