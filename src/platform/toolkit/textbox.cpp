#include <algorithm>

#include "platform/text/text.h"
#include "platform/toolkit/application.h"
#include "platform/toolkit/control.h"
#include "platform/toolkit/keys.h"

namespace toolkit {

namespace {

constexpr char16_t kBackspace = CodeOf(Key::Backspace);

int Length(std::u16string_view s) { return static_cast<int>(s.size()); }

// The first line of what the clipboard holds, without control characters.
std::u16string SingleLine(std::u16string_view clipboard) {
  std::u16string line;
  for (const char16_t c : clipboard) {
    if (c == u'\r' || c == u'\n' || c == 0x2028 || c == 0x2029) {
      break;
    }
    if (!text::IsControl(c)) {
      line.push_back(c);
    }
  }
  return line;
}

// Without what shows as nothing at its ends.
std::u16string_view Bare(std::u16string_view s) {
  const auto empty = [](char16_t c) { return c == u' ' || c == 0xA0 || text::IsControl(c); };
  while (!s.empty() && empty(s.front())) s.remove_prefix(1);
  while (!s.empty() && empty(s.back())) s.remove_suffix(1);
  return s;
}

std::u16string Clipboard() {
  if (App().view == nullptr) {
    return {};
  }
  return App().view->Clipboard();
}

}  // namespace

void TextBox::Reset(const Design& design) {
  Control::Reset(design);
  text_ = design.Caption;
  max_length_ = design.MaxLength;
  locked_ = design.Locked;
  masked_ = design.Masked;
  trims_ = design.Trims;
  sel_start_ = sel_length_ = 0;
  active_at_start_ = can_undo_ = typing_ = false;
  refusals_ = 0;
}

void TextBox::SetText(std::u16string_view text) {
  if (text_ == text) {
    return;
  }
  text_ = text;
  sel_start_ = sel_length_ = 0;
  can_undo_ = typing_ = false;
  changed_ = true;
  Touch();
  if (Change) {
    Change();
  }
}

void TextBox::SetSelStart(int offset) {
  sel_start_ = std::clamp(offset, 0, Length(text_));
  sel_length_ = 0;
  active_at_start_ = typing_ = false;
  moved_ = true;
  Touch();
}

void TextBox::SelectAll() {
  MoveCaret(0, false);
  MoveCaret(Length(text_), true);
}

void TextBox::OnClick(int caret) {
  const bool came = !HasFocus();
  if (!TakeFocus() || (came && masked_)) {
    return;
  }
  SetSelStart(caret);
  if (sel_start_ > 0) {  // never amid a character of two units
    SetSelStart(StepRight(StepLeft(sel_start_)));
  }
}

std::u16string TextBox::Copied(Choice /*choice*/, int /*row*/) const {
  if (!HasFocus()) {
    return text_;
  }
  return text_.substr(static_cast<std::size_t>(sel_start_), static_cast<std::size_t>(sel_length_));
}

std::vector<MenuEntry> TextBox::Menu(int /*row*/) const {
  if (!Enabled()) {
    return {{Choice::Copy, u"&Copia", !text_.empty()}};
  }
  const bool open = !locked_ && !masked_, selection = sel_length_ > 0;
  return {{Choice::Undo, u"&Annulla", open && can_undo_},
          {Choice::Cut, u"&Taglia", open && selection},
          {Choice::Copy, u"&Copia", selection},
          {Choice::Paste, u"&Incolla", open && !Clipboard().empty()},
          {Choice::SelectAll, u"&Seleziona tutto", !text_.empty()}};
}

void TextBox::OnKey(const KeyStroke& stroke) {
  switch (stroke.key) {
    case Key::Character:
      if (stroke.text.size() == 1 && !text::IsControl(stroke.text[0])) {
        Press(stroke.text[0]);
      } else if (stroke.text.size() == 2) {
        PressPair(stroke.text[0], stroke.text[1]);
      }
      break;
    case Key::Backspace:
      Press(kBackspace);
      break;
    case Key::Enter:
      Press(CodeOf(Key::Enter));
      break;
    case Key::Delete:
      CountRefusal(true, [&] {
        if (sel_length_ > 0) {
          DeleteRange(sel_start_, sel_length_);
        } else {
          DeleteRange(sel_start_, StepRight(sel_start_) - sel_start_);
        }
      });
      break;
    default:
      OnCaretKey(stroke);
  }
}

void TextBox::OnCaretKey(const KeyStroke& stroke) {
  const int caret = ActiveEnd();
  const bool collapse = sel_length_ > 0 && !stroke.shift && !stroke.control;
  switch (stroke.key) {
    case Key::Left:
    case Key::Up:
      if (collapse) {
        SetSelStart(sel_start_);
      } else if (stroke.control) {
        MoveCaret(WordLeft(caret), stroke.shift);
      } else {
        MoveCaret(StepLeft(caret), stroke.shift);
      }
      break;
    case Key::Right:
    case Key::Down:
      if (collapse) {
        SetSelStart(sel_start_ + sel_length_);
      } else if (stroke.control) {
        MoveCaret(WordRight(caret), stroke.shift);
      } else {
        MoveCaret(StepRight(caret), stroke.shift);
      }
      break;
    case Key::Home:
      MoveCaret(0, stroke.shift);
      break;
    case Key::End:
      MoveCaret(Length(text_), stroke.shift);
      break;
    default:
      break;
  }
}

// Acts on a key, and counts it where nothing came of it. `empties`: it may find nothing to do.
template <class Action>
void TextBox::CountRefusal(bool empties, Action act) {
  dropped_ = changed_ = moved_ = false;
  act();
  if (!changed_ && (dropped_ || (!moved_ && !empties))) {
    Refuse();
  }
}

void TextBox::Refuse() {
  ++refusals_;
  Touch();
}

void TextBox::Press(char16_t code) {
  CountRefusal(code == kBackspace || code == kCut || code == kUndo, [&] {
    auto key = static_cast<std::int16_t>(code);
    if (KeyPress) {
      KeyPress(key);
    }
    ActOn(static_cast<char16_t>(key));
  });
}

// A character of two units comes as two keys; it is inserted whole or not at all.
void TextBox::PressPair(char16_t high, char16_t low) {
  CountRefusal(false, [&] {
    auto first = static_cast<std::int16_t>(high);
    auto second = static_cast<std::int16_t>(low);
    if (KeyPress) {
      KeyPress(first);
      KeyPress(second);
    }
    if (static_cast<char16_t>(first) == high && static_cast<char16_t>(second) == low) {
      const char16_t pair[] = {high, low};
      Insert({pair, 2});
    }
  });
}

void TextBox::ActOn(char16_t code) {
  switch (code) {
    case kBackspace:
      if (sel_length_ > 0) {
        DeleteRange(sel_start_, sel_length_);
      } else {
        const int from = StepLeft(sel_start_);
        DeleteRange(from, sel_start_ - from);
      }
      break;
    case kPaste:
      Paste(Clipboard());
      break;
    case kCut:
      if (sel_length_ > 0 && !locked_) {
        if (App().view != nullptr) {
          App().view->SetClipboard(text::Mid(text_, static_cast<std::size_t>(sel_start_) + 1,
                                             static_cast<std::size_t>(sel_length_)));
        }
        DeleteRange(sel_start_, sel_length_);
      }
      break;
    case kUndo:
      Undo();
      break;
    default:
      if (!text::IsControl(code)) {
        Insert({&code, 1});
      }
  }
}

// Typing into a full box is dropped; what is selected gives way first and so doesn't count.
void TextBox::Insert(std::u16string_view units) {
  const int stays = Length(text_) - sel_length_;
  if (locked_ || (max_length_ > 0 && stays + Length(units) > max_length_)) {
    dropped_ = true;
    return;
  }
  Replace(sel_start_, sel_length_, units, true);
}

void TextBox::Paste(std::u16string_view clipboard) {
  if (trims_) {
    clipboard = Bare(clipboard);
  }
  std::u16string line = SingleLine(clipboard);
  bool whole = true;
  if (max_length_ > 0) {
    const int room = std::max(0, max_length_ - (Length(text_) - sel_length_));
    if (Length(line) > room) {
      whole = false;
      line.resize(static_cast<std::size_t>(room));
      if (!line.empty() && text::IsHighSurrogate(line.back())) {
        line.pop_back();
      }
    }
  }
  if (!locked_ && !line.empty()) {
    Replace(sel_start_, sel_length_, line, false);
    if (!whole) {
      Refuse();
    }
  }
}

// There is one step: a second undo undoes the first one, as in the platform's box.
void TextBox::Undo() {
  if (!can_undo_ || locked_) {
    return;
  }
  State now{text_, sel_start_ + sel_length_};
  const bool differs = text_ != before_.text;
  std::swap(now, before_);
  text_ = std::move(now.text);
  sel_start_ = now.caret;
  sel_length_ = 0;
  active_at_start_ = typing_ = false;
  changed_ = true;
  Touch();
  if (differs && Change) {
    Change();
  }
}

void TextBox::DeleteRange(int start, int length) {
  if (locked_) {
    dropped_ = true;
  } else if (length > 0) {
    Replace(start, length, {}, false);
  }
}

void TextBox::Replace(int start, int length, std::u16string_view with, bool typing) {
  if (!typing || !typing_) {
    before_ = {text_, sel_start_ + sel_length_};
    can_undo_ = true;
  }
  typing_ = typing;
  const std::u16string old = text_;
  text_.replace(static_cast<std::size_t>(start), static_cast<std::size_t>(length), with);
  sel_start_ = start + Length(with);
  sel_length_ = 0;
  active_at_start_ = false;
  changed_ = true;
  Touch();
  if (text_ != old && Change) {
    Change();
  }
}

void TextBox::MoveCaret(int offset, bool extend) {
  offset = std::clamp(offset, 0, Length(text_));
  typing_ = false;
  if (!extend) {
    SetSelStart(offset);
    return;
  }
  const int anchor = active_at_start_ ? sel_start_ + sel_length_ : sel_start_;
  sel_start_ = std::min(anchor, offset);
  sel_length_ = std::abs(anchor - offset);
  active_at_start_ = offset < anchor;
  Touch();
}

int TextBox::StepLeft(int offset) const {
  if (offset == 0) {
    return 0;
  }
  const auto at = static_cast<std::size_t>(offset);
  const bool pair =
      offset > 1 && text::IsLowSurrogate(text_[at - 1]) && text::IsHighSurrogate(text_[at - 2]);
  return offset - (pair ? 2 : 1);
}

int TextBox::StepRight(int offset) const {
  if (offset >= Length(text_)) {
    return Length(text_);
  }
  const auto at = static_cast<std::size_t>(offset);
  const bool pair = offset + 1 < Length(text_) && text::IsHighSurrogate(text_[at]) &&
                    text::IsLowSurrogate(text_[at + 1]);
  return offset + (pair ? 2 : 1);
}

int TextBox::WordLeft(int offset) const {
  auto at = static_cast<std::size_t>(offset);
  while (at > 0 && text_[at - 1] == u' ') --at;
  while (at > 0 && text_[at - 1] != u' ') --at;
  return static_cast<int>(at);
}

int TextBox::WordRight(int offset) const {
  auto at = static_cast<std::size_t>(offset);
  while (at < text_.size() && text_[at] != u' ') ++at;
  while (at < text_.size() && text_[at] == u' ') ++at;
  return static_cast<int>(at);
}

}  // namespace toolkit
