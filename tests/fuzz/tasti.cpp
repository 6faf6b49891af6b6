// The key routines, as handlers of a box of the toolkit, under any keys.
#include <array>

#include "../board.h"
#include "fuzz.h"
#include "platform/text/text.h"
#include "platform/toolkit/form.h"
#include "record/LibrAgg770.h"
#include "record/regole.h"

namespace {

using toolkit::Key;

bool IsMask(std::u16string_view s) {
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (i == 2 || i == 5 ? s[i] != u'/' : s[i] < u'0' || s[i] > u'9') {
      return false;
    }
  }
  return s.size() == regole::kMascheraData.size();
}

constexpr std::array kKeys = {Key::Backspace, Key::Delete, Key::Left,  Key::Right,
                              Key::Home,      Key::End,    Key::Enter, Key::Escape};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const int routine = input.UpTo(3);
  const auto number = [&input](int n) { return static_cast<std::int16_t>(input.UpTo(n)); };
  const std::int16_t sign = number(2), comma = number(2), whole = number(12), decimals = number(6);
  const std::u16string allowed = input.Text(static_cast<std::size_t>(input.UpTo(8)));

  toolkit::Form form(u"Form");
  toolkit::TextBox box(u"Box");
  const std::array table = {toolkit::Placed{
      box,
      nullptr,
      nullptr,
      {.Width = 1000, .Height = 300, .TabIndex = 0, .MaxLength = routine == 1 ? 10 : whole + 2}}};
  form.Build(table, u"", 0);
  Board board;
  toolkit::App() = {};
  toolkit::App().view = &board;
  LibrAgg770::CampoDi field(box);
  box.KeyPress = [&](std::int16_t& key) {
    const std::u16string before = box.Text();
    const int caret = box.SelStart();
    const std::int16_t given = key;
    switch (routine) {
      case 0:
        key = LibrAgg770::FILTRACARATTERI(key, allowed, sign);
        Must(key == 0 || key == given || (sign == 1 && key == given - 32), "another key");
        break;
      case 1:
        box.SetText(LibrAgg770::EDITADATA(field, key));
        key = 0;
        Must(!IsMask(before) || caret > 9 || IsMask(box.Text()), "the date has lost its shape");
        Must(given != 8 || box.Text() == regole::kMascheraData, "Backspace leaves a date");
        break;
      default:
        key = LibrAgg770::EDITANUMERO(field, key, sign, comma, whole, decimals);
        Must(static_cast<int>(box.Text().size()) <=
                 std::max(box.MaxLength(), static_cast<int>(before.size())),
             "the number has outgrown its field");
        // What is left of a full field has no room, and the box drops the key.
        Must(key == 0 || box.SelStart() == static_cast<int>(box.Text().size()), "caret elsewhere");
    }
  };
  form.Load();
  while (!input.AtEnd()) {
    const std::uint8_t step = input.Byte();
    if (step < 8) {
      form.UserKey({.key = kKeys[step]});
    } else if (step == 8) {
      form.UserClick(box, input.Byte());
    } else if (step == 9) {
      board.clipboard = input.Text(static_cast<std::size_t>(input.UpTo(20)));
      form.UserPaste();
    } else if (step == 10) {
      form.UserUndo();
    } else if (step == 11) {
      form.UserSelect(box, input.Byte(), input.Byte());
    } else {
      const char16_t c = step;
      form.UserKey({.text = {&c, 1}});
    }
    Must(routine == 1 || static_cast<int>(box.Text().size()) <= box.MaxLength(),
         "more than MaxLength");
  }
  toolkit::App() = {};
  return 0;
}
